#include "animtbl.h"
#include "custattrib.h"
#include "iplugin.h"

#include <atomic>
#include <unordered_map>

namespace {
// Never destroyed: undo records freed during static destruction still look handles up.
std::unordered_map<AnimHandle, Animatable*>& Handles() {
    static auto* map = new std::unordered_map<AnimHandle, Animatable*>();
    return *map;
}
AnimHandle g_nextHandle = 1;
long g_live = 0;
}  // namespace

Animatable::Animatable() : handle_(g_nextHandle++) {
    Handles().emplace(handle_, this);
    ++g_live;
}

Animatable::~Animatable() {
    if (aCustAttrib) {
        ICustAttribContainer* cc = aCustAttrib;
        aCustAttrib = nullptr;
        cc->SetOwner(nullptr);
        cc->DeleteMe();
    }
    Handles().erase(handle_);
    --g_live;
}

long Animatable::LiveCount() { return g_live; }

AnimHandle Animatable::GetHandleByAnim(Animatable* anim) { return anim ? anim->handle_ : 0; }

Animatable* Animatable::GetAnimByHandle(AnimHandle handle) {
    auto& map = Handles();
    auto it = map.find(handle);
    return it == map.end() ? nullptr : it->second;
}

void Animatable::GetClassName(MSTR& s, bool localized) const { s = ClassName(localized); }

MSTR Animatable::ClassName(bool localized) const {
    auto* self = const_cast<Animatable*>(this);
    ClassDesc* cd = host::ClassDirectory::Get().FindClass(self->SuperClassID(), self->ClassID());
    if (!cd) return MSTR();
    const MCHAR* n = localized ? cd->ClassName() : cd->NonLocalizedClassName();
    return MSTR(n ? n : L"");
}

int Animatable::EnumAnimTree(AnimEnum* animEnum, Animatable* client, int subNum) {
    int res = animEnum->proc(this, client, subNum);
    if (res != ANIM_ENUM_PROCEED) return res;
    for (int i = 0; i < NumSubs(); ++i) {
        Animatable* sub = SubAnim(i);
        if (!sub) continue;
        res = sub->EnumAnimTree(animEnum, this, i);
        if (res == ANIM_ENUM_ABORT) return res;
    }
    return ANIM_ENUM_PROCEED;
}

BaseInterface* Animatable::GetInterface(Interface_ID id) {
    (void)id;
    return nullptr;
}

void* Animatable::GetInterface(ULONG id) {
    (void)id;
    return nullptr;
}

void Animatable::AllocCustAttribContainer() {
    if (aCustAttrib) return;
    aCustAttrib = host::NewCustAttribContainer();
    aCustAttrib->SetOwner(this);
}

void Animatable::DeleteCustAttribContainer() {
    if (!aCustAttrib) return;
    ICustAttribContainer* cc = aCustAttrib;
    aCustAttrib = nullptr;
    cc->SetOwner(nullptr);
    cc->DeleteMe();
}

BOOL Animatable::GetNextKeyTime(TimeValue t, DWORD flags, TimeValue& nt) {
    int n = NumKeys();
    if (n <= 0) return FALSE;
    bool found = false;
    for (int i = 0; i < n; ++i) {
        TimeValue k = GetKeyTime(i);
        if (flags & NEXTKEY_LEFT) {
            if (k < t && (!found || k > nt)) { nt = k; found = true; }
        } else {
            if (k > t && (!found || k < nt)) { nt = k; found = true; }
        }
    }
    return found ? TRUE : FALSE;
}

int Animatable::GetKeyTimes(Tab<TimeValue>& times, Interval range, DWORD flags) {
    (void)flags;
    for (int i = 0; i < NumKeys(); ++i) {
        TimeValue k = GetKeyTime(i);
        if (range.InInterval(k)) times.push_back(k);
    }
    return times.Count();
}
