#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QCoreApplication>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QRadioButton>

#include "connection_scene.h"
#include "controllers/float_connection.h"
#include "controllers/float_expose_tm.h"
#include "controllers/float_operation.h"
#include "controllers/ui/float_connection_dlg.h"
#include "controllers/ui/float_operator_dlgs.h"
#include "ui/qmax_controls.h"
#include "ui/ui_application.h"

using namespace kttest::conn;

namespace {

struct TrackDialogTest : ConnectionTest {
    void SetUp() override {
        host::ui::EnsureApplication();
        ConnectionTest::SetUp();
    }
};

TEST_F(TrackDialogTest, FloatConnectionDialogPicksEditsUndoesAndFollowsItsController) {
    INode* a = XYZNode(L"A");
    INode* b = XYZNode(L"B");
    Write(Sub(a, 0), 12.0f);
    auto* c = new kt::FloatConnection();
    XYZOf(b)->AssignController(c, 0);
    QPointer<kt::QtTrackDlg> dlg = kt::OpenTrackDialog(c);
    ASSERT_TRUE(dlg);
    EXPECT_EQ(dlg->objectName(), "FloatConnectionDialog");
    auto* label = dlg->findChild<QLabel*>("lblAssignedTo");
    auto* button = dlg->findChild<QPushButton*>("btnTargetTrack");
    ASSERT_TRUE(label && button);
    EXPECT_EQ(label->text(), "None");

    host::ScriptedTrackPicks picks;
    host::TrackPickProvider* oldPicks = host::SetTrackPickProvider(&picks);
    host::ScriptedPrompts prompts;
    host::PromptProvider* oldPrompts = host::SetPromptProvider(&prompts);
    picks.Push(XYZOf(a), 0);
    button->click();
    EXPECT_EQ(c->targetOwner, XYZOf(a));
    EXPECT_TRUE(label->text().startsWith("A / ")) << label->text().toStdString();
    EXPECT_TRUE(label->text().endsWith("X Position")) << label->text().toStdString();
    // A pick that would close a loop (a sibling track of the connection's own owner) asks and
    // changes nothing.
    picks.Push(XYZOf(b), 1);
    button->click();
    ASSERT_EQ(prompts.AskedPrompts().size(), 1u);
    EXPECT_EQ(prompts.AskedPrompts()[0].title, L"\"Can't Assign Controller\"");
    EXPECT_EQ(c->TargetIndex(), 0);
    host::SetTrackPickProvider(oldPicks);
    host::SetPromptProvider(oldPrompts);

    // Widgets edit the block as named undo steps, and follow undo.
    auto* twoWay = dlg->findChild<QCheckBox*>("two_way");
    auto* weight = dlg->findChild<QDoubleSpinBox*>("weight");
    auto* group = dlg->findChild<QButtonGroup*>("transform");
    ASSERT_TRUE(twoWay && weight && group);
    EXPECT_DOUBLE_EQ(weight->value(), 100.0);
    theHold.Reset();
    twoWay->setChecked(true);
    EXPECT_EQ(c->pblock->GetInt(kt::FloatConnection::pb_two_way), 1);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Float Connection Change"));
    group->button(1)->click();
    weight->setValue(50.0);
    EXPECT_EQ(c->pblock->GetInt(kt::FloatConnection::pb_transform), 1);
    EXPECT_FLOAT_EQ(Read(c), 6.0f);
    EXPECT_EQ(theHold.NumUndoRecords(), 3);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_DOUBLE_EQ(weight->value(), 100.0);
    ASSERT_TRUE(theHold.Undo());
    EXPECT_FALSE(group->button(1)->isChecked());
    // A change from a script shows, and so does a new current time over an animated value.
    c->pblock->SetValue(kt::FloatConnection::pb_input_max, 0, 42.0f);
    EXPECT_DOUBLE_EQ(dlg->findChild<QDoubleSpinBox*>("input_max")->value(), 42.0);
    AnimateOn();
    c->pblock->SetValue(kt::FloatConnection::pb_offset, 0, 0.0f);
    c->pblock->SetValue(kt::FloatConnection::pb_offset, 1600, 8.0f);
    AnimateOff();
    GetCOREInterface()->SetTime(1600);
    EXPECT_DOUBLE_EQ(dlg->findChild<QDoubleSpinBox*>("offset")->value(), 8.0);
    GetCOREInterface()->SetTime(0);
    EXPECT_DOUBLE_EQ(dlg->findChild<QDoubleSpinBox*>("offset")->value(), 0.0);

    // The controller goes away: the dialog closes.
    theHold.Reset();
    XYZOf(b)->AssignController(NewDefaultFloatController(), 0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_FALSE(dlg);
}

TEST_F(TrackDialogTest, OperatorDialogsBindEveryParameter) {
    INode* n = XYZNode(L"N");
    auto* op = new kt::FloatOperation();
    XYZOf(n)->AssignController(op, 0);
    std::unique_ptr<kt::QtTrackDlg> d1(kt::OpenTrackDialog(op));
    ASSERT_TRUE(d1);
    d1->setAttribute(Qt::WA_DeleteOnClose, false);
    d1->findChild<QDoubleSpinBox*>("a")->setValue(7.0);
    d1->findChild<QDoubleSpinBox*>("b")->setValue(4.0);
    d1->findChild<QComboBox*>("operation")->setCurrentIndex(kt::IFloatOperation::Mod);
    EXPECT_FLOAT_EQ(Read(op), -1.0f);
    d1->findChild<QCheckBox*>("negative")->setChecked(true);
    EXPECT_FLOAT_EQ(Read(op), 1.0f);
    EXPECT_EQ(theHold.UndoName(), MSTR(L"Float Operation Change"));

    auto* e = new kt::FloatExposeTM();
    XYZOf(n)->AssignController(e, 1);
    INode* other = XYZNode(L"O");
    Write(Sub(other, 2), 5.0f);
    std::unique_ptr<kt::QtTrackDlg> d2(kt::OpenTrackDialog(e));
    ASSERT_TRUE(d2);
    d2->setAttribute(Qt::WA_DeleteOnClose, false);
    auto* pick = d2->findChild<MaxSDK::QmaxNodePickButton*>("expose_node");
    ASSERT_NE(pick, nullptr);
    pick->pickNode(n);  // its own node: refused, the button shows the parameter again
    EXPECT_EQ(e->pblock->GetINode(kt::FloatExposeTM::pb_expose_node), nullptr);
    EXPECT_EQ(pick->node(), nullptr);
    pick->pickNode(other);
    d2->findChild<QComboBox*>("axis")->setCurrentIndex(2);
    EXPECT_FLOAT_EQ(Read(e), 5.0f);
    d2->findChild<QDoubleSpinBox*>("weight")->setValue(200.0);
    EXPECT_FLOAT_EQ(Read(e), 10.0f);
    EXPECT_EQ(kt::OpenTrackDialog(XYZOf(n)), nullptr);
}

}  // namespace
