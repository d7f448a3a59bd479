// Published functions that take and answer script values as they are (Value*), and the errors
// such functions throw.
#include <gtest/gtest.h>

#include "ifnpub.h"
#include "maxscript.h"
#include "script/scene_values.h"
#include "script_test_util.h"

namespace {

constexpr Interface_ID TRACK_PROBE_CORE(0x5C417101, 0x1);

class TrackProbe : public FPInterfaceDesc {
public:
    enum : FunctionID { fn_describe, fn_refuse, fn_track };
    TrackProbe() {
        Define(TRACK_PROBE_CORE, L"trackProbe", 0, nullptr, FP_CORE);
        AppendFunction(fn_describe, L"Describe", TYPE_VALUE).AddParam(L"v", TYPE_VALUE);
        AppendFunction(fn_refuse, L"Refuse", TYPE_bool).AddParam(L"v", TYPE_VALUE);
        FPFunctionDef& t = AppendFunction(fn_track, L"Track", TYPE_VALUE);
        t.AddParam(L"owner", TYPE_REFTARG);
        t.AddParam(L"index", TYPE_INT);
    }
    // A track names its index; anything else comes back as it is.
    Value* Describe(Value* v) {
        Animatable* parent = nullptr;
        int index = -1;
        if (host::script::scene::ToSubAnim(v->ScriptValue(), parent, index))
            return new String((L"track " + std::to_wstring(index)).c_str());
        return v;
    }
    bool Refuse(Value* v) { throw RuntimeError(L"refused: ", v); }
    Value* Track(ReferenceTarget* owner, int index) {
        return new ::Value(host::script::scene::SubAnimTrackValue(owner, index));
    }

    BEGIN_FUNCTION_MAP
    FN_1(fn_describe, TYPE_VALUE, Describe, TYPE_VALUE)
    FN_1(fn_refuse, TYPE_bool, Refuse, TYPE_VALUE)
    FN_2(fn_track, TYPE_VALUE, Track, TYPE_REFTARG, TYPE_INT)
    END_FUNCTION_MAP
};

TrackProbe& Probe() {
    static TrackProbe* p = new TrackProbe();
    return *p;
}

TEST(FPValueArguments, ScriptValuesPassThroughAsTheyAreAndErrorsKeepTheirForm) {
    Probe();
    GetCOREInterface()->CreateObjectNode(nullptr, L"Probe")->SetName(L"Probe");
    {
        script_test::ScriptRun r("trackProbe.Describe (getSubAnim $Probe 3)");
        ASSERT_TRUE(r.result.ok) << r.result.error;
        EXPECT_EQ(r.result.value.Print(), "\"track 2\"");
    }
    {
        script_test::ScriptRun r("#(trackProbe.Describe 5, trackProbe.Describe \"x\", trackProbe.Describe undefined)");
        ASSERT_TRUE(r.result.ok) << r.result.error;
        EXPECT_EQ(r.result.value.Print(), "#(5, \"x\", undefined)");
    }
    {
        // A track made on the C++ side is a track to the script: its name and its owner.
        script_test::ScriptRun r("t = trackProbe.Track $Probe 2\n(t as string) + \"|\" + (t.parent.name)");
        ASSERT_TRUE(r.result.ok) << r.result.error;
        EXPECT_EQ(r.result.value.Print(), "\"SubAnim:Transform|Probe\"");
    }
    {
        // The function's own error text, once, in the host's form.
        script_test::ScriptRun r("trackProbe.Refuse [1,2,3]");
        EXPECT_FALSE(r.result.ok);
        EXPECT_EQ(r.result.error.rfind("-- Runtime error: refused: [1,2,3]", 0), 0u) << r.result.error;
        script_test::ScriptRun caught("try (trackProbe.Refuse 4) catch (getCurrentException())");
        ASSERT_TRUE(caught.result.ok);
        EXPECT_EQ(caught.result.value.Print(), "\"-- Runtime error: refused: 4\"");
    }
    host::ResetScene();
}

}  // namespace
