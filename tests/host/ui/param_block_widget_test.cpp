// A rollup with one widget per parameter type, bound to a block under the offscreen platform:
// the widgets show the block, edits reach it as one undo record each, and undo shows again.
#include <gtest/gtest.h>

#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QVBoxLayout>

#include "hold.h"
#include "iparamb2.h"
#include "maxapi.h"
#include "object.h"
#include "ui/main_window.h"
#include "ui/qmax_controls.h"
#include "ui/qmax_param_block_widget.h"
#include "ui/qmax_spinner.h"
#include "ui/ui_application.h"

namespace {

enum : ParamID { p_len = 1, p_angle, p_pcnt, p_count, p_flag, p_mode, p_axis, p_tint, p_target, p_label, p_names };

constexpr Class_ID kRigOwnerID(0x7E5A0001, 0x11);

class RigOwner : public ReferenceTarget {
public:
    IParamBlock2* pb = nullptr;
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kRigOwnerID; }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? pb : nullptr; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pb : nullptr; }

protected:
    void SetReference(int i, RefTargetHandle t) override {
        if (i == 0) pb = dynamic_cast<IParamBlock2*>(t);
    }
};

// The rollup a plug-in class would build: children named after the parameters.
class RigRollup : public MaxSDK::QMaxParamBlockWidget {
public:
    RigRollup() {
        auto* l = new QVBoxLayout(this);
        auto add = [&](QWidget* w, const char* name) {
            w->setObjectName(QString::fromLatin1(name));
            l->addWidget(w);
            return w;
        };
        len = static_cast<MaxSDK::QmaxDoubleSpinBox*>(add(new MaxSDK::QmaxDoubleSpinBox, "length"));
        angle = static_cast<MaxSDK::QmaxDoubleSpinBox*>(add(new MaxSDK::QmaxDoubleSpinBox, "twist"));
        pcnt = static_cast<MaxSDK::QmaxDoubleSpinBox*>(add(new MaxSDK::QmaxDoubleSpinBox, "blend"));
        count = static_cast<MaxSDK::QmaxSpinBox*>(add(new MaxSDK::QmaxSpinBox, "count"));
        flag = static_cast<QCheckBox*>(add(new QCheckBox("Enabled"), "enabled"));
        mode = static_cast<QComboBox*>(add(new QComboBox, "mode"));
        mode->addItems({"FK", "IK", "Blend"});
        auto* a = new QRadioButton("X", this), *b = new QRadioButton("Y", this), *c = new QRadioButton("Z", this);
        axis = new QButtonGroup(this);
        axis->setObjectName("axis");
        for (QRadioButton* r : {a, b, c}) {
            axis->addButton(r);
            l->addWidget(r);
        }
        tint = static_cast<MaxSDK::QmaxColorSwatch*>(add(new MaxSDK::QmaxColorSwatch, "tint"));
        target = static_cast<MaxSDK::QmaxNodePickButton*>(add(new MaxSDK::QmaxNodePickButton, "target"));
        label = static_cast<QLineEdit*>(add(new QLineEdit, "label"));
        names = static_cast<QListWidget*>(add(new QListWidget, "names"));
    }
    MaxSDK::QmaxDoubleSpinBox *len, *angle, *pcnt;
    MaxSDK::QmaxSpinBox* count;
    QCheckBox* flag;
    QComboBox* mode;
    QButtonGroup* axis;
    MaxSDK::QmaxColorSwatch* tint;
    MaxSDK::QmaxNodePickButton* target;
    QLineEdit* label;
    QListWidget* names;
};

class RigOwnerDesc : public ClassDesc2 {
public:
    int IsPublic() override { return 0; }
    void* Create(BOOL loading) override {
        auto* o = new RigOwner();
        if (!loading) MakeAutoParamBlocks(o);
        return static_cast<Animatable*>(o);
    }
    const MCHAR* ClassName() override { return L"UITestRig"; }
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kRigOwnerID; }
    const MCHAR* Category() override { return L""; }
    MaxSDK::QMaxParamBlockWidget* CreateQtWidget(ReferenceMaker&, IParamBlock2&, MapID, MSTR& title, int&,
                                                 int&) override {
        title = L"Rig";
        return new RigRollup();
    }
};

RigOwnerDesc& Desc() {
    static RigOwnerDesc cd;
    return cd;
}

