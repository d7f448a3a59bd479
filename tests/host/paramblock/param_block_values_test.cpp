#include "ifnpub.h"
#include "pb_test_objects.h"

#include <cmath>
#include <filesystem>
#include <numbers>

using namespace pbtest;

namespace {

class Values : public OwnerTest {};

MSTR TestFolderResolver(const MCHAR* prefix, const MSTR& stored) { return MSTR(prefix) + stored; }

}  // namespace

TEST_F(Values, DefaultsAndSetsOfEveryTypeReadBack) {
    // Defaults as the descriptor gives them.
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 1.5f);
    EXPECT_EQ(pb->GetInt(pb_int), 7);
    EXPECT_EQ(pb->GetColor(pb_rgba), Color(1.0f, 0.0f, 0.0f));
    EXPECT_EQ(pb->GetPoint3(pb_point3), Point3(1.0f, 2.0f, 3.0f));
    EXPECT_EQ(pb->GetInt(pb_bool), TRUE);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_angle), 0.5f);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_pcnt), 1.0f);
    EXPECT_STREQ(pb->GetStr(pb_string), L"hello");
    EXPECT_STREQ(pb->GetStr(pb_filename), L"");
    EXPECT_EQ(pb->GetTimeValue(pb_time), 320);
    EXPECT_EQ(pb->GetINode(pb_node), nullptr);
    EXPECT_EQ(pb->GetInt(pb_index), 2);
    EXPECT_TRUE(pb->GetMatrix3(pb_matrix).IsIdentity());
    EXPECT_EQ(pb->GetPoint2(pb_point2), Point2(4.0f, 5.0f));
    EXPECT_EQ(pb->GetPoint4(pb_point4), Point4(1.0f, 2.0f, 3.0f, 4.0f));
    EXPECT_EQ(pb->GetAColor(pb_frgba), AColor(0.1f, 0.2f, 0.3f, 0.4f));
    EXPECT_EQ(pb->GetAColor(pb_rgba).a, 1.0f) << "a three-channel colour reads opaque";

    // Sets of every type.
    EXPECT_TRUE(pb->SetValue(pb_float, 0, 2.5f));
    EXPECT_TRUE(pb->SetValue(pb_int, 0, 11));
    EXPECT_TRUE(pb->SetValue(pb_rgba, 0, Color(0.0f, 0.5f, 1.0f)));
    EXPECT_TRUE(pb->SetValue(pb_point3, 0, Point3(-1.0f, 0.0f, 9.0f)));
    EXPECT_TRUE(pb->SetValue(pb_bool, 0, FALSE));
    EXPECT_TRUE(pb->SetValue(pb_angle, 0, 1.25f));
    EXPECT_TRUE(pb->SetValue(pb_pcnt, 0, 0.3f));
    EXPECT_TRUE(pb->SetValue(pb_world, 0, 42.0f));
    EXPECT_TRUE(pb->SetValue(pb_string, 0, L"w\u00f6rld"));
    EXPECT_TRUE(pb->SetValue(pb_time, 0, 4800));
    EXPECT_TRUE(pb->SetValue(pb_index, 0, 0));
    Matrix3 m;
    m.RotateZ(0.3f);
    m.SetTrans(Point3(1.0f, 2.0f, 3.0f));
    EXPECT_TRUE(pb->SetValue(pb_matrix, 0, m));
    EXPECT_TRUE(pb->SetValue(pb_point2, 0, Point2(-2.0f, 8.0f)));
    EXPECT_TRUE(pb->SetValue(pb_point4, 0, Point4(5.0f, 6.0f, 7.0f, 8.0f)));
    EXPECT_TRUE(pb->SetValue(pb_frgba, 0, AColor(0.9f, 0.8f, 0.7f, 0.6f)));
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 2.5f);
    EXPECT_EQ(pb->GetInt(pb_int), 11);
    EXPECT_EQ(pb->GetColor(pb_rgba), Color(0.0f, 0.5f, 1.0f));
    EXPECT_EQ(pb->GetPoint3(pb_point3), Point3(-1.0f, 0.0f, 9.0f));
    EXPECT_EQ(pb->GetInt(pb_bool), FALSE);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_angle), 1.25f);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_pcnt), 0.3f);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_world), 42.0f);
    EXPECT_STREQ(pb->GetStr(pb_string), L"w\u00f6rld");
    EXPECT_EQ(pb->GetTimeValue(pb_time), 4800);
    EXPECT_EQ(pb->GetInt(pb_index), 0);
    EXPECT_TRUE(pb->GetMatrix3(pb_matrix).Equals(m));
    EXPECT_EQ(pb->GetPoint2(pb_point2), Point2(-2.0f, 8.0f));
    EXPECT_EQ(pb->GetPoint4(pb_point4), Point4(5.0f, 6.0f, 7.0f, 8.0f));
    EXPECT_EQ(pb->GetAColor(pb_frgba), AColor(0.9f, 0.8f, 0.7f, 0.6f));
    // A colour set keeps the alpha of a four-channel colour.
    EXPECT_TRUE(pb->SetValue(pb_frgba, 0, Color(0.0f, 0.0f, 1.0f)));
    EXPECT_EQ(pb->GetAColor(pb_frgba), AColor(0.0f, 0.0f, 1.0f, 0.6f));

    // Numbers cross between int and float types, rounding to nearest.
    EXPECT_TRUE(pb->SetValue(pb_int, 0, 2.6f));
    EXPECT_EQ(pb->GetInt(pb_int), 3);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_int), 3.0f);
    EXPECT_TRUE(pb->SetValue(pb_world, 0, 4));
    EXPECT_EQ(pb->GetInt(pb_world), 4);
}

