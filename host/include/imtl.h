// Materials: only the bases a node refers to. Material classes build on these.
#pragma once

#include "ref.h"

class MtlBase : public ReferenceTarget {
public:
    // The name the user gave the material (not the class name).
    virtual MSTR GetName() const { return name_; }
    virtual void SetName(const MSTR& name) { name_ = name; }

private:
    MSTR name_;
};

class Mtl : public MtlBase {
public:
    SClass_ID SuperClassID() override { return MATERIAL_CLASS_ID; }
    // Sub-materials (multi materials); none by default.
    virtual int NumSubMtls() { return 0; }
    virtual Mtl* GetSubMtl(int i) { (void)i; return nullptr; }
};