ParamBlockDesc2& Block() {
    static ParamBlockDesc2 desc(
        0, _T("params"), 0, &Desc(), P_AUTO_CONSTRUCT, 0,
        p_len, _T("length"), TYPE_WORLD, P_ANIMATABLE, 0, p_default, 10.0f, p_range, 0.0f, 100.0f, p_end,
        p_angle, _T("twist"), TYPE_ANGLE, P_ANIMATABLE, 0, p_default, 0.0f, p_end,
        p_pcnt, _T("blend"), TYPE_PCNT_FRAC, P_ANIMATABLE, 0, p_default, 0.25f, p_end,
        p_count, _T("count"), TYPE_INT, 0, 0, p_default, 3, p_range, 0, 10, p_end,
        p_flag, _T("enabled"), TYPE_BOOL, 0, 0, p_default, TRUE, p_end,
        p_mode, _T("mode"), TYPE_INDEX, 0, 0, p_default, 1, p_end,
        p_axis, _T("axis"), TYPE_INT, 0, 0, p_default, 2, p_end,
        p_tint, _T("tint"), TYPE_RGBA, 0, 0, p_default, Color(1.0f, 0.0f, 0.0f), p_end,
        p_target, _T("target"), TYPE_INODE, 0, 0, p_end,
        p_label, _T("label"), TYPE_STRING, 0, 0, p_default, _T("arm"), p_end,
        p_names, _T("names"), TYPE_STRING_TAB, 2, P_VARIABLE_SIZE, 0, p_end,
        p_end);
    return desc;
}

class ParamBlockWidget : public ::testing::Test {
protected:
    void SetUp() override {
        host::ui::EnsureApplication();
        Block();
        owner = static_cast<RigOwner*>(Desc().Create(FALSE));
        ASSERT_NE(owner->pb, nullptr);
        MSTR title;
        int flags = 0, cat = 0;
        rollup.reset(static_cast<RigRollup*>(Desc().CreateQtWidget(*owner, *owner->pb, 0, title, flags, cat)));
        rollup->SetParamBlock(owner, owner->pb);
        theHold.Reset();
    }
    void TearDown() override {
        rollup.reset();
        theHold.Reset();
        owner->DeleteMe();
    }
    IParamBlock2* pb() { return owner->pb; }

    RigOwner* owner = nullptr;
    std::unique_ptr<RigRollup> rollup;
};

TEST_F(ParamBlockWidget, ShowsTheBlockInDisplayUnits) {
    pb()->SetValue(p_angle, 0, static_cast<float>(M_PI / 2));
    EXPECT_NEAR(rollup->angle->value(), 90.0, 1e-4) << "radians stored, degrees shown";
    EXPECT_NEAR(rollup->pcnt->value(), 25.0, 1e-4) << "fractions stored, percent shown";
    EXPECT_DOUBLE_EQ(rollup->len->value(), 10.0);
    EXPECT_DOUBLE_EQ(rollup->len->maximum(), 100.0) << "the parameter's range";
    EXPECT_EQ(rollup->count->value(), 3);
    EXPECT_TRUE(rollup->flag->isChecked());
    EXPECT_EQ(rollup->mode->currentIndex(), 1);
    EXPECT_TRUE(rollup->axis->buttons()[2]->isChecked());
    EXPECT_EQ(rollup->tint->color(), QColor(255, 0, 0));
    EXPECT_EQ(rollup->target->text(), "None");
    EXPECT_EQ(rollup->label->text(), "arm");
    ASSERT_EQ(rollup->names->count(), 2);

    const MCHAR* more = L"spine";
    pb()->Append(p_names, 1, &more);
    pb()->SetValue(p_names, 0, L"spine", 2);
    rollup->UpdateParameterUI(0, p_names, -1);
    ASSERT_EQ(rollup->names->count(), 3);
    EXPECT_EQ(rollup->names->item(2)->text(), "spine");
}