TEST_F(Values, FailedGetsAndSetsLeaveEverythingAlone) {
    Interval iv = FOREVER;
    float f = -7.0f;
    EXPECT_FALSE(pb->GetValue(pb_string, 0, f, iv));
    EXPECT_FALSE(pb->GetValue(999, 0, f, iv));
    EXPECT_FALSE(pb->GetValue(pb_float, 0, f, iv, 1)) << "a parameter that is not a table has one entry";
    EXPECT_FALSE(pb->GetValue(pb_float_tab, 0, f, iv, 2));
    EXPECT_FALSE(pb->GetValue(pb_float_tab, 0, f, iv, -1));
    EXPECT_EQ(f, -7.0f);
    Point3 p(9.0f, 9.0f, 9.0f);
    EXPECT_FALSE(pb->GetValue(pb_float, 0, p, iv));
    EXPECT_EQ(p, Point3(9.0f, 9.0f, 9.0f));
    EXPECT_EQ(pb->GetINode(pb_float), nullptr);
    EXPECT_STREQ(pb->GetStr(pb_float), L"");
    EXPECT_EQ(pb->GetFloat(999), 0.0f);

    owner->changes.clear();
    EXPECT_FALSE(pb->SetValue(pb_node, 0, 1.0f));
    EXPECT_FALSE(pb->SetValue(pb_string, 0, Point3(1.0f, 1.0f, 1.0f)));
    EXPECT_FALSE(pb->SetValue(pb_float, 0, L"text"));
    EXPECT_FALSE(pb->SetValue(999, 0, 1.0f));
    EXPECT_FALSE(pb->SetValue(pb_float_tab, 0, 1.0f, 5));
    auto* t = new Target();
    EXPECT_FALSE(pb->SetValue(pb_node, 0, static_cast<ReferenceTarget*>(t))) << "a node parameter takes nodes";
    EXPECT_EQ(t->NumDependents(), 0);
    t->DeleteMe();
    EXPECT_TRUE(owner->changes.empty()) << "a refused set tells nobody";
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 1.5f);
}

TEST_F(Values, FilenamesReadAsFullPaths) {
    pb->SetValue(pb_filename, 0, L"maps/skin.png");
    const std::filesystem::path read(pb->GetStr(pb_filename));
    EXPECT_TRUE(read.is_absolute());
    EXPECT_EQ(read, std::filesystem::absolute("maps/skin.png").lexically_normal());
    // An absolute path reads as it was set.
    const std::wstring abs = std::filesystem::absolute("x/../y.bmp").wstring();
    pb->SetValue(pb_filename, 0, abs.c_str());
    EXPECT_EQ(std::wstring(pb->GetStr(pb_filename)), abs);
    // The scene code may resolve instead; the stored text stays what was set.
    host::SetFilenameResolver([](const MSTR& s) { return TestFolderResolver(L"/assets/", s); });
    pb->SetValue(pb_filename, 0, L"a.tga");
    EXPECT_STREQ(pb->GetStr(pb_filename), L"/assets/a.tga");
    host::SetFilenameResolver(nullptr);
    EXPECT_EQ(std::filesystem::path(pb->GetStr(pb_filename)), std::filesystem::absolute("a.tga"));
    // A string parameter is never resolved.
    pb->SetValue(pb_string, 0, L"rel/path");
    EXPECT_STREQ(pb->GetStr(pb_string), L"rel/path");
}

