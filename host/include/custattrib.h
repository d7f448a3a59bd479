// Custom attributes: extra parameter blocks attached to any Animatable.
#pragma once

#include "ref.h"

class IParamBlock2;

class CustAttrib : public ReferenceTarget {
public:
    SClass_ID SuperClassID() override { return CUST_ATTRIB_CLASS_ID; }
    virtual const MCHAR* GetName(bool localized = true) { (void)localized; return L"Custom Attribute"; }
    // Whether it may sit on `ref`; the default accepts anything.
    virtual bool CheckCopyAttribTo(ICustAttribContainer* to) { (void)to; return true; }
};

// The ordered list of custom attributes of one Animatable. It holds a reference to each.
class ICustAttribContainer : public ReferenceTarget {
public:
    virtual int GetNumCustAttribs() = 0;
    // Null for an index out of range.
    virtual CustAttrib* GetCustAttrib(int i) = 0;
    virtual void AppendCustAttrib(CustAttrib* ca) = 0;
    virtual void SetCustAttrib(int i, CustAttrib* ca) = 0;
    virtual void InsertCustAttrib(int i, CustAttrib* ca) = 0;
    // Drops the attribute at i (undoable while holding); out of range does nothing.
    virtual void RemoveCustAttrib(int i) = 0;
    virtual Animatable* GetOwner() = 0;
    virtual void SetOwner(Animatable* owner) = 0;
};

namespace host {
// The host's container; the owner is set by Animatable::AllocCustAttribContainer.
ICustAttribContainer* NewCustAttribContainer();
constexpr Class_ID CUSTATTRIB_CONTAINER_CLASS_ID(0x5DDB604F, 0x1A0E1F4D);
}  // namespace host
