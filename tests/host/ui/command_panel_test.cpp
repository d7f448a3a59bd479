// The frame's command panel in the motion tab: the edited controller's pages come and go.
#include <gtest/gtest.h>

#include <QDockWidget>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QTabBar>
#include <QToolButton>

#include "control.h"
#include "macrorec.h"
#include "maxapi.h"
#include "ui/main_window.h"
#include "ui/ui_application.h"

namespace {

// A transform controller that shows one label while it is edited and deletes it after.
class LabelEditor : public Control {
public:
    QPointer<QLabel> label;
    SClass_ID SuperClassID() override { return CTRL_MATRIX3_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x5C3E7E52, 0x2); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void GetValue(TimeValue, void*, Interval&, GetSetMethod) override {}
    void SetValue(TimeValue, void*, int, GetSetMethod) override {}
    void BeginEditParams(IObjParam* ip, ULONG, Animatable*) override {
        label = new QLabel(QStringLiteral("edited"));
        ip->AddRollupPage(*label, L"Label Page");
    }
    void EndEditParams(IObjParam* ip, ULONG, Animatable*) override {
        ip->DeleteRollupPage(*label);
        delete label.data();
    }
};

bool Inside(QWidget* w, QWidget* outer) {
    for (QWidget* p = w; p; p = p->parentWidget())
        if (p == outer) return true;
    return false;
}

TEST(CommandPanel, ShowsTheEditedControllersPagesInTheMotionTab) {
    host::ResetScene();
    host::ui::MainWindow* w = host::ui::StartUI();
    host::ui::CommandPanel* panel = w->Panel();
    Interface* ip = GetCOREInterface();
    INode* n = ip->CreateObjectNode(nullptr, L"Edited");
    auto* editor = new LabelEditor();
    n->SetTMController(editor);
    ip->SelectNode(n);
    EXPECT_EQ(editor->label, nullptr);
    EXPECT_EQ(panel->Tabs()->currentIndex(), TASK_MODE_MODIFY - TASK_MODE_CREATE);

    panel->Tabs()->setCurrentIndex(TASK_MODE_MOTION - TASK_MODE_CREATE);
    EXPECT_EQ(ip->GetCommandPanelTaskMode(), TASK_MODE_MOTION) << "the tab sets the mode";
    QPointer<QLabel> label = editor->label;
    ASSERT_FALSE(label.isNull());
    EXPECT_TRUE(Inside(label, panel)) << "the page is in the panel";
    QPointer<QToolButton> head;
    for (auto* b : panel->findChildren<QToolButton*>())
        if (b->text() == QStringLiteral("Label Page")) head = b;
    ASSERT_NE(head, nullptr) << "the page's title heads its rollup";

    ip->ClearNodeSelection();
    EXPECT_TRUE(label.isNull()) << "the editor deleted its page";
    EXPECT_EQ(head, nullptr) << "and the panel its frame";
    ip->SelectNode(n);
    label = editor->label;
    ASSERT_FALSE(label.isNull());
    EXPECT_TRUE(Inside(label, panel));

    ip->SetCommandPanelTaskMode(TASK_MODE_MODIFY);
    EXPECT_EQ(panel->Tabs()->currentIndex(), TASK_MODE_MODIFY - TASK_MODE_CREATE) << "the tab follows the mode";
    EXPECT_TRUE(label.isNull());
    ip->SetCommandPanelTaskMode(TASK_MODE_MOTION);
    label = editor->label;
    host::ui::StopUI();
    EXPECT_FALSE(label.isNull()) << "closing the frame leaves the editor's page to the editor";
    EXPECT_EQ(label->parentWidget(), nullptr);
    ip->SetCommandPanelTaskMode(TASK_MODE_MODIFY);
    EXPECT_TRUE(label.isNull());
    host::ResetScene();
}

TEST(Listener, ShowsTheMacroRecorderTextInItsArea) {
    macroRecorder->ClearText();
    macroRecorder->FunctionCall(L"max motion mode");
    macroRecorder->Cancel();
    macroRecorder->FunctionCall(L"clearSelection");
    macroRecorder->EmitScript();
    host::ui::MainWindow* w = host::ui::StartUI();
    QPlainTextEdit* area = w->MacroRecorderArea();
    ASSERT_NE(area, nullptr);
    EXPECT_EQ(w->ListenerDock()->widget(), area);
    EXPECT_EQ(area->toPlainText(), QStringLiteral("clearSelection()")) << "what was recorded before the frame opened";
    macroRecorder->FunctionCall(L"select", {MacroRecorder::Arg(L"x")});
    macroRecorder->EmitScript();
    EXPECT_EQ(area->toPlainText(), QStringLiteral("clearSelection()\nselect \"x\""));
    host::ui::StopUI();
    macroRecorder->FunctionCall(L"clearSelection");
    macroRecorder->EmitScript();
    EXPECT_EQ(macroRecorder->Text(), L"clearSelection()\nselect \"x\"\nclearSelection()\n") << "no observer left behind";
    macroRecorder->ClearText();
}

}  // namespace
