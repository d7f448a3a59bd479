// Function publishing and parameter blocks as scripts see them: mixin methods and properties,
// core interfaces by name, script units, enumerations, keyword defaults and the errors.
#include <gtest/gtest.h>

#include <cmath>

#include "ifnpub.h"
#include "iparamb2.h"
#include "maxscript.h"
#include "script/scene_values.h"
#include "script_test_util.h"

namespace {

constexpr Interface_ID GADGET_INTERFACE(0x5C417001, 0x1);
constexpr Interface_ID PROBE_CORE(0x5C417002, 0x2);
constexpr Class_ID kGadgetClassID(0x5C417003, 0x3);

enum : FunctionID { fn_add, fn_scale, fn_pick, fn_turn, fn_setMode, fn_getMode, fn_mode2, fn_count, fn_setCount,
                    fn_last, fn_broken, fn_fk, fn_double, fn_getLevel, fn_setLevel };
enum : EnumID { gadget_modes = 1 };

FPInterfaceDesc& GadgetDesc();

class IGadget : public FPMixinInterface {
public:
    FPInterfaceDesc* GetDesc() override { return &GadgetDesc(); }
    int Add(int a, int b) { return a + b; }
    float Scale(float x, float k) { return x * k; }
    int Pick(int i) {
        picked = i;
        return i;
    }
    float Turn(float a) {
        turned = a;
        return a;
    }
    int UseMode(int m) {
        usedMode = m;
        return m;
    }
    int GetMode() { return mode; }
    void SetMode(int m) { mode = m; }
    int GetCount() { return count; }
    void SetCount(int c) { count = c; }
    int Last() { return count - 1; }
    int Broken(int a, int b) { return a + b; }
    void FK() { ++fk; }

    int picked = -1, usedMode = -1, mode = 0, count = 0, fk = 0;
    float turned = 0;

    BEGIN_FUNCTION_MAP
        FN_2(fn_add, TYPE_INT, Add, TYPE_INT, TYPE_INT)
        FN_2(fn_scale, TYPE_FLOAT, Scale, TYPE_FLOAT, TYPE_FLOAT)
        FN_1(fn_pick, TYPE_INDEX, Pick, TYPE_INDEX)
        FN_1(fn_turn, TYPE_ANGLE, Turn, TYPE_ANGLE)
        FN_1(fn_mode2, TYPE_ENUM, UseMode, TYPE_ENUM)
        PROP_FNS(fn_getMode, GetMode, fn_setMode, SetMode, TYPE_ENUM)
        PROP_FNS(fn_count, GetCount, fn_setCount, SetCount, TYPE_INT)
        RO_PROP_FN(fn_last, Last, TYPE_INDEX)
        FN_2(fn_broken, TYPE_INT, Broken, TYPE_INT, TYPE_INT)
        VFN_0(fn_fk, FK)
    END_FUNCTION_MAP
};

class Gadget : public ReferenceTarget, public IGadget {
public:
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kGadgetClassID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    BaseInterface* GetInterface(Interface_ID id) override {
        if (id == GADGET_INTERFACE) return static_cast<IGadget*>(this);
        return ReferenceTarget::GetInterface(id);
    }
    using ReferenceTarget::GetInterface;
};

class GadgetClassDesc : public ClassDesc2 {
public:
    int IsPublic() override { return 0; }
    void* Create(BOOL) override { return static_cast<Animatable*>(new Gadget()); }
    const MCHAR* ClassName() override { return L"Script Gadget"; }
    const MCHAR* NonLocalizedClassName() override { return L"ScriptGadget"; }
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kGadgetClassID; }
    const MCHAR* Category() override { return L"Tests"; }
};

GadgetClassDesc& GadgetClass() {
    static GadgetClassDesc cd;
    return cd;
}

