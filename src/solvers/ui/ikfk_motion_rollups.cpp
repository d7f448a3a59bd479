#include "solvers/ui/ikfk_motion_rollups.h"

#include "maxapi.h"
#include "solvers/ikfk_chain.h"
#include "solvers/ikfk_link.h"
#include "solvers/ui/ikfk_chain_rollup.h"
#include "solvers/ui/ikfk_link_rollup.h"

namespace kt {

IKFKMotionRollups::IKFKMotionRollups(IObjParam* ip, IKFKChain* chain, IKFKLink* link) : ip_(ip) {
    if (!ip_) return;
    if (chain && chain->pblock) {
        auto* w = new IKFKChainRollup(chain);
        w->SetParamBlock(chain, chain->pblock);
        chain_ = w;
        ip_->AddRollupPage(*w, L"IKFK Chain");
    }
    if (link && link->pblock) {
        auto* w = new IKFKLinkRollup(link);
        w->SetParamBlock(link, link->pblock);
        link_ = w;
        ip_->AddRollupPage(*w, L"IKFK Links");
    }
}

IKFKMotionRollups::~IKFKMotionRollups() {
    for (QWidget* w : {link_, chain_}) {
        if (!w) continue;
        ip_->DeleteRollupPage(*w);
        delete w;
    }
}

}  // namespace kt
