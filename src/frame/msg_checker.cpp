#include "frame/msg_checker.h"

#include "frame/class_registry.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"

namespace kt {
namespace {

// More slots than anyone watches by hand; a larger count is a damaged file.
constexpr uint32_t kMaxSlots = 1u << 20;

ClassFactoryRegistrar registrar(REF_TARGET_CLASS_ID, MsgChecker::kClassID,
                                [](BOOL loading) -> void* { return new MsgChecker(loading); });

}  // namespace

MsgChecker::MsgChecker(BOOL loading) { (void)loading; }

int MsgChecker::Watch(ReferenceTarget* target) {
    if (!target) return -1;
    const int slot = NumWatched();
    if (ReplaceReference(slot, target) != REF_SUCCEED) return -1;
    return slot;
}

MSTR MsgChecker::ClassName(bool localized) const {
    const MCHAR* name = localized ? GetString(IDS_CLASS_MSGCHECKER) : nullptr;
    return MSTR(name ? name : L"MsgChecker");
}

void MsgChecker::GetClassName(MSTR& s, bool localized) const { s = ClassName(localized); }

RefTargetHandle MsgChecker::GetReference(int i) {
    return i >= 0 && i < NumWatched() ? refs_[static_cast<size_t>(i)] : nullptr;
}

void MsgChecker::SetReference(int i, RefTargetHandle rtarg) {
    if (i < 0) return;
    if (static_cast<size_t>(i) >= refs_.size()) {
        // Clearing the open slot must not grow the list.
        if (!rtarg) return;
        refs_.resize(static_cast<size_t>(i) + 1, nullptr);
    }
    refs_[static_cast<size_t>(i)] = rtarg;
}

RefResult MsgChecker::NotifyRefChanged(const Interval&, RefTargetHandle hTarget, PartID& partID,
                                       RefMessage message, BOOL) {
    const MSTR from = hTarget ? hTarget->ClassName() : MSTR(L"(none)");
    host::Listener::Printf(L"Kinetrope: MsgChecker: message %lu (0x%lX), part 0x%lX, from %ls\n",
                           static_cast<unsigned long>(message), static_cast<unsigned long>(message),
                           static_cast<unsigned long>(partID), from.data());
    return REF_SUCCEED;
}

ReferenceTarget* MsgChecker::Clone(RemapDir& remap) {
    auto* copy = new MsgChecker(TRUE);
    // The targets are watched, not owned: the copy watches the originals, slot for slot.
    copy->refs_.assign(refs_.size(), nullptr);
    for (size_t i = 0; i < refs_.size(); ++i)
        if (refs_[i]) copy->ReplaceReference(static_cast<int>(i), refs_[i]);
    BaseClone(this, copy, remap);
    return copy;
}

IOResult MsgChecker::Save(ISave* isave) {
    const uint32_t count = static_cast<uint32_t>(refs_.size());
    isave->BeginChunk(kSlotCountChunk);
    IOResult res = isave->Write(&count, sizeof(count), nullptr);
    isave->EndChunk();
    return res;
}

IOResult MsgChecker::Load(ILoad* iload) {
    IOResult res;
    while ((res = iload->OpenChunk()) == IO_OK) {
        if (iload->CurChunkID() == kSlotCountChunk) {
            uint32_t count = 0;
            if (iload->Read(&count, sizeof(count), nullptr) != IO_OK || count > kMaxSlots) return IO_ERROR;
            refs_.assign(count, nullptr);
        }
        iload->CloseChunk();
    }
    return res == IO_END ? IO_OK : res;
}

}  // namespace kt
