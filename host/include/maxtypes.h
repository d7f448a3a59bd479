// Basic scalar types, time, validity intervals and class identities of the host SDK.
#pragma once

#include <cstdint>
#include <cstddef>
#include <climits>

typedef int BOOL;
#ifndef TRUE
#define TRUE 1
#define FALSE 0
#endif
typedef unsigned long ULONG;
typedef uint32_t DWORD;
typedef uint16_t USHORT;
typedef uint16_t WORD;
typedef uint8_t BYTE;
typedef unsigned int UINT;
typedef int64_t INT_PTR;
typedef uint64_t UINT_PTR;
typedef uint64_t DWORD_PTR;
typedef wchar_t MCHAR;
typedef void* HINSTANCE;
typedef void* HWND;
typedef unsigned long ULONG_PTR;
typedef DWORD SClass_ID;
typedef int BlockID;
typedef short ParamID;
typedef short MapID;
typedef int StringResID;
typedef ULONG AnimHandle;

#ifndef _M
#define _M(x) L##x
#endif
#ifndef _T
#define _T(x) L##x
#endif

// Time in ticks: 4800 per second. Frame arithmetic goes through GetTicksPerFrame().
typedef int TimeValue;
constexpr int TIME_TICKSPERSEC = 4800;
constexpr TimeValue TIME_NegInfinity = INT_MIN;
constexpr TimeValue TIME_PosInfinity = INT_MAX;

// A closed range of time. Empty when start > end (NEVER).
class Interval {
public:
    constexpr Interval(TimeValue s, TimeValue e) : start(s), end(e) {}
    constexpr Interval() : start(TIME_NegInfinity + 1), end(TIME_NegInfinity + 1 - 1) {}  // empty
    void Set(TimeValue s, TimeValue e) { start = s; end = e; }
    void SetStart(TimeValue s) { start = s; }
    void SetEnd(TimeValue e) { end = e; }
    void SetInfinite() { start = TIME_NegInfinity; end = TIME_PosInfinity; }
    void SetEmpty() { start = 1; end = 0; }
    void SetInstant(TimeValue t) { start = end = t; }
    TimeValue Start() const { return start; }
    TimeValue End() const { return end; }
    TimeValue Duration() const { return end - start + 1; }
    bool Empty() const { return start > end; }
    bool IsEmpty() const { return Empty(); }
    bool InInterval(TimeValue t) const { return t >= start && t <= end; }
    bool InInterval(const Interval& i) const { return !i.Empty() && i.start >= start && i.end <= end; }
    // Intersection; may become empty.
    Interval& operator&=(const Interval& o) {
        if (o.start > start) start = o.start;
        if (o.end < end) end = o.end;
        return *this;
    }
    Interval operator&(const Interval& o) const { Interval r = *this; r &= o; return r; }
    // Widens to contain t.
    Interval& operator+=(TimeValue t) {
        if (Empty()) { start = end = t; return *this; }
        if (t < start) start = t;
        if (t > end) end = t;
        return *this;
    }
    bool operator==(const Interval& o) const {
        return (Empty() && o.Empty()) || (start == o.start && end == o.end);
    }
    bool operator!=(const Interval& o) const { return !(*this == o); }

private:
    TimeValue start, end;
};

constexpr Interval FOREVER(TIME_NegInfinity, TIME_PosInfinity);
constexpr Interval NEVER(1, 0);

// A class's identity is the pair of words together with its super class id.
class Class_ID {
public:
    constexpr Class_ID() : a(0xFFFFFFFF), b(0xFFFFFFFF) {}
    constexpr Class_ID(ULONG aa, ULONG bb) : a(static_cast<DWORD>(aa)), b(static_cast<DWORD>(bb)) {}
    constexpr ULONG PartA() const { return a; }
    constexpr ULONG PartB() const { return b; }
    void SetPartA(ULONG v) { a = static_cast<DWORD>(v); }
    void SetPartB(ULONG v) { b = static_cast<DWORD>(v); }
    constexpr bool operator==(const Class_ID& o) const { return a == o.a && b == o.b; }
    constexpr bool operator!=(const Class_ID& o) const { return !(*this == o); }
    constexpr bool operator<(const Class_ID& o) const { return a < o.a || (a == o.a && b < o.b); }

private:
    DWORD a, b;
};

