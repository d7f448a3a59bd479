#include <QCheckBox>
#include <QPushButton>
#include <QTableWidget>

#include "constraint_scene.h"
#include "helpers.h"
#include "viewexp.h"
#include "controllers/parent_constraint.h"
#include "controllers/ui/parent_constraint_rollup.h"
#include "ui/qmax_controls.h"
#include "ui/qmax_spinner.h"
#include "ui/ui_application.h"

using namespace kt;
using kttest::MakeNode;

namespace {
using ParentConstraintRollupTest = kttest::ConstraintTest;
}

TEST_F(ParentConstraintRollupTest, PicksListsWeighsAndDeletesTargetsAsUndoableSteps) {
    host::ui::EnsureApplication();
    INode* a = MakeNode(L"A", nullptr, TransMatrix(Point3(4, 0, 0)));
    INode* b = MakeNode(L"B", nullptr, TransMatrix(Point3(0, 8, 0)));
    INode* n = MakeNode(L"N", nullptr, Matrix3());
    auto* pc = new ParentConstraint();
    n->SetTMController(pc);

    MSTR title;
    int flags = 0, category = 0;
    RegistryClassDesc* cd = ClassRegistry::Find(CTRL_MATRIX3_CLASS_ID, PARENT_CONSTRAINT_CLASS_ID);
    std::unique_ptr<MaxSDK::QMaxParamBlockWidget> widget(cd->CreateQtWidget(*pc, *pc->pblock, 0, title, flags, category));
    auto* rollup = dynamic_cast<ParentConstraintRollup*>(widget.get());
    ASSERT_NE(rollup, nullptr);
    EXPECT_EQ(std::wstring(title.data()), L"Parent Constraint");
    auto* table = rollup->findChild<QTableWidget*>("targetTable");
    auto* pick = rollup->findChild<MaxSDK::QmaxNodePickButton*>("pickParent");
    auto* del = rollup->findChild<QPushButton*>("deleteParent");
    auto* spinner = rollup->findChild<MaxSDK::QmaxDoubleSpinBox*>("weightSpinner");
    auto* relative = rollup->findChild<QCheckBox*>("relative");
    ASSERT_TRUE(table && pick && del && spinner && relative);

    // Picks: the node itself and a duplicate are filtered out.
    pick->pickNode(a);
    pick->pickNode(n);
    pick->pickNode(a);
    pick->pickNode(b);
    ASSERT_EQ(pc->getNumTargets(), 2);
    ASSERT_EQ(table->rowCount(), 2);
    EXPECT_EQ(table->item(0, 0)->text(), "A");
    EXPECT_EQ(table->item(1, 1)->text(), "50.0");

    // A typed weight is one named step; undo shows in the table.
    rollup->SelectTarget(0);
    const int records = theHold.NumUndoRecords();
    spinner->setValue(20.0);
    EXPECT_FLOAT_EQ(pc->getWeight(0), 20.0f);
    EXPECT_EQ(theHold.NumUndoRecords(), records + 1);
    EXPECT_EQ(std::wstring(theHold.UndoName().data()), L"Parent Weight Change");
    EXPECT_EQ(table->item(0, 1)->text(), "20.0");
    ASSERT_TRUE(theHold.Undo());
    EXPECT_FLOAT_EQ(pc->getWeight(0), 50.0f);
    EXPECT_EQ(table->item(0, 1)->text(), "50.0");

    // A drag is one step; a cancelled drag leaves none and puts the weight back.
    spinner->beginInteractive();
    spinner->setValue(30.0);
    spinner->setValue(40.0);
    spinner->endInteractive(false);
    EXPECT_EQ(theHold.NumUndoRecords(), records + 1);
    EXPECT_FLOAT_EQ(pc->getWeight(0), 40.0f);
    spinner->beginInteractive();
    spinner->setValue(90.0);
    spinner->endInteractive(true);
    EXPECT_EQ(theHold.NumUndoRecords(), records + 1);
    EXPECT_FLOAT_EQ(pc->getWeight(0), 40.0f);

    // The switch is bound by its script name; delete removes the selected row.
    relative->click();
    EXPECT_EQ(pc->pblock->GetInt(ParentConstraint::pc_relative), 1);
    rollup->SelectTarget(1);
    del->click();
    ASSERT_EQ(pc->getNumTargets(), 1);
    EXPECT_EQ(table->rowCount(), 1);
    EXPECT_EQ(pc->getNode(0), a);

    // The pick mode: a click in a front view where one world unit is one pixel.
    ViewExp vpt;
    vpt.host_SetSize(200, 200);
    vpt.host_SetViewType(VIEW_FRONT);
    Matrix3 affine;
    vpt.GetAffineTM(affine);
    vpt.host_SetOrthographic(affine, 200.0f);
    auto* obj = static_cast<PointHelpObject*>(static_cast<Animatable*>(CreateInstance(HELPER_CLASS_ID, POINTHELP_CLASS_ID)));
    INode* c = GetCOREInterface()->CreateObjectNode(obj, L"C");
    c->SetNodeTM(0, TransMatrix(Point3(30, 0, 20)));
    auto* mode = rollup->findChild<QPushButton*>("pickMode");
    ASSERT_NE(mode, nullptr);
    mode->click();
    EXPECT_TRUE(mode->isChecked());
    EXPECT_NE(GetCOREInterface()->GetCurPickMode(), nullptr);
    EXPECT_FALSE(host::PickModeClick(vpt, IPoint2(20, 180))) << "nothing there";
    EXPECT_TRUE(host::PickModeClick(vpt, IPoint2(130, 80)));
    EXPECT_EQ(pc->getNumTargets(), 2);
    EXPECT_EQ(pc->getNode(1), c);
    EXPECT_FALSE(mode->isChecked()) << "one pick ends the mode";
    EXPECT_EQ(GetCOREInterface()->GetCurPickMode(), nullptr);
    // Listed nodes are filtered out of the viewport pick too.
    mode->click();
    EXPECT_FALSE(host::PickModeClick(vpt, IPoint2(130, 80)));
    EXPECT_EQ(pc->getNumTargets(), 2);
    widget.reset();
    EXPECT_EQ(pc->rollup, nullptr);
    EXPECT_EQ(GetCOREInterface()->GetCurPickMode(), nullptr) << "the rollup ends its mode when it closes";
}