FPInterfaceDesc& GadgetDesc() {
    static FPInterfaceDesc desc(
        GADGET_INTERFACE, _T("IGadget"), 0, &GadgetClass(), FP_MIXIN,
        fn_add, _T("Add"), 0, TYPE_INT, 0, 2,
            _T("a"), 0, TYPE_INT,
            _T("b"), 0, TYPE_INT,
        fn_scale, _T("Scale"), 0, TYPE_FLOAT, 0, 2,
            _T("x"), 0, TYPE_FLOAT,
            _T("k"), 0, TYPE_FLOAT, f_keyArgDefault, 2.0f,
        fn_pick, _T("Pick"), 0, TYPE_INDEX, 0, 1,
            _T("which"), 0, TYPE_INDEX,
        fn_turn, _T("Turn"), 0, TYPE_ANGLE, 0, 1,
            _T("a"), 0, TYPE_ANGLE,
        fn_mode2, _T("UseMode"), 0, TYPE_ENUM, gadget_modes, 0, 1,
            _T("m"), 0, TYPE_ENUM, gadget_modes,
        // declared with one argument while the map reads two
        fn_broken, _T("Broken"), 0, TYPE_INT, 0, 1,
            _T("a"), 0, TYPE_INT,
        fn_fk, _T("FK"), 0, TYPE_VOID, 0, 0,
        properties,
            fn_getMode, fn_setMode, _T("mode"), 0, TYPE_ENUM, gadget_modes,
            fn_count, fn_setCount, _T("count"), 0, TYPE_INT,
            fn_last, FP_NO_FUNCTION, _T("lastIndex"), 0, TYPE_INDEX,
        enums,
            gadget_modes, 3,
                _T("Off"), 0,
                _T("Soft"), 5,
                _T("Hard"), 9,
        p_end);
    return desc;
}

class ProbeCore : public FPStaticInterface {
    DECLARE_DESCRIPTOR(ProbeCore)
    float level = 0.25f;
    int Double(int v) { return v * 2; }
    float GetLevel() { return level; }
    void SetLevel(float l) { level = l; }

    BEGIN_FUNCTION_MAP
        FN_1(fn_double, TYPE_INT, Double, TYPE_INT)
        PROP_FNS(fn_getLevel, GetLevel, fn_setLevel, SetLevel, TYPE_FLOAT)
    END_FUNCTION_MAP
};

ProbeCore& Probe() {
    static ProbeCore core(PROBE_CORE, _T("ScriptProbe"), 0, nullptr, FP_CORE,
        fn_double, _T("Double"), 0, TYPE_INT, 0, 1,
            _T("v"), 0, TYPE_INT,
        properties,
            fn_getLevel, fn_setLevel, _T("level"), 0, TYPE_FLOAT,
        p_end);
    return core;
}

constexpr Interface_ID GADGET_STATICS(0x5C417004, 0x4);
enum : FunctionID { fn_triple };

class GadgetStatics : public FPStaticInterface {
    DECLARE_DESCRIPTOR(GadgetStatics)
    int Triple(int v) { return v * 3; }
    BEGIN_FUNCTION_MAP
        FN_1(fn_triple, TYPE_INT, Triple, TYPE_INT)
    END_FUNCTION_MAP
};

GadgetStatics& Statics() {
    static GadgetStatics s(GADGET_STATICS, _T("GadgetOps"), 0, &GadgetClass(), FP_STATIC,
        fn_triple, _T("Triple"), 0, TYPE_INT, 0, 1,
            _T("v"), 0, TYPE_INT,
        p_end);
    return s;
}

void RegisterOnce() {
    static bool done = [] {
        GadgetDesc();
        Statics();
        host::ClassDirectory::Get().AddClass(&GadgetClass());
        Probe();
        return true;
    }();
    (void)done;
}

}  // namespace

TEST(ScriptFunctionPublishing, MixinMethodsAndPropertiesUseScriptUnitsAndNames) {
    RegisterOnce();
    host::script::RunOptions quiet;
    quiet.quiet = true;
    host::script::Interpreter in(true);
    auto run = [&](const char* text) {
        auto r = in.Run(text, quiet);
        EXPECT_TRUE(r.ok) << text << "\n" << r.error;
        return r.value.Print();
    };
    run("g = ScriptGadget()");
    auto* gadget = dynamic_cast<Gadget*>(host::script::scene::ToAnim(in.GetGlobal("g")));
    ASSERT_NE(gadget, nullptr);

    EXPECT_EQ(run("g.Add 2 3"), "5");
    EXPECT_EQ(run("g.add 2 3"), "5");  // names ignore case
    EXPECT_EQ(run("g.Scale 3.0"), "6.0");
    EXPECT_EQ(run("g.Scale 3.0 k:10"), "30.0");
    EXPECT_EQ(run("g.Pick 1"), "1");
    EXPECT_EQ(gadget->picked, 0);  // 1-based in scripts, 0-based natively
    EXPECT_EQ(run("g.Turn 90"), "90.0");
    EXPECT_NEAR(gadget->turned, 1.5707963f, 1e-5f);
    EXPECT_EQ(run("g.UseMode #soft"), "#Soft");
    EXPECT_EQ(gadget->usedMode, 5);
    run("g.mode = #Hard");
    EXPECT_EQ(gadget->mode, 9);
    EXPECT_EQ(run("g.mode"), "#Hard");
    run("g.count = 4");
    EXPECT_EQ(run("g.count"), "4");
    EXPECT_EQ(run("g.lastIndex"), "4");  // native 3
    EXPECT_EQ(run("g.FK()"), "OK");
    EXPECT_EQ(gadget->fk, 1);
    EXPECT_EQ(run("g.IGadget"), "<Interface:IGadget>");
    EXPECT_EQ(run("g.IGadget.Add 1 1"), "2");
    EXPECT_EQ(run("classOf g"), "ScriptGadget");
}