class Interface_ID {
public:
    constexpr Interface_ID() : a(0), b(0) {}
    constexpr Interface_ID(ULONG aa, ULONG bb) : a(static_cast<DWORD>(aa)), b(static_cast<DWORD>(bb)) {}
    constexpr ULONG PartA() const { return a; }
    constexpr ULONG PartB() const { return b; }
    constexpr bool operator==(const Interface_ID& o) const { return a == o.a && b == o.b; }
    constexpr bool operator!=(const Interface_ID& o) const { return !(*this == o); }
    constexpr bool operator<(const Interface_ID& o) const { return a < o.a || (a == o.a && b < o.b); }

private:
    DWORD a, b;
};

// Super class ids.
constexpr SClass_ID GEN_DERIVOB_CLASS_ID = 0x0002;
constexpr SClass_ID DERIVOB_CLASS_ID = 0x0002;
constexpr SClass_ID WSM_DERIVOB_CLASS_ID = 0x0003;
constexpr SClass_ID BASENODE_CLASS_ID = 0x0001;
constexpr SClass_ID GEOMOBJECT_CLASS_ID = 0x0010;
constexpr SClass_ID CAMERA_CLASS_ID = 0x0020;
constexpr SClass_ID LIGHT_CLASS_ID = 0x0030;
constexpr SClass_ID SHAPE_CLASS_ID = 0x0040;
constexpr SClass_ID HELPER_CLASS_ID = 0x0050;
constexpr SClass_ID SYSTEM_CLASS_ID = 0x0060;
constexpr SClass_ID REF_MAKER_CLASS_ID = 0x0100;
constexpr SClass_ID REF_TARGET_CLASS_ID = 0x0200;
constexpr SClass_ID OSM_CLASS_ID = 0x0810;
constexpr SClass_ID WSM_CLASS_ID = 0x0820;
constexpr SClass_ID PARAMETER_BLOCK_CLASS_ID = 0x0080;
constexpr SClass_ID PARAMETER_BLOCK2_CLASS_ID = 0x0082;
constexpr SClass_ID MATERIAL_CLASS_ID = 0x0C00;
constexpr SClass_ID TEXMAP_CLASS_ID = 0x0C10;
constexpr SClass_ID SCENE_IMPORT_CLASS_ID = 0x0A10;
constexpr SClass_ID SCENE_EXPORT_CLASS_ID = 0x0A20;
constexpr SClass_ID CUST_ATTRIB_CLASS_ID = 0x1160;
constexpr SClass_ID CTRL_FLOAT_CLASS_ID = 0x9003;
constexpr SClass_ID CTRL_POINT2_CLASS_ID = 0x9004;
constexpr SClass_ID CTRL_POINT3_CLASS_ID = 0x9005;
constexpr SClass_ID CTRL_MATRIX3_CLASS_ID = 0x9008;
constexpr SClass_ID CTRL_POSITION_CLASS_ID = 0x900B;
constexpr SClass_ID CTRL_ROTATION_CLASS_ID = 0x900C;
constexpr SClass_ID CTRL_SCALE_CLASS_ID = 0x900D;
constexpr SClass_ID CTRL_MORPH_CLASS_ID = 0x900E;
constexpr SClass_ID CTRL_USERTYPE_CLASS_ID = 0x900F;  // the placeholder of a parameter without a controller
constexpr SClass_ID CTRL_POINT4_CLASS_ID = 0x9010;
constexpr SClass_ID UTILITY_CLASS_ID = 0x1020;
constexpr SClass_ID GUP_CLASS_ID = 0x1300;

// The placeholder class that stands for an animatable parameter without a controller.
constexpr Class_ID PLACEHOLDER_CLASS_ID(0xEFFFFFFF, 0);

// SDK version word that LibVersion must report.
constexpr ULONG VERSION_3DSMAX = 0x69784200;
constexpr ULONG MAX_API_NUM = 0x42;
#define MAX_RELEASE 0x6978

// Frame rate is host state: 30 fps and 160 ticks per frame by default.
int GetTicksPerFrame();
int GetFrameRate();
void SetFrameRate(int fps);
void SetTicksPerFrame(int ticks);
