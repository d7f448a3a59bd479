// A mixin interface and a core interface written the way plug-in classes write them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "ifnpub.h"
#include "iparamb2.h"
#include "test_support.h"

namespace fptest {

constexpr Interface_ID WIDGET_INTERFACE(0x7E571001, 0x11);
constexpr Interface_ID CORE_INTERFACE(0x7E571002, 0x22);
constexpr Class_ID kWidgetClassID(0x7E571003, 0x33);

enum : FunctionID {
    fn_add,
    fn_scale,
    fn_name,
    fn_offset,
    fn_find,
    fn_minMax,
    fn_pick,
    fn_doIt,
    fn_canDo,
    fn_twist,
    fn_frac,
    fn_squares,
    fn_useMode,
    fn_getCount,
    fn_setCount,
    fn_getMode,
    fn_setMode,
    fn_lastIndex,
};
enum : EnumID { mode_enum = 3 };

class Widget;
FPInterfaceDesc& WidgetDesc();

class Target : public ReferenceTarget {
public:
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x7E571004, 0x44); }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
};

class IWidget : public FPMixinInterface {
public:
    FPInterfaceDesc* GetDesc() override { return &WidgetDesc(); }

    virtual int Add(int a, int b) = 0;
    virtual float Scale(float x, float k) = 0;
    virtual const MCHAR* Name() = 0;
    virtual Point3 Offset(Point3 p, float d) = 0;
    virtual int Find(Tab<ReferenceTarget*>& items, ReferenceTarget* r) = 0;
    virtual void MinMax(Tab<float>& values, float& lo, float& hi) = 0;
    virtual int Pick(int which) = 0;
    virtual void DoIt() = 0;
    virtual BOOL CanDo() = 0;
    virtual float Twist(float a) = 0;
    virtual float Frac(float p) = 0;
    virtual Tab<int> Squares(int n) = 0;
    virtual int UseMode(int m) = 0;
    virtual int GetCount() = 0;
    virtual void SetCount(int n) = 0;
    virtual int GetMode() = 0;
    virtual void SetMode(int m) = 0;
    virtual int LastIndex() = 0;

    BEGIN_FUNCTION_MAP
        FN_2(fn_add, TYPE_INT, Add, TYPE_INT, TYPE_INT)
        FN_2(fn_scale, TYPE_FLOAT, Scale, TYPE_FLOAT, TYPE_FLOAT)
        FN_0(fn_name, TYPE_STRING, Name)
        FN_2(fn_offset, TYPE_POINT3_BV, Offset, TYPE_POINT3_BV, TYPE_FLOAT)
        FN_2(fn_find, TYPE_INDEX, Find, TYPE_REFTARG_TAB_BR, TYPE_REFTARG)
        VFN_3(fn_minMax, MinMax, TYPE_FLOAT_TAB_BR, TYPE_FLOAT_BR, TYPE_FLOAT_BR)
        FN_1(fn_pick, TYPE_INDEX, Pick, TYPE_INDEX)
        VFN_0(fn_doIt, DoIt)
        FN_0(fn_canDo, TYPE_BOOL, CanDo)
        FN_1(fn_twist, TYPE_ANGLE, Twist, TYPE_ANGLE)
        FN_1(fn_frac, TYPE_PCNT_FRAC, Frac, TYPE_PCNT_FRAC)
        FN_1(fn_squares, TYPE_INT_TAB_BV, Squares, TYPE_INT)
        FN_1(fn_useMode, TYPE_ENUM, UseMode, TYPE_ENUM)
        PROP_FNS(fn_getCount, GetCount, fn_setCount, SetCount, TYPE_INT)
        PROP_FNS(fn_getMode, GetMode, fn_setMode, SetMode, TYPE_ENUM)
        RO_PROP_FN(fn_lastIndex, LastIndex, TYPE_INDEX)
    END_FUNCTION_MAP
};

class Widget : public ReferenceTarget, public IWidget {
public:
    int count = 0;
    int mode = 0;
    int picked = -100;
    int usedMode = -100;
    float twisted = 0.0f;
    float fraction = 0.0f;
    int done = 0;
    BOOL enabled = TRUE;

    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kWidgetClassID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    BaseInterface* GetInterface(Interface_ID id) override {
        if (id == WIDGET_INTERFACE) return static_cast<IWidget*>(this);
        return ReferenceTarget::GetInterface(id);
    }
    using ReferenceTarget::GetInterface;

    int Add(int a, int b) override { return a + b; }
    float Scale(float x, float k) override { return x * k; }
    const MCHAR* Name() override { return L"widget"; }
    Point3 Offset(Point3 p, float d) override { return p + Point3(d, d, d); }
    int Find(Tab<ReferenceTarget*>& items, ReferenceTarget* r) override { return items.Find(r); }
    void MinMax(Tab<float>& values, float& lo, float& hi) override {
        if (values.Count() == 0) return;
        lo = *std::min_element(values.begin(), values.end());
        hi = *std::max_element(values.begin(), values.end());
        values.push_back(hi - lo);
    }
    int Pick(int which) override {
        picked = which;
        return which;
    }
    void DoIt() override { ++done; }
    BOOL CanDo() override { return enabled; }
    float Twist(float a) override {
        twisted = a;
        return a;
    }
    float Frac(float p) override {
        fraction = p;
        return p;
    }
    Tab<int> Squares(int n) override {
        Tab<int> t;
        for (int i = 0; i < n; ++i) t.push_back(i * i);
        return t;
    }
    int UseMode(int m) override {
        usedMode = m;
        return m;
    }
    int GetCount() override { return count; }
    void SetCount(int n) override { count = n; }
    int GetMode() override { return mode; }
    void SetMode(int m) override { mode = m; }
    int LastIndex() override { return count - 1; }
};

class WidgetClassDesc : public ClassDesc2 {
public:
    int IsPublic() override { return 0; }
    void* Create(BOOL) override { return static_cast<Animatable*>(new Widget()); }
    const MCHAR* ClassName() override { return L"FPTestWidget"; }
    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return kWidgetClassID; }
    const MCHAR* Category() override { return L"Tests"; }
};
WidgetClassDesc& WidgetClass();

// A core interface with state of its own, after the global interface of the plug-in:
// properties in id pairs, a function that is not published, and an enumeration.
class TestCore : public FPStaticInterface {
    DECLARE_DESCRIPTOR(TestCore)
    BOOL transforming = FALSE;
    ReferenceTarget* current = nullptr;
    int abouts = 0;

    BOOL GetTransforming() { return transforming; }
    void SetTransforming(BOOL b) { transforming = b; }
    ReferenceTarget* GetCurrent() { return current; }
    void SetCurrent(ReferenceTarget* r) { current = r; }
    void About() { ++abouts; }
    void Hidden() {}

    BEGIN_FUNCTION_MAP
        PROP_FNS(4, GetTransforming, 5, SetTransforming, TYPE_BOOL)
        PROP_FNS(6, GetCurrent, 7, SetCurrent, TYPE_REFTARG)
        VFN_0(10, About)
        VFN_0(12, Hidden)
    END_FUNCTION_MAP
};
TestCore& Core();

}  // namespace fptest