TEST(ScriptFunctionPublishing, CallErrorsReadAsScriptErrors) {
    RegisterOnce();
    host::script::RunOptions quiet;
    quiet.quiet = true;
    host::script::Interpreter in(true);
    ASSERT_TRUE(in.Run("g = ScriptGadget()", quiet).ok);
    auto r = in.Run("g.Add 1", quiet);
    EXPECT_EQ(r.error, "-- Argument count error: Add wanted 2, got 1");
    r = in.Run("g.Broken 1", quiet);
    EXPECT_EQ(r.error, "-- Runtime error: Argument index out of bounds, passed into a MaxSDK::Array::operator[]");
    EXPECT_EQ(r.line, 1);
    r = in.Run("try (g.Broken 1) catch (\"caught\")", quiet);
    EXPECT_EQ(r.value.ToStr(), "caught");
    r = in.Run("g.lastIndex = 2", quiet);
    EXPECT_EQ(r.error, "-- Runtime error: Cannot set read-only property: lastIndex");
    r = in.Run("g.UseMode #medium", quiet);
    EXPECT_FALSE(r.ok);
    EXPECT_EQ(r.error.rfind("-- Runtime error: ", 0), 0u) << r.error;
    r = in.Run("g.Nothing()", quiet);
    EXPECT_EQ(r.error, "-- Unknown property: \"Nothing\" in ScriptGadget");
}

TEST(ScriptFunctionPublishing, CoreInterfacesAreGlobalsByName) {
    RegisterOnce();
    host::script::RunOptions quiet;
    quiet.quiet = true;
    host::script::Interpreter in(true);
    auto r = in.Run("#(ScriptProbe.Double 21, scriptprobe.level)", quiet);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.value.Print(), "#(42, 0.25)");
    r = in.Run("ScriptProbe.level = 0.75\nf = ScriptProbe.Double\n#(f 4, ScriptProbe.level)", quiet);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.value.Print(), "#(8, 0.75)");
    EXPECT_FLOAT_EQ(Probe().level, 0.75f);
    // static interfaces answer through their class
    r = in.Run("#(ScriptGadget.Triple 3, (ScriptGadget.Triple) 4)", quiet);
    ASSERT_TRUE(r.ok) << r.error;
    EXPECT_EQ(r.value.Print(), "#(9, 12)");
}

TEST(ScriptFunctionPublishing, ExecuteHandsTheLastValueBackAsAnFPValue) {
    host::ListenerCapture listener;
    FPValue v;
    ASSERT_EQ(ExecuteMAXScriptScript(L"GetINISetting \"/nonexistent/x.ini\" \"S\" \"k\" + \"42\"", TRUE, &v), TRUE);
    ASSERT_EQ(base_type(v.type), TYPE_STRING);
    EXPECT_EQ(std::wstring(v.s), L"42");
    ASSERT_EQ(ExecuteMAXScriptScript(L"[1,2,3] * 2", TRUE, &v), TRUE);
    ASSERT_EQ(base_type(v.type), TYPE_POINT3);
    EXPECT_EQ(*v.p, Point3(2, 4, 6));
    ASSERT_EQ(ExecuteMAXScriptScript(L"2.5", TRUE, &v), TRUE);
    EXPECT_EQ(base_type(v.type), TYPE_FLOAT);
    EXPECT_FLOAT_EQ(v.f, 2.5f);
    ASSERT_EQ(ExecuteMAXScriptScript(L"7", TRUE, &v), TRUE);
    EXPECT_EQ(base_type(v.type), TYPE_INT);
    EXPECT_EQ(v.i, 7);
    ASSERT_EQ(ExecuteMAXScriptScript(L"undefined", TRUE, &v), TRUE);
    EXPECT_TRUE(v.IsVoid());
    // on error the result is void, not the last value that ran
    EXPECT_EQ(ExecuteMAXScriptScript(L"5\nundefined.x", TRUE, &v), FALSE);
    EXPECT_TRUE(v.IsVoid());
    EXPECT_EQ(listener.Text(), "");
}
