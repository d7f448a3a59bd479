// The host's own modifiers: the attribute holder and the offset modifier.
#include "iparamb2.h"
#include "modifier.h"
#include "objects_internal.h"

using host::objects::ObjectClassDesc;

namespace {

class EmptyModifier : public Modifier {
public:
    Class_ID ClassID() override { return EMPTYMOD_CLASS_ID; }
    ChannelMask ChannelsUsed() override { return 0; }
    ChannelMask ChannelsChanged() override { return 0; }
    void ModifyObject(TimeValue, ModContext&, ObjectState*, INode*) override {}
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new EmptyModifier();
        CopyModifierState(c);
        BaseClone(this, c, remap);
        return c;
    }
};

ObjectClassDesc<EmptyModifier>& EmptyDesc() {
    static ObjectClassDesc<EmptyModifier> cd(L"Attribute Holder", L"EmptyModifier", OSM_CLASS_ID, EMPTYMOD_CLASS_ID,
                                             L"Standard");
    return cd;
}

class OffsetMod;
ObjectClassDesc<OffsetMod>& OffsetDesc();

ParamBlockDesc2& OffsetBlock() {
    static ParamBlockDesc2& d = []() -> ParamBlockDesc2& {
        ParamBlockDesc2* b = &host::objects::NewAutoBlock(&OffsetDesc());
        b->AddParam(offsetmod_offset, L"offset", TYPE_POINT3, P_ANIMATABLE, 0);
        b->SetDefault(offsetmod_offset, Point3(0, 0, 0));
        b->AddParam(offsetmod_scale, L"scale", TYPE_FLOAT, P_ANIMATABLE, 0);
        b->SetDefault(offsetmod_scale, 1.0f);
        return *b;
    }();
    return d;
}

// p * scale + offset, with a tight loop for objects that hand over their point arrays.
class OffsetDeformer final : public Deformer {
public:
    OffsetDeformer(const Point3& offset, float scale) : offset_(offset), scale_(scale) {}
    Point3 Map(int, Point3 p) override { return p * scale_ + offset_; }
    void MapRange(Point3* pts, int, int n) override {
        // Four points (twelve floats) at a time with the offset laid out to match, so the
        // compiler can use whole vector registers; the rest one by one.
        float pat[12];
        for (int k = 0; k < 4; ++k) {
            pat[3 * k] = offset_.x;
            pat[3 * k + 1] = offset_.y;
            pat[3 * k + 2] = offset_.z;
        }
        const float s = scale_;
        float* f = &pts[0].x;
        const int blocks = n / 4;
        for (int b = 0; b < blocks; ++b) {
            float* q = f + 12 * b;
            for (int j = 0; j < 12; ++j) q[j] = q[j] * s + pat[j];
        }
        for (int k = blocks * 4; k < n; ++k) pts[k] = Map(k, pts[k]);
    }

private:
    Point3 offset_;
    float scale_;
};

class OffsetMod : public Modifier {
public:
    IParamBlock2* pblock2 = nullptr;

    explicit OffsetMod(bool loading = false) {
        OffsetBlock();
        if (!loading) OffsetDesc().MakeAutoParamBlocks(this);
    }
    Class_ID ClassID() override { return OFFSETMOD_CLASS_ID; }
    ChannelMask ChannelsUsed() override { return GEOM_CHANNEL; }
    ChannelMask ChannelsChanged() override { return GEOM_CHANNEL; }

    void ModifyObject(TimeValue t, ModContext&, ObjectState* os, INode*) override {
        if (!pblock2 || !os || !os->obj) return;
        Interval iv = FOREVER;
        const Point3 offset = pblock2->GetPoint3(offsetmod_offset, t, iv);
        const float scale = pblock2->GetFloat(offsetmod_scale, t, iv);
        OffsetDeformer def(offset, scale);
        os->obj->Deform(&def, TRUE);
        os->obj->UpdateValidity(GEOM_CHAN_NUM, iv);
    }
    Interval LocalValidity(TimeValue t) override {
        Interval iv = FOREVER;
        if (pblock2) {
            pblock2->GetPoint3(offsetmod_offset, t, iv);
            pblock2->GetFloat(offsetmod_scale, t, iv);
        }
        return iv;
    }

    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? pblock2 : nullptr; }
    int NumSubs() override { return 1; }
    Animatable* SubAnim(int i) override { return i == 0 ? pblock2 : nullptr; }
    MSTR SubAnimName(int i, bool) override { return i == 0 ? MSTR(L"Parameters") : MSTR(); }
    int SubNumToRefNum(int subNum) override { return subNum == 0 ? 0 : -1; }
    int NumParamBlocks() override { return 1; }
    IParamBlock2* GetParamBlock(int i) override { return i == 0 ? pblock2 : nullptr; }
    IParamBlock2* GetParamBlockByID(BlockID id) override { return pblock2 && pblock2->ID() == id ? pblock2 : nullptr; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    ReferenceTarget* Clone(RemapDir& remap) override {
        auto* c = new OffsetMod(true);
        CopyModifierState(c);
        c->ReplaceReference(0, remap.CloneRef(pblock2));
        BaseClone(this, c, remap);
        return c;
    }

protected:
    void SetReference(int i, RefTargetHandle rtarg) override {
        if (i == 0) pblock2 = dynamic_cast<IParamBlock2*>(rtarg);
    }
};

ObjectClassDesc<OffsetMod>& OffsetDesc() {
    static ObjectClassDesc<OffsetMod> cd(L"Offset", L"Offset", OSM_CLASS_ID, OFFSETMOD_CLASS_ID, L"Standard");
    return cd;
}

}  // namespace

void host::objects::RegisterModifierClasses(host::ClassDirectory& dir) {
    OffsetBlock();
    dir.AddClass(&EmptyDesc());
    dir.AddClass(&OffsetDesc());
}
