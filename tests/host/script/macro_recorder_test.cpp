// The macro recorder: the text it writes, and that the interpreter runs it back.
#include <gtest/gtest.h>

#include "control.h"
#include "macrorec.h"
#include "maxapi.h"
#include "maxscript.h"
#include "script/interpreter.h"

namespace {

class MacroRecorderTest : public ::testing::Test {
protected:
    void SetUp() override {
        host::ResetScene();
        macroRecorder->ClearText();
    }
    void TearDown() override {
        macroRecorder->ClearText();
        host::ResetScene();
    }
    static INode* Node(const MCHAR* name) {
        INode* n = GetCOREInterface()->CreateObjectNode(nullptr, name);
        n->SetName(name);
        return n;
    }
    static std::wstring Text() { return macroRecorder->Text().data(); }
};

}  // namespace

TEST_F(MacroRecorderTest, WritesArgumentsTheScriptWay) {
    using Arg = MacroRecorder::Arg;
    EXPECT_EQ(Arg(3).Text(), L"3");
    EXPECT_EQ(Arg(-1.5f).Text(), L"-1.5");
    EXPECT_EQ(Arg(true).Text(), L"true");
    EXPECT_EQ(Arg(L"say \"hi\"").Text(), L"\"say \\\"hi\\\"\"");
    EXPECT_EQ(Arg(Point3(1.0f, 2.5f, -3.0f)).Text(), L"[1,2.5,-3]");
    EXPECT_EQ(Arg::Name(L"motion").Text(), L"#motion");
    EXPECT_EQ(Arg::Time(12 * GetTicksPerFrame()).Text(), L"12f");
    EXPECT_EQ(Arg::Time(-2 * GetTicksPerFrame()).Text(), L"-2f");
    EXPECT_EQ(Arg::Time(1930).Text(), L"1930t");

    INode* hip = Node(L"Hip");
    INode* hand = Node(L"Left Hand");
    INode* twin = Node(L"Twin");
    Node(L"twin");
    INode* quote = Node(L"it's");
    EXPECT_EQ(Arg::Anim(hip).Text(), L"$Hip");
    EXPECT_EQ(Arg::Anim(hand).Text(), L"$'Left Hand'");
    EXPECT_EQ(Arg::Anim(twin).Text(), L"(maxOps.getNodeByHandle " + std::to_wstring(twin->GetHandle()) + L")")
        << "names match without case: $Twin could find the other one";
    EXPECT_EQ(Arg::Anim(quote).Text(), L"(maxOps.getNodeByHandle " + std::to_wstring(quote->GetHandle()) + L")");
    Control* pos = hip->GetTMController()->GetPositionController();
    ASSERT_NE(pos, nullptr);
    EXPECT_EQ(Arg::Anim(hip->GetTMController()).Text(), L"$Hip.controller");
    EXPECT_EQ(Arg::Anim(pos).Text(), L"$Hip.controller.Position.controller");
    Control* loose = NewDefaultPositionController();
    EXPECT_FALSE(Arg::Anim(loose).Valid()) << "not in the scene";
    EXPECT_FALSE(Arg::Anim(nullptr).Valid());
    loose->DeleteThis();
}

TEST_F(MacroRecorderTest, RecordsWhatTheUserDoesAndTheInterpreterRunsItBack) {
    using Arg = MacroRecorder::Arg;
    INode* hip = Node(L"Hip");
    INode* hand = Node(L"Left Hand");
    Control* pos = hip->GetTMController()->GetPositionController();
    struct Lines : MacroRecorder::Observer {
        std::vector<std::wstring> seen;
        void LineEmitted(const MSTR& line) override { seen.push_back(line.data()); }
    } lines;
    macroRecorder->AddObserver(&lines);

    macroRecorder->FunctionCall(L"select", {Arg::Anim(hand)});
    macroRecorder->EmitScript();
    macroRecorder->SetProperty(pos, L"value", Point3(1.0f, 2.0f, 3.0f));
    macroRecorder->EmitScript();
    macroRecorder->EmitScript();
    macroRecorder->FunctionCall(L"setCommandPanelTaskMode", {}, {{L"mode", Arg::Name(L"motion")}});
    macroRecorder->EmitScript();
    macroRecorder->FunctionCall(L"clearSelection");
    macroRecorder->Cancel();
    macroRecorder->EmitScript();
    const std::wstring expected =
        L"select $'Left Hand'\n"
        L"$Hip.controller.Position.controller.value = [1,2,3]\n"
        L"setCommandPanelTaskMode mode:#motion\n";
    EXPECT_EQ(Text(), expected) << "an emit without a composed call and a cancelled call write nothing";
    EXPECT_EQ(lines.seen.size(), 3u);
    EXPECT_EQ(lines.seen.front(), L"select $'Left Hand'");
    macroRecorder->RemoveObserver(&lines);

    {
        SCOPED_TRACE("what cannot be written is dropped whole; a disabled recorder writes nothing");
        Control* loose = NewDefaultPositionController();
        macroRecorder->FunctionCall(L"select", {Arg::Anim(loose)});
        macroRecorder->EmitScript();
        macroRecorder->MethodCall(loose, L"reset");
        macroRecorder->EmitScript();
        loose->DeleteThis();
        macroRecorder->Disable();
        macroRecorder->Disable();
        macroRecorder->FunctionCall(L"clearSelection");
        macroRecorder->EmitScript();
        macroRecorder->Enable();
        EXPECT_FALSE(macroRecorder->Enabled()) << "Disable nests";
        macroRecorder->Enable();
        macroRecorder->Enable();
        EXPECT_TRUE(macroRecorder->Enabled());
        EXPECT_EQ(Text(), expected);
    }
    {
        SCOPED_TRACE("a script's own calls are not the user's");
        host::script::Interpreter::Global().RegisterPrimitive(
            "ktTestRecord", [](host::script::Interpreter&, const host::script::CallArgs&) {
                macroRecorder->FunctionCall(L"clearSelection");
                macroRecorder->EmitScript();
                return host::script::Value::Ok();
            });
        ASSERT_TRUE(ExecuteMAXScriptScript(L"ktTestRecord()", TRUE));
        EXPECT_EQ(Text(), expected);
        EXPECT_TRUE(macroRecorder->Enabled()) << "enabled again after the script";
    }
    {
        SCOPED_TRACE("the recorded text, run back, does it again");
        GetCOREInterface()->ClearNodeSelection();
        ASSERT_TRUE(ExecuteMAXScriptScript(macroRecorder->Text().data(), FALSE));
        ASSERT_EQ(GetCOREInterface()->GetSelNodeCount(), 1);
        EXPECT_EQ(GetCOREInterface()->GetSelNode(0), hand);
        Point3 p;
        Interval iv = FOREVER;
        pos->GetValue(0, &p, iv, CTRL_ABSOLUTE);
        EXPECT_EQ(p, Point3(1.0f, 2.0f, 3.0f));
        EXPECT_EQ(GetCOREInterface()->GetCommandPanelTaskMode(), TASK_MODE_MOTION);
        GetCOREInterface()->SetCommandPanelTaskMode(TASK_MODE_MODIFY);
    }
}
