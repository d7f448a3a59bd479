#include "controllers/ui/float_connection_dlg.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "controllers/float_connection.h"
#include "inode.h"
#include "maxapi.h"

namespace kt {

MSTR ControlEnum::Path() {
    if (!owner_) return MSTR();
    std::vector<INode*> nodes;
    if (INode* root = GetCOREInterface()->GetRootNode()) nodes.push_back(root);
    // Every node of the scene, parents before children.
    for (size_t k = 0; k < nodes.size(); ++k)
        for (int i = 0; i < nodes[k]->NumberOfChildren(); ++i) nodes.push_back(nodes[k]->GetChildNode(i));
    std::vector<MSTR> path;
    for (INode* n : nodes) {
        if (n->IsRootNode()) continue;
        path.assign(1, MSTR(n->GetName()));
        if (Walk(n, path, 0)) {
            MSTR out;
            for (size_t k = 0; k < path.size(); ++k) out = k ? out + MSTR(L" / ") + path[k] : path[k];
            return out;
        }
    }
    return MSTR();
}

bool ControlEnum::Walk(Animatable* a, std::vector<MSTR>& path, int depth) {
    // Deep enough for any transform tree; a guard against reference loops through tracks.
    if (!a || depth > 16) return false;
    if (a == owner_) {
        if (owner_->SuperClassID() == PARAMETER_BLOCK2_CLASS_ID) {
            auto* pb = static_cast<IParamBlock2*>(owner_);
            path.push_back(pb->GetDesc() ? pb->GetDesc()->GetLocalName(static_cast<ParamID>(sub_)) : MSTR());
        } else {
            path.push_back(a->SubAnimName(sub_));
        }
        return true;
    }
    for (int i = 0, n = a->NumSubs(); i < n; ++i) {
        Animatable* s = a->SubAnim(i);
        if (!s) continue;
        path.push_back(a->SubAnimName(i));
        if (Walk(s, path, depth + 1)) return true;
        path.pop_back();
    }
    return false;
}

FloatConnectionTrackDlg::FloatConnectionTrackDlg(FloatConnection* c, QWidget* parent)
    : QtTrackDlg(c, c->pblock, L"Float Connection Change", parent), conn_(c) {
    setObjectName("FloatConnectionDialog");
    setWindowTitle(QString::fromWCharArray(c->ClassName().data()));
    auto* top = new QVBoxLayout(this);

    auto* targetRow = new QHBoxLayout();
    targetButton = new QPushButton(tr("Pick Target Track"), this);
    targetButton->setObjectName("btnTargetTrack");
    assignedTo = new QLabel(this);
    assignedTo->setObjectName("lblAssignedTo");
    targetRow->addWidget(targetButton);
    targetRow->addWidget(assignedTo, 1);
    top->addLayout(targetRow);
    connect(targetButton, &QPushButton::clicked, this, [this] {
        if (conn_ && GetControl()) conn_->PickTarget();
        UpdateUI();
    });

    auto* twoWay = new QCheckBox(tr("Two Way"), this);
    twoWay->setObjectName("two_way");
    auto* clamp = new QCheckBox(tr("Clamp"), this);
    clamp->setObjectName("clamp");
    top->addWidget(twoWay);
    top->addWidget(clamp);
    BindCheck(twoWay, FloatConnection::pb_two_way);
    BindCheck(clamp, FloatConnection::pb_clamp);

    auto* group = new QButtonGroup(this);
    group->setObjectName("transform");
    auto* radios = new QHBoxLayout();
    const char* names[] = {"None", "Offset / Weight", "Range", "Curve"};
    for (int i = 0; i < 4; ++i) {
        auto* r = new QRadioButton(tr(names[i]), this);
        group->addButton(r, i);
        radios->addWidget(r);
    }
    top->addLayout(radios);
    BindGroup(group, FloatConnection::pb_transform);

    auto* form = new QFormLayout();
    auto spin = [&](const char* name, const char* label, ParamID id, double scale) {
        auto* s = new QDoubleSpinBox(this);
        s->setObjectName(name);
        form->addRow(tr(label), s);
        BindSpin(s, id, scale);
    };
    spin("offset", "Offset", FloatConnection::pb_offset, 1.0);
    spin("weight", "Weight", FloatConnection::pb_weight, 100.0);
    spin("input_min", "Input Min", FloatConnection::pb_input_min, 1.0);
    spin("input_max", "Input Max", FloatConnection::pb_input_max, 1.0);
    spin("output_min", "Output Min", FloatConnection::pb_output_min, 1.0);
    spin("output_max", "Output Max", FloatConnection::pb_output_max, 1.0);
    top->addLayout(form);

    auto* timeRow = new QHBoxLayout();
    timeRow->setObjectName("layoutTimeOffset");
    auto* useTime = new QCheckBox(tr("Use Time Offset"), this);
    useTime->setObjectName("use_time_offset");
    auto* timeOffset = new QDoubleSpinBox(this);
    timeOffset->setObjectName("time_offset");
    timeRow->addWidget(useTime);
    timeRow->addWidget(timeOffset);
    top->addLayout(timeRow);
    BindCheck(useTime, FloatConnection::pb_use_time_offset);
    BindSpin(timeOffset, FloatConnection::pb_time_offset);
    UpdateUI();
}

void FloatConnectionTrackDlg::UpdateExtra() {
    if (!GetControl()) return;
    MSTR path = ControlEnum(conn_->targetOwner, TargetSubNum(conn_->targetOwner, conn_->TargetIndex())).Path();
    if (conn_->targetOwner && conn_->targetOwner->SuperClassID() == PARAMETER_BLOCK2_CLASS_ID)
        path = ControlEnum(conn_->targetOwner, conn_->TargetIndex()).Path();
    if (path.isNull() || path.Length() == 0) path = conn_->TargetName();
    assignedTo->setText(conn_->targetOwner ? QString::fromWCharArray(path.data()) : tr("None"));
}

}  // namespace kt
