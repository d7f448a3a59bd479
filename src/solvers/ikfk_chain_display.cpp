#include "box3.h"
#include "gfx.h"
#include "inode.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_control.h"
#include "viewexp.h"

namespace kt {
namespace {

const Point3 kGoalLineColor(1.0f, 0.75f, 0.0f);
const Point3 kTargetLineColor(0.25f, 0.7f, 1.0f);

bool Shown(int mode, INode* node, INode* chainNode) {
    if (mode >= 2) return true;
    if (mode <= 0) return false;
    return (node && node->Selected()) || (chainNode && chainNode->Selected());
}

}  // namespace

bool IKFKChain::DisplayLine(TimeValue t, INode* inode, Point3& from, Point3& to) {
    IKFKControl* ctl = ControlOf(inode);
    if (!pblock || !ctl || ctl->GetChain() != this) return false;
    const int type = ctl->GetType();
    if (type == kJoint) return false;
    const int mode = pblock->GetInt(type == kTarget ? pb_display_target : pb_display_goal, t);
    if (!Shown(mode, inode, ctl->GetChainNode())) return false;
    Evaluate(t);
    const Tab<Matrix3>& joints = solver_.jointTMs;
    if (joints.Count() == 0) return false;
    switch (type) {
        case kGoal:
            if (GetGoal() != inode) return false;
            from = joints[0].GetTrans();
            break;
        case kGoalParent: {
            INode* goal = GetGoal();
            if (!goal || !HasGoalParent(t) || GetGoalParent() != inode) return false;
            from = goal->GetNodeTM(t).GetTrans();
            break;
        }
        case kTarget:
            if (!HasTarget(t) || GetTarget() != inode) return false;
            from = joints[joints.Count() > 1 ? 1 : 0].GetTrans();
            break;
        default: return false;
    }
    to = inode->GetNodeTM(t).GetTrans();
    return true;
}

int IKFKChain::Display(TimeValue t, INode* inode, ViewExp* vpt, int flags) {
    (void)flags;
    Point3 line[2];
    if (!vpt || !DisplayLine(t, inode, line[0], line[1])) return 0;
    GraphicsWindow* gw = vpt->getGW();
    gw->setTransform(Matrix3());
    const bool target = ControlOf(inode)->GetType() == kTarget;
    gw->setColor(LINE_COLOR, inode->Selected() ? GetUIColor(COLOR_SELECTION) : target ? kTargetLineColor : kGoalLineColor);
    gw->polyline(2, line, nullptr, FALSE, nullptr);
    return 1;
}

int IKFKChain::HitTest(TimeValue t, INode* inode, int type, int crossing, int flags, IPoint2* p, ViewExp* vpt) {
    (void)flags;
    Point3 line[2];
    if (!vpt || !p || !DisplayLine(t, inode, line[0], line[1])) return 0;
    GraphicsWindow* gw = vpt->getGW();
    const DWORD limits = gw->getRndLimits();
    HitRegion hr;
    MakeHitRegion(hr, type, crossing, host::PickTolerance(), p);
    gw->setHitRegion(&hr);
    gw->setRndLimits(limits | GW_PICK);
    gw->clearHitCode();
    gw->setTransform(Matrix3());
    gw->polyline(2, line, nullptr, FALSE, nullptr);
    const int hit = gw->checkHitCode();
    gw->setRndLimits(limits);
    return hit;
}

void IKFKChain::GetWorldBoundBox(TimeValue t, INode* inode, ViewExp* vpt, Box3& box) {
    (void)vpt;
    Point3 from, to;
    if (!DisplayLine(t, inode, from, to)) return;
    box += from;
    box += to;
}

}  // namespace kt
