#include "trackview.h"

#include "maxapi.h"

namespace host {
namespace {
TrackPickProvider* provider = nullptr;
}  // namespace

TrackPickProvider* SetTrackPickProvider(TrackPickProvider* p) {
    TrackPickProvider* previous = provider;
    provider = p;
    return previous;
}

TrackPickProvider* GetTrackPickProvider() { return provider; }

bool ScriptedTrackPicks::Pick(TrackViewFilter* filter, TrackViewPick& res) {
    ++opened_;
    if (answers_.empty()) return false;
    Answer a = answers_.front();
    answers_.pop_front();
    auto* client = dynamic_cast<ReferenceTarget*>(a.client);
    if (!client || a.subNum < 0 || a.subNum >= client->NumSubs()) {
        verdicts_.push_back(false);
        return false;
    }
    Animatable* anim = client->SubAnim(a.subNum);
    const bool offered = !filter || filter->proc(anim, client, a.subNum);
    verdicts_.push_back(offered);
    if (!offered) return false;
    // A track without a controller (a block's placeholder) is picked as its owner's entry.
    res.anim = dynamic_cast<ReferenceTarget*>(anim);
    res.client = client;
    res.subNum = a.subNum;
    return true;
}

}  // namespace host

BOOL Interface::TrackViewPickDlg(HWND hParent, TrackViewPick* res, TrackViewFilter* filter, DWORD flags) {
    (void)hParent;
    (void)flags;
    if (!res) return FALSE;
    host::TrackPickProvider* p = host::GetTrackPickProvider();
    TrackViewPick pick;
    if (!p || !p->Pick(filter, pick)) return FALSE;
    *res = pick;
    return TRUE;
}
