#include "controllers/ui/parent_constraint_rollup.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QSignalBlocker>
#include <QTableWidget>
#include <QVBoxLayout>

#include "controllers/parent_constraint.h"
#include "frame/ui/owner_rollup.h"
#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "ui/qmax_controls.h"
#include "ui/qmax_spinner.h"

namespace kt {
namespace {

QString Text(int id, const char* fallback) {
    const MCHAR* s = GetString(id);
    return s ? QString::fromWCharArray(s) : QString::fromUtf8(fallback);
}

const MCHAR* RollupTitle() {
    const MCHAR* s = GetString(IDS_PARENT_CONSTRAINT_ROLLUP);
    return s ? s : L"Parent Constraint";
}

const bool rollupAttached = ClassRegistry::AttachQtWidgetFactory(
    CTRL_MATRIX3_CLASS_ID, PARENT_CONSTRAINT_CLASS_ID,
    &MakeOwnerRollup<ParentConstraint, ParentConstraintRollup, RollupTitle>);

}  // namespace

BOOL ParentConstraintPickNode::Filter(INode* node) {
    if (!pc_ || !node) return FALSE;
    return targetlist::CanAppend(pc_, pc_->pblock, node) ? TRUE : FALSE;
}

bool ParentConstraintPickNode::PickTarget(INode* node) {
    return Filter(node) && pc_->appendTarget(node, 50.0f);
}

BOOL ParentConstraintPickNode::Pick(IObjParam* ip, ViewExp* vpt) {
    (void)ip;
    if (vpt) PickTarget(vpt->GetClosestHit());
    return TRUE;
}

ParentConstraintRollup::ParentConstraintRollup(ParentConstraint* pc, QWidget* parent)
    : QMaxParamBlockWidget(parent), pc_(pc), pick_(pc) {
    (void)rollupAttached;
    setObjectName(QStringLiteral("ParentConstraintRollup"));
    auto* top = new QVBoxLayout(this);
    list_ = new QTableWidget(0, 2);
    list_->setObjectName(QStringLiteral("targetTable"));
    list_->setHorizontalHeaderLabels({Text(IDS_PARENT_LIST, "Parent List"), Text(IDS_WEIGHT, "Weight")});
    list_->horizontalHeader()->setStretchLastSection(true);
    list_->verticalHeader()->hide();
    list_->setSelectionBehavior(QAbstractItemView::SelectRows);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    top->addWidget(list_);

    auto* row = new QHBoxLayout;
    pickButton_ = new MaxSDK::QmaxNodePickButton;
    pickButton_->setObjectName(QStringLiteral("pickParent"));
    delete_ = new QPushButton(QStringLiteral("Delete"));
    delete_->setObjectName(QStringLiteral("deleteParent"));
    pickMode_ = new QPushButton(QStringLiteral("Add Parent"));
    pickMode_->setObjectName(QStringLiteral("pickMode"));
    pickMode_->setCheckable(true);
    row->addWidget(pickMode_);
    row->addWidget(pickButton_);
    row->addWidget(delete_);
    top->addLayout(row);

    weight_ = new MaxSDK::QmaxDoubleSpinBox;
    weight_->setObjectName(QStringLiteral("weightSpinner"));
    weight_->setRange(0.0, 100.0);
    weight_->setDecimals(1);
    top->addWidget(weight_);

    auto* relative = new QCheckBox(Text(IDS_RELATIVE, "Relative"));
    relative->setObjectName(QStringLiteral("relative"));
    top->addWidget(relative);

    connect(list_, &QTableWidget::itemSelectionChanged, this, [this] { ShowWeight(); });
    connect(pickButton_, &MaxSDK::QmaxNodePickButton::nodePicked, this, [this](INode* n) {
        if (n) pick_.PickTarget(n);
        pickButton_->setNode(nullptr);
    });
    // The button shows the mode; the mode may end from the viewport (a pick, a right click).
    pick_.SetModeChanged([this](bool on) {
        const QSignalBlocker block(pickMode_);
        pickMode_->setChecked(on);
    });
    connect(pickMode_, &QPushButton::toggled, this, [this](bool on) {
        if (on)
            GetCOREInterface()->SetPickMode(&pick_);
        else if (GetCOREInterface()->GetCurPickMode() == &pick_)
            GetCOREInterface()->ClearPickMode();
    });
    connect(delete_, &QPushButton::clicked, this, [this] {
        const int r = SelectedTarget();
        if (r >= 0) pc_->deleteTarget(r);
    });
    connect(weight_, &QDoubleSpinBox::valueChanged, this, [this](double v) { WeightEdited(v); });
    connect(weight_, &MaxSDK::QmaxDoubleSpinBox::interactiveChanged, this,
            [this](bool on, bool cancelled) { Interactive(on, cancelled); });

    pc_->rollup = this;
    RefreshList();
}

ParentConstraintRollup::~ParentConstraintRollup() {
    pick_.SetModeChanged(nullptr);
    if (GetCOREInterface()->GetCurPickMode() == &pick_) GetCOREInterface()->ClearPickMode();
    if (dragging_) theHold.Cancel();
    if (pc_ && pc_->rollup == this) pc_->rollup = nullptr;
}

int ParentConstraintRollup::SelectedTarget() const {
    const auto rows = list_->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void ParentConstraintRollup::SelectTarget(int row) { list_->selectRow(row); }

void ParentConstraintRollup::UpdateUI(const TimeValue t) {
    QMaxParamBlockWidget::UpdateUI(t);
    RefreshList();
}

void ParentConstraintRollup::UpdateParameterUI(const TimeValue t, const ParamID paramId, const int tabIndex) {
    QMaxParamBlockWidget::UpdateParameterUI(t, paramId, tabIndex);
    if (paramId != ParentConstraint::pc_relative && !refreshing_) RefreshList();
}

void ParentConstraintRollup::RefreshList() {
    refreshing_ = true;
    const int keep = SelectedTarget();
    const int n = pc_->getNumTargets();
    list_->setRowCount(n);
    for (int i = 0; i < n; ++i) {
        INode* node = pc_->getNode(i);
        const QString name = node ? QString::fromWCharArray(node->GetName()) : QStringLiteral("-");
        list_->setItem(i, 0, new QTableWidgetItem(name));
        list_->setItem(i, 1, new QTableWidgetItem(QString::number(double(pc_->getWeight(i)), 'f', 1)));
    }
    if (keep >= 0 && keep < n) list_->selectRow(keep);
    else if (n > 0 && SelectedTarget() < 0) list_->selectRow(n - 1);
    refreshing_ = false;
    ShowWeight();
}

void ParentConstraintRollup::ShowWeight() {
    const int r = SelectedTarget();
    const bool was = refreshing_;
    refreshing_ = true;
    weight_->setEnabled(r >= 0);
    delete_->setEnabled(r >= 0);
    if (r >= 0) weight_->setValue(double(pc_->getWeight(r)));
    refreshing_ = was;
}

void ParentConstraintRollup::Interactive(bool on, bool cancelled) {
    if (on && !dragging_) {
        dragging_ = true;
        theHold.Begin();
        return;
    }
    if (!on && dragging_) {
        dragging_ = false;
        if (cancelled) {
            theHold.Cancel();
            RefreshList();
        } else {
            theHold.Accept(Text(IDS_PARENT_WEIGHT_CHANGE, "Parent Weight Change").toStdWString().c_str());
        }
    }
}

void ParentConstraintRollup::WeightEdited(double value) {
    const int r = SelectedTarget();
    if (refreshing_ || r < 0 || !pc_->pblock) return;
    const TimeValue now = GetCOREInterface()->GetTime();
    const bool own = !dragging_;
    if (own) theHold.Begin();
    refreshing_ = true;
    pc_->pblock->SetValue(ParentConstraint::pc_weight, now, static_cast<float>(value), r);
    if (QTableWidgetItem* item = list_->item(r, 1)) item->setText(QString::number(value, 'f', 1));
    refreshing_ = false;
    if (own) theHold.Accept(Text(IDS_PARENT_WEIGHT_CHANGE, "Parent Weight Change").toStdWString().c_str());
}

}  // namespace kt
