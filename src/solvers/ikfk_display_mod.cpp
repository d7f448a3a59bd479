#include "solvers/ikfk_display_mod.h"

#include "frame/class_registry.h"
#include "inode.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_control.h"

namespace kt {
namespace {

ClassFactoryRegistrar displayRegistrar(OSM_CLASS_ID, IKFKDISPLAYMOD_CLASS_ID,
                                       [](BOOL loading) -> void* { return new IKFKDisplayMod(loading); });

}  // namespace

MSTR IKFKDisplayMod::ClassName(bool localized) const {
    const MCHAR* s = localized ? GetString(IDS_CLASS_IKFKDISPLAYMOD) : nullptr;
    return MSTR(s ? s : L"IKFK Display");
}

ReferenceTarget* IKFKDisplayMod::Clone(RemapDir& remap) {
    auto* m = new IKFKDisplayMod(TRUE);
    CopyModifierState(m);
    BaseClone(this, m, remap);
    return m;
}

float IKFKDisplayMod::BlendView(INode* node, TimeValue t, Interval& valid) {
    Control* tm = node ? node->GetTMController() : nullptr;
    if (!tm || tm->ClassID() != IKFKCONTROL_CLASS_ID) return 0.5f;
    auto* c = static_cast<IKFKControl*>(tm);
    IKFKChain* chain = c->GetChain();
    if (!chain || !chain->pblock) return 1.0f;
    IParamBlock2* pb = chain->pblock;
    if (!pb->GetInt(IKFKChain::pb_affect_helpers_display, t, valid) || pb->GetInt(IKFKChain::pb_auto_ikfk_match, t, valid))
        return 1.0f;
    const float blend = pb->GetFloat(IKFKChain::pb_ikfk_blend, t, valid);
    return c->GetType() == IKFKChain::kJoint ? 1.0f - blend : blend;
}

void IKFKDisplayMod::ModifyObject(TimeValue t, ModContext& mc, ObjectState* os, INode* node) {
    (void)mc;
    if (!os || !os->obj) return;
    Interval valid = FOREVER;
    const float k = BlendView(node, t, valid);
    Object* obj = os->obj;
    const int n = obj->NumPoints();
    if (n > 0) {
        Point3 lo = obj->GetPoint(0), hi = lo;
        for (int i = 1; i < n; ++i) {
            Point3 p = obj->GetPoint(i);
            lo = Point3(std::min(lo.x, p.x), std::min(lo.y, p.y), std::min(lo.z, p.z));
            hi = Point3(std::max(hi.x, p.x), std::max(hi.y, p.y), std::max(hi.z, p.z));
        }
        const Point3 c = (lo + hi) * 0.5f;
        for (int i = 0; i < n; ++i) obj->SetPoint(i, c + (obj->GetPoint(i) - c) * k);
        obj->PointsWereChanged();
    }
    obj->UpdateValidity(GEOM_CHAN_NUM, valid);
}

}  // namespace kt
