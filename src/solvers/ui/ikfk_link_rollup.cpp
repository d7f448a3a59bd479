#include "solvers/ui/ikfk_link_rollup.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "frame/ui/owner_rollup.h"
#include "inode.h"
#include "maxapi.h"
#include "ui/qmax_spinner.h"

namespace kt {
namespace {

const MCHAR* RollupTitle() { return L"IKFK Links"; }

const bool rollupAttached = ClassRegistry::AttachQtWidgetFactory(
    CTRL_FLOAT_CLASS_ID, IKFKLINK_CLASS_ID, &MakeOwnerRollup<IKFKLink, IKFKLinkRollup, RollupTitle>);

int CurrentFrame() { return GetCOREInterface()->GetTime() / GetTicksPerFrame(); }

}  // namespace

BOOL PickIKFKLinkNode::Filter(INode* node) { return link_ && link_->CanPick(node) ? TRUE : FALSE; }

BOOL PickIKFKLinkNode::Pick(IObjParam* ip, ViewExp* vpt) {
    (void)ip;
    INode* node = vpt ? vpt->GetClosestHit() : nullptr;
    if (node && Filter(node)) link_->AddTarget(node, CurrentFrame());
    return TRUE;
}

IKFKLinkRollup::IKFKLinkRollup(IKFKLink* link, QWidget* parent)
    : QMaxParamBlockWidget(parent), link_(link), pick_(link) {
    (void)rollupAttached;
    setObjectName(QStringLiteral("IKFKLinkRollup"));
    auto* top = new QVBoxLayout(this);
    list_ = new QTableWidget(0, 2);
    list_->setObjectName(QStringLiteral("linkTable"));
    list_->setHorizontalHeaderLabels({QStringLiteral("Frame"), QStringLiteral("Node")});
    list_->horizontalHeader()->setStretchLastSection(true);
    list_->verticalHeader()->hide();
    list_->setSelectionBehavior(QAbstractItemView::SelectRows);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    top->addWidget(list_);

    frame_ = new MaxSDK::QmaxSpinBox;
    frame_->setObjectName(QStringLiteral("startFrame"));
    frame_->setRange(-999999, 999999);
    frame_->setKeyboardTracking(false);
    top->addWidget(frame_);

    auto* row = new QHBoxLayout;
    add_ = new QPushButton(QStringLiteral("Add Link"));
    add_->setObjectName(QStringLiteral("addLink"));
    add_->setCheckable(true);
    addWorld_ = new QPushButton(QStringLiteral("Link to World"));
    addWorld_->setObjectName(QStringLiteral("addWorld"));
    delete_ = new QPushButton(QStringLiteral("Delete Link"));
    delete_->setObjectName(QStringLiteral("deleteLink"));
    row->addWidget(add_);
    row->addWidget(addWorld_);
    row->addWidget(delete_);
    top->addLayout(row);

    pick_.SetModeChanged([this](bool on) {
        const bool was = add_->blockSignals(true);
        add_->setChecked(on);
        add_->blockSignals(was);
    });
    connect(add_, &QPushButton::clicked, this, [this] { TogglePickMode(); });
    connect(addWorld_, &QPushButton::clicked, this, [this] { AddWorld(); });
    connect(delete_, &QPushButton::clicked, this, [this] { DeleteSelected(); });
    connect(list_, &QTableWidget::itemSelectionChanged, this, [this] { ShowFrame(); });
    connect(frame_, &QSpinBox::valueChanged, this, [this](int v) { SetSelectedFrame(v); });

    link_->rollup = this;
    RefreshList();
}

IKFKLinkRollup::~IKFKLinkRollup() {
    Interface* ip = GetCOREInterface();
    if (ip->GetCurPickMode() == &pick_) {
        pick_.SetModeChanged(nullptr);
        ip->ClearPickMode();
    }
    if (link_ && link_->rollup == this) link_->rollup = nullptr;
}

void IKFKLinkRollup::TogglePickMode() {
    Interface* ip = GetCOREInterface();
    if (ip->GetCurPickMode() == &pick_) ip->ClearPickMode();
    else ip->SetPickMode(&pick_);
}

void IKFKLinkRollup::AddWorld() { link_->AddWorld(CurrentFrame()); }

void IKFKLinkRollup::DeleteSelected() {
    const int r = SelectedEntry();
    if (r >= 0) link_->DeleteTarget(r);
}

void IKFKLinkRollup::SetSelectedFrame(int frame) {
    const int r = SelectedEntry();
    if (refreshing_ || r < 0) return;
    link_->SetFrameNo(r, frame);
    // The link keeps its entries in order and may have clamped the frame.
    RefreshList();
}

int IKFKLinkRollup::SelectedEntry() const {
    const auto rows = list_->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void IKFKLinkRollup::SelectEntry(int row) { list_->selectRow(row); }

void IKFKLinkRollup::UpdateUI(const TimeValue t) {
    QMaxParamBlockWidget::UpdateUI(t);
    RefreshList();
}

void IKFKLinkRollup::UpdateParameterUI(const TimeValue t, const ParamID paramId, const int tabIndex) {
    QMaxParamBlockWidget::UpdateParameterUI(t, paramId, tabIndex);
    RefreshList();
}

void IKFKLinkRollup::RefreshList() {
    if (refreshing_ || !link_->pblock) return;
    refreshing_ = true;
    const int keep = SelectedEntry();
    // Partway through an edit the tables may disagree; show the entries both have.
    const int n = std::min(link_->pblock->Count(IKFKLink::pb_targets), link_->pblock->Count(IKFKLink::pb_start_times));
    list_->setRowCount(n);
    for (int i = 0; i < n; ++i) {
        INode* node = link_->pblock->GetINode(IKFKLink::pb_targets, 0, i);
        const QString name = node ? QString::fromWCharArray(node->GetName()) : QStringLiteral("World");
        const int frame = link_->pblock->GetTimeValue(IKFKLink::pb_start_times, 0, i) / GetTicksPerFrame();
        list_->setItem(i, 0, new QTableWidgetItem(QString::number(frame)));
        list_->setItem(i, 1, new QTableWidgetItem(name));
    }
    if (keep >= 0 && keep < n) list_->selectRow(keep);
    else if (n > 0 && SelectedEntry() < 0) list_->selectRow(n - 1);
    refreshing_ = false;
    ShowFrame();
}

void IKFKLinkRollup::ShowFrame() {
    const int r = SelectedEntry();
    const bool was = refreshing_;
    refreshing_ = true;
    frame_->setEnabled(r >= 0);
    delete_->setEnabled(r >= 0);
    if (r >= 0) frame_->setValue(link_->GetFrameNo(r));
    refreshing_ = was;
}

}  // namespace kt