TEST_F(ParamBlockWidget, EachEditIsOneUndoRecordOfTheBlock) {
    rollup->angle->setValue(45.0);
    EXPECT_NEAR(pb()->GetFloat(p_angle), M_PI / 4, 1e-5);
    rollup->pcnt->setValue(80.0);
    EXPECT_NEAR(pb()->GetFloat(p_pcnt), 0.8f, 1e-6);
    rollup->count->setValue(7);
    rollup->flag->setChecked(false);
    rollup->mode->setCurrentIndex(2);
    rollup->axis->buttons()[0]->setChecked(true);
    rollup->tint->setColor(QColor(0, 0, 255));
    rollup->label->setText("leg");
    emit rollup->label->editingFinished();
    EXPECT_EQ(pb()->GetInt(p_count), 7);
    EXPECT_EQ(pb()->GetInt(p_flag), 0);
    EXPECT_EQ(pb()->GetInt(p_mode), 2);
    EXPECT_EQ(pb()->GetInt(p_axis), 0);
    EXPECT_FLOAT_EQ(pb()->GetColor(p_tint).b, 1.0f);
    EXPECT_STREQ(pb()->GetStr(p_label), L"leg");
    EXPECT_EQ(theHold.NumUndoRecords(), 8) << "the radio button that lost its check is no edit";

    // Undo walks back one edit at a time, and the widgets follow the block.
    ASSERT_TRUE(theHold.Undo());
    EXPECT_STREQ(pb()->GetStr(p_label), L"arm");
    EXPECT_EQ(rollup->label->text(), "arm");
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(rollup->tint->color(), QColor(255, 0, 0));
    while (theHold.Undo()) {}
    EXPECT_NEAR(pb()->GetFloat(p_angle), 0.0f, 1e-6);
    EXPECT_NEAR(rollup->angle->value(), 0.0, 1e-6);
    EXPECT_EQ(rollup->count->value(), 3);
    EXPECT_TRUE(rollup->flag->isChecked());
}

TEST_F(ParamBlockWidget, AnInteractiveDragIsOneRecordAndACancelLeavesNone) {
    rollup->len->beginInteractive();
    EXPECT_TRUE(rollup->len->isInteractive());
    for (double v : {11.0, 12.0, 13.0}) rollup->len->setValue(v);
    EXPECT_FLOAT_EQ(pb()->GetFloat(p_len), 13.0f) << "the block follows the drag";
    rollup->len->endInteractive(false);
    EXPECT_EQ(theHold.NumUndoRecords(), 1);

    std::vector<std::pair<bool, bool>> seen;
    QObject::connect(rollup->len, &MaxSDK::QmaxDoubleSpinBox::interactiveChanged,
                     [&](bool on, bool cancelled) { seen.emplace_back(on, cancelled); });
    rollup->len->beginInteractive();
    rollup->len->setValue(50.0);
    EXPECT_FLOAT_EQ(pb()->GetFloat(p_len), 50.0f);
    rollup->len->endInteractive(true);
    EXPECT_FLOAT_EQ(pb()->GetFloat(p_len), 13.0f) << "a cancelled drag restores the block";
    EXPECT_DOUBLE_EQ(rollup->len->value(), 13.0);
    EXPECT_EQ(theHold.NumUndoRecords(), 1);
    ASSERT_EQ(seen.size(), 2u);
    EXPECT_EQ(seen[1], std::make_pair(false, true));

    // Out-of-range typing is held to the parameter's range by the spinner.
    rollup->len->setValue(500.0);
    EXPECT_FLOAT_EQ(pb()->GetFloat(p_len), 100.0f);
}

TEST_F(ParamBlockWidget, NodePickShowsTheNameAndNoneWhenCleared) {
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, L"Elbow");
    rollup->target->pickNode(n);
    EXPECT_EQ(pb()->GetINode(p_target), n);
    EXPECT_EQ(rollup->target->text(), "Elbow001");
    rollup->target->pickNode(nullptr);
    EXPECT_EQ(pb()->GetINode(p_target), nullptr);
    EXPECT_EQ(rollup->target->text(), "None");
    ASSERT_TRUE(theHold.Undo());
    EXPECT_EQ(rollup->target->text(), "Elbow001");
    GetCOREInterface()->DeleteNode(n);
}

TEST(CommandPanel, ShowsTheRollupOfTheSelectedNodesObject) {
    host::ui::MainWindow* w = host::ui::StartUI();
    ASSERT_EQ(GetCOREInterface()->GetQmaxMainWindow(), w);
    host::ClassDirectory::Get().AddClass(&Desc());
    Block();
    // A node whose transform controller is the test class stands in for a rigged node.
    INode* n = GetCOREInterface()->CreateObjectNode(nullptr, L"Rigged");
    auto* rig = static_cast<RigOwner*>(Desc().Create(FALSE));
    (void)rig;
    GetCOREInterface()->SelectNode(n);
    EXPECT_EQ(w->Panel()->Node(), n) << "the panel follows the selection";
    GetCOREInterface()->ClearNodeSelection();
    EXPECT_EQ(w->Panel()->Node(), nullptr);
    rig->DeleteMe();
    host::ui::StopUI();
    EXPECT_EQ(GetCOREInterface()->GetQmaxMainWindow(), nullptr);
}

}  // namespace
