#include "solvers/ui/ikfk_chain_rollup.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "frame/ui/owner_rollup.h"
#include "solvers/ikfk_chain.h"
#include "ui/qmax_controls.h"
#include "ui/qmax_spinner.h"

namespace kt {
namespace {

const MCHAR* RollupTitle() { return L"IKFK Chain"; }

const bool rollupAttached = ClassRegistry::AttachQtWidgetFactory(
    CTRL_MATRIX3_CLASS_ID, IKFKCHAIN_CLASS_ID, &MakeOwnerRollup<IKFKChain, IKFKChainRollup, RollupTitle>);

// Percent parameters show 0..max percent; angles show degrees.
MaxSDK::QmaxDoubleSpinBox* Spinner(const char* name, double lo, double hi) {
    auto* s = new MaxSDK::QmaxDoubleSpinBox;
    s->setObjectName(QString::fromUtf8(name));
    s->setRange(lo, hi);
    s->setDecimals(2);
    return s;
}

QCheckBox* Check(const char* name, const char* label) {
    auto* c = new QCheckBox(QString::fromUtf8(label));
    c->setObjectName(QString::fromUtf8(name));
    return c;
}

MaxSDK::QmaxNodePickButton* Picker(const char* name) {
    auto* b = new MaxSDK::QmaxNodePickButton;
    b->setObjectName(QString::fromUtf8(name));
    return b;
}

QComboBox* DisplayMode(const char* name) {
    auto* c = new QComboBox;
    c->setObjectName(QString::fromUtf8(name));
    c->addItems({QStringLiteral("Never"), QStringLiteral("Selected"), QStringLiteral("Always")});
    return c;
}

}  // namespace

IKFKChainRollup::IKFKChainRollup(IKFKChain* chain, QWidget* parent) : QMaxParamBlockWidget(parent), chain_(chain) {
    (void)rollupAttached;
    setObjectName(QStringLiteral("IKFKChainRollup"));
    auto* top = new QVBoxLayout(this);

    auto* buttons = new QGridLayout;
    auto button = [&](const char* name, const char* label, int r, int c, auto fn) {
        auto* b = new QPushButton(QString::fromUtf8(label));
        b->setObjectName(QString::fromUtf8(name));
        connect(b, &QPushButton::clicked, this, [this, fn] { (chain_->*fn)(); });
        buttons->addWidget(b, r, c);
    };
    button("fk", "FK", 0, 0, static_cast<void (IKFKChain::*)()>(&IKFKChain::FK));
    button("ik", "IK", 0, 1, static_cast<void (IKFKChain::*)()>(&IKFKChain::IK));
    auto* matchFK = new QPushButton(QStringLiteral("Match FK"));
    matchFK->setObjectName(QStringLiteral("matchFK"));
    connect(matchFK, &QPushButton::clicked, this, [this] { chain_->MatchFK(false); });
    buttons->addWidget(matchFK, 1, 0);
    auto* matchIK = new QPushButton(QStringLiteral("Match IK"));
    matchIK->setObjectName(QStringLiteral("matchIK"));
    connect(matchIK, &QPushButton::clicked, this, [this] { chain_->MatchIK(false); });
    buttons->addWidget(matchIK, 1, 1);
    button("matchStretch", "Match Stretch", 2, 0,
           static_cast<void (IKFKChain::*)()>(&IKFKChain::MatchManualStretch));
    button("matchPreferred", "Match Preferred", 2, 1,
           static_cast<void (IKFKChain::*)()>(&IKFKChain::MatchPreferredRotations));
    top->addLayout(buttons);

    auto* form = new QFormLayout;
    form->addRow(QStringLiteral("IKFK Blend"), Spinner("ikfk_blend", 0.0, 100.0));
    form->addRow(QStringLiteral("Manual Stretch"), Spinner("manual_stretch", 0.0, 1000000.0));
    form->addRow(QStringLiteral("Auto Stretch"), Spinner("auto_stretch", 0.0, 100.0));
    form->addRow(QStringLiteral("Soft IK"), Spinner("soft_ik", 0.0, 100.0));
    form->addRow(QStringLiteral("Swivel Angle"), Spinner("swivel_angle", -1000000.0, 1000000.0));
    form->addRow(QStringLiteral("Flexion Bias"), Spinner("flexion_bias", -1000000.0, 1000000.0));
    auto* iterations = new MaxSDK::QmaxSpinBox;
    iterations->setObjectName(QStringLiteral("iterations"));
    iterations->setRange(0, 9999);
    form->addRow(QStringLiteral("IK Iterations"), iterations);
    form->addRow(Check("auto_ikfk_match", "Auto IKFK Match"));
    form->addRow(Check("last_joint_ik_rotation", "Last Joint IK Rotation"));

    form->addRow(QStringLiteral("Goal"), Picker("goal"));
    form->addRow(Check("use_goal_parent", "Use Goal Parent"));
    form->addRow(QStringLiteral("Goal Parent"), Picker("goal_parent"));
    auto* space = new QComboBox;
    space->setObjectName(QStringLiteral("parent_space"));
    space->addItems({QStringLiteral("Goal Parent"), QStringLiteral("Chain Parent")});
    form->addRow(QStringLiteral("Parent Space"), space);
    form->addRow(Check("use_target", "Use Target"));
    form->addRow(QStringLiteral("Target"), Picker("target"));
    form->addRow(QStringLiteral("Target Dist Percent"), Spinner("target_dist_percent", 0.0, 1000000.0));
    form->addRow(Check("use_rotation_space", "Use Rotation Space"));
    form->addRow(QStringLiteral("Rotation Space Node"), Picker("rotation_space_node"));
    form->addRow(QStringLiteral("Rotation Space"), Spinner("rotation_space", 0.0, 100.0));
    form->addRow(Check("keep_initial_rot_space", "Keep Initial Rot Space"));

    form->addRow(QStringLiteral("Display Goal"), DisplayMode("display_goal"));
    form->addRow(QStringLiteral("Display Target"), DisplayMode("display_target"));
    form->addRow(Check("affect_helpers_display", "Affect Helpers Display"));
    top->addLayout(form);

    auto* joints = new QListWidget;
    joints->setObjectName(QStringLiteral("joints"));
    top->addWidget(new QLabel(QStringLiteral("Joints")));
    top->addWidget(joints);
}

IKFKChainRollup::~IKFKChainRollup() = default;

}  // namespace kt
