#include "controllers/constraint_base.h"

namespace kt {
namespace {
constexpr USHORT kLockedChunk = 0x0120;
}

RefTargetHandle ConstraintBase::GetReference(int i) {
    if (i == kPBlockRef) return pblock;
    if (i == kInnerRef && hasInner_) return inner_;
    return nullptr;
}

void ConstraintBase::SetReference(int i, RefTargetHandle rtarg) {
    if (i == kPBlockRef) pblock = static_cast<IParamBlock2*>(rtarg);
    if (i == kInnerRef && hasInner_) inner_ = static_cast<Control*>(rtarg);
}

MSTR ConstraintBase::SubAnimName(int i, bool) {
    if (i == kPBlockRef) return pblock ? pblock->GetLocalName() : MSTR(L"params");
    if (i == kInnerRef && hasInner_) return MSTR(L"inner");
    return MSTR();
}

BOOL ConstraintBase::AssignController(Animatable* control, int subAnim) {
    auto* c = dynamic_cast<Control*>(control);
    if (!hasInner_ || subAnim != kInnerRef || !c || c->SuperClassID() != CTRL_MATRIX3_CLASS_ID) return FALSE;
    ReplaceReference(kInnerRef, c);
    NotifyDependents(FOREVER, PART_ALL, REFMSG_CHANGE);
    return TRUE;
}

BOOL ConstraintBase::IsAnimated() {
    return (pblock && pblock->IsAnimated()) || (inner_ && inner_->IsAnimated()) ? TRUE : FALSE;
}

void ConstraintBase::MakeRefs(ParamBlockDesc2& desc) {
    ReplaceReference(kPBlockRef, CreateParameterBlock2(&desc, this));
    if (hasInner_) ReplaceReference(kInnerRef, NewDefaultMatrix3Controller());
}

ReferenceTarget* ConstraintBase::CloneInto(ConstraintBase* c, RemapDir& remap) {
    c->ReplaceReference(kPBlockRef, remap.CloneRef(pblock));
    if (hasInner_) c->ReplaceReference(kInnerRef, remap.CloneRef(inner_));
    c->mLocked = mLocked;
    CopyStateTo(c);
    BaseClone(this, c, remap);
    return c;
}

IOResult ConstraintBase::Save(ISave* isave) {
    WriteFlagChunk(isave, kLockedChunk, mLocked);
    SaveState(isave);
    return IO_OK;
}

IOResult ConstraintBase::Load(ILoad* iload) {
    return ReadChunks(iload, [&](USHORT id) {
        return id == kLockedChunk ? ReadFlagChunk(iload, mLocked) : LoadState(iload, id);
    });
}

}  // namespace kt