TEST_F(Values, AccessorSeesEveryReadAndWriteAndValidatorGuardsSets) {
    ProbeAccessor& a = Accessor();
    a.getOffset = 0.5f;
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 2.0f) << "the accessor's Get changes what is read";
    EXPECT_EQ(a.gets, 1);
    pb->GetFloat(pb_float);
    EXPECT_EQ(a.gets, 2);
    a.getOffset = 0.0f;

    // Set runs before the value is stored and may change it.
    a.setClampHigh = 3.0f;
    EXPECT_TRUE(pb->SetValue(pb_float, 0, 8.0f));
    EXPECT_EQ(a.sets, 1);
    EXPECT_EQ(a.setIds.back(), pb_float);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float), 3.0f);

    // The validator refuses negative weights: the entry keeps its value, the accessor never
    // hears of the refused value.
    ProbeValidator& v = Validator();
    const int setsBefore = a.sets;
    EXPECT_FALSE(pb->SetValue(pb_float_tab, 0, -1.0f, 1));
    EXPECT_EQ(v.calls, 1);
    EXPECT_EQ(a.sets, setsBefore);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float_tab, 0, 1), 0.25f);
    EXPECT_TRUE(pb->SetValue(pb_float_tab, 0, 0.75f, 1));
    EXPECT_EQ(v.calls, 2);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_float_tab, 0, 1), 0.75f);

    // Picks of reference targets go through the validator too.
    auto* ok = new Target();
    auto* bad = new Target();
    bad->tag = 13;
    EXPECT_TRUE(pb->SetValue(pb_ref, 0, static_cast<ReferenceTarget*>(ok)));
    EXPECT_FALSE(pb->SetValue(pb_ref, 0, static_cast<ReferenceTarget*>(bad)));
    EXPECT_EQ(pb->GetReferenceTarget(pb_ref), ok);
    bad->DeleteMe();
}

TEST_F(Values, ScriptBoundaryConvertsUnitsAndChecksRanges) {
    using host::PBScriptResult;
    FPValue v;
    ASSERT_TRUE(host::PBGetScriptValue(pb, pb_angle, 0, v));
    EXPECT_EQ(v.type, TYPE_ANGLE);
    EXPECT_NEAR(v.f, 0.5 * 180.0 / std::numbers::pi, 1e-4);
    ASSERT_TRUE(host::PBGetScriptValue(pb, pb_pcnt, 0, v));
    EXPECT_FLOAT_EQ(v.f, 100.0f);
    ASSERT_TRUE(host::PBGetScriptValue(pb, pb_index, 0, v));
    EXPECT_EQ(v.i, 3) << "indexes are 1-based at the script side";
    ASSERT_TRUE(host::PBGetScriptValue(pb, pb_rgba, 0, v));
    EXPECT_EQ(*v.clr, Color(1.0f, 0.0f, 0.0f));
    ASSERT_TRUE(host::PBGetScriptValue(pb, pb_string, 0, v));
    EXPECT_STREQ(v.s, L"hello");

    EXPECT_EQ(host::PBSetScriptValue(pb, pb_pcnt, 0, FPValue(TYPE_FLOAT, 50.0f)), PBScriptResult::Ok);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_pcnt), 0.5f);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_pcnt, 0, FPValue(TYPE_INT, 100)), PBScriptResult::Ok)
        << "the top of a percent range is allowed";
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_pcnt, 0, FPValue(TYPE_FLOAT, 150.0f)), PBScriptResult::OutOfRange);
    EXPECT_FLOAT_EQ(pb->GetFloat(pb_pcnt), 1.0f);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_angle, 0, FPValue(TYPE_FLOAT, 90.0f)), PBScriptResult::Ok);
    EXPECT_NEAR(pb->GetFloat(pb_angle), std::numbers::pi / 2, 1e-6);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_index, 0, FPValue(TYPE_INT, 1)), PBScriptResult::Ok);
    EXPECT_EQ(pb->GetInt(pb_index), 0);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_int, 0, FPValue(TYPE_INT, 101)), PBScriptResult::OutOfRange);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_int, 0, FPValue(TYPE_FLOAT, 4.4f)), PBScriptResult::Ok);
    EXPECT_EQ(pb->GetInt(pb_int), 4);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_float, 0, FPValue(TYPE_STRING, L"x")), PBScriptResult::WrongType);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_hidden, 0, FPValue(TYPE_BOOL, TRUE)), PBScriptResult::ReadOnly);
    EXPECT_EQ(host::PBSetScriptValue(pb, 999, 0, FPValue(TYPE_INT, 1)), PBScriptResult::NoSuchParam);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_float_tab, 0, FPValue(TYPE_FLOAT, -2.0f), 1), PBScriptResult::Refused);
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_rgba, 0, FPValue(TYPE_POINT3_BV, Point3(0.0f, 1.0f, 0.0f))),
              PBScriptResult::Ok);
    EXPECT_EQ(pb->GetColor(pb_rgba), Color(0.0f, 1.0f, 0.0f));
    EXPECT_EQ(host::PBSetScriptValue(pb, pb_string, 0, FPValue(TYPE_TSTR_BV, MSTR(L"via tstr"))), PBScriptResult::Ok);
    EXPECT_STREQ(pb->GetStr(pb_string), L"via tstr");
}
