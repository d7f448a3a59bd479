// Keys of the host's keyframe controllers, and IKeyControl, the table view of them.
//
// A keyframe controller answers GetInterface(I_KEYCONTROL) with its IKeyControl. Keys are
// plain structs copied in and out by GetKey/SetKey; their byte sizes are part of the contract
// (GetKeySize) and fixed by static_asserts below. Times are ticks; tangents are slopes in value
// units per tick; in/out lengths are fractions of the neighbouring segment's duration.
#pragma once

#include "control.h"
#include "maxtypes.h"
#include "point3.h"
#include "quat.h"
#include "scalevalue.h"

// GetInterface(I_KEYCONTROL) answers a keyframe controller's IKeyControl (I_CONTROL, in
// control.h, the Control itself).
constexpr ULONG I_KEYCONTROL = 0x00001100;

// ---- Key flags (IKey::flags).
constexpr DWORD IKEY_SELECTED = 1 << 0;
constexpr DWORD IKEY_XSEL = 1 << 1; // channel selected, multi-channel keys
constexpr DWORD IKEY_YSEL = 1 << 2;
constexpr DWORD IKEY_ZSEL = 1 << 3;
constexpr DWORD IKEY_WSEL = 1u << 30;
constexpr DWORD IKEY_ALLSEL = IKEY_SELECTED | IKEY_XSEL | IKEY_YSEL | IKEY_ZSEL | IKEY_WSEL;
constexpr DWORD IKEY_FLAGGED = 1 << 13;
constexpr DWORD IKEY_TIME_LOCK = 1 << 14;

// Broken tangents per channel: the two sides of a Bezier key move independently in editors.
constexpr DWORD BEZKEY_XBROKEN = 1 << 4;
constexpr DWORD BEZKEY_YBROKEN = 1 << 5;
constexpr DWORD BEZKEY_ZBROKEN = 1 << 6;
constexpr DWORD BEZKEY_WBROKEN = 1 << 21;

// Tangent types, in-tangent in bits 7-9 and out-tangent in bits 10-12.
constexpr int BEZKEY_SMOOTH = 0; // slope through the neighbours
constexpr int BEZKEY_LINEAR = 1; // slope toward the neighbour on that side
constexpr int BEZKEY_STEP = 2;   // the segment holds the earlier key's value
constexpr int BEZKEY_FAST = 3;   // twice the linear slope: the value speeds into (out of) the key
constexpr int BEZKEY_SLOW = 4;   // flat: the value eases into (out of) the key
constexpr int BEZKEY_USER = 5;   // custom: the key's own intan/outtan and lengths
constexpr int BEZKEY_AUTO = 6;   // smooth, flat at extremes and never overshooting a neighbour
constexpr int BEZKEY_NUMTYPES = 7;
constexpr int BEZKEY_INTYPESHIFT = 7;
constexpr int BEZKEY_OUTTYPESHIFT = 10;
constexpr DWORD BEZKEY_TYPEMASK = 7;

inline int GetInTanType(DWORD flags) {
    return static_cast<int>((flags >> BEZKEY_INTYPESHIFT) & BEZKEY_TYPEMASK);
}
inline int GetOutTanType(DWORD flags) {
    return static_cast<int>((flags >> BEZKEY_OUTTYPESHIFT) & BEZKEY_TYPEMASK);
}
inline DWORD SetInTanType(DWORD flags, int type) {
    return (flags & ~(BEZKEY_TYPEMASK << BEZKEY_INTYPESHIFT)) |
           ((static_cast<DWORD>(type) & BEZKEY_TYPEMASK) << BEZKEY_INTYPESHIFT);
}
inline DWORD SetOutTanType(DWORD flags, int type) {
    return (flags & ~(BEZKEY_TYPEMASK << BEZKEY_OUTTYPESHIFT)) |
           ((static_cast<DWORD>(type) & BEZKEY_TYPEMASK) << BEZKEY_OUTTYPESHIFT);
}
// The broken bit of channel j (0 x, 1 y, 2 z, 3 w); 0 for any other j.
inline DWORD BrokenBit(int j) {
    return j == 0   ? BEZKEY_XBROKEN
           : j == 1 ? BEZKEY_YBROKEN
           : j == 2 ? BEZKEY_ZBROKEN
           : j == 3 ? BEZKEY_WBROKEN
                    : 0;
}
// True when the tangents of channel j are locked together (not broken).
inline bool TangentsLocked(DWORD flags, int j) { return (flags & BrokenBit(j)) == 0; }
inline DWORD SetTangentLock(DWORD flags, int j, bool locked) {
    return locked ? flags & ~BrokenBit(j) : flags | BrokenBit(j);
}

// Tangent types that new keys get (from SetValue under animate mode and AddNewKey).
// Auto for both sides unless changed; out-of-range types are ignored.
void GetBezierDefaultTangentType(int& in, int& out);
void SetBezierDefaultTangentType(int in, int out);

// The default length of a Bezier handle: a third of the segment.
constexpr float BEZ_DEFAULT_LENGTH = 1.0f / 3.0f;

// ---- Key structs. Layouts and sizes are fixed.
class IKey {
  public:
    TimeValue time = 0;
    DWORD flags = 0;
};

// Bezier keys. intan points backward: the in-handle sits at value + intan * inLength * dt,
// inLength * dt ticks before the key (dt: the segment before); the curve arrives with slope
// -intan. The out-handle sits at value + outtan * outLength * dt after it. Only custom (USER)
// sides use the stored slope and length; GetKey reports the effective ones of the other types.
// A length is clamped to [0, 1] when the curve is evaluated; the stored number is kept.
class IBezFloatKey : public IKey {
  public:
    float intan = 0.0f, outtan = 0.0f;
    float val = 0.0f;
    float inLength = BEZ_DEFAULT_LENGTH, outLength = BEZ_DEFAULT_LENGTH;
};

class IBezPoint3Key : public IKey {
  public:
    Point3 intan, outtan;
    Point3 val;
    Point3 inLength{BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH};
    Point3 outLength{BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH};
};

// The factors are a Bezier curve per component; the scale axis turns linearly (slerp, the
// short way) from key to key.
class IBezScaleKey : public IKey {
  public:
    Point3 intan, outtan;
    ScaleValue val;
    Point3 inLength{BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH};
    Point3 outLength{BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH, BEZ_DEFAULT_LENGTH};
};

// TCB keys. tens, cont and bias lie in [-1, 1] (0 everywhere is a Catmull-Rom spline);
// easeIn (toward the key) and easeOut (away from it) in [0, 1]. Out-of-range numbers are
// clamped when the curve is evaluated.
class ITCBKey : public IKey {
  public:
    float tens = 0.0f, cont = 0.0f, bias = 0.0f, easeIn = 0.0f, easeOut = 0.0f;
};

class ITCBFloatKey : public ITCBKey {
  public:
    float val = 0.0f;
};

class ITCBPoint3Key : public ITCBKey {
  public:
    Point3 val;
};

// A TCB rotation key holds its rotation RELATIVE to the previous key (the first key: absolute):
// the key's rotation is prev * Quat(val). An angle above half a turn spins the long way, whole
// turns included; keys made by SetValue always take the short way. A zero axis is no rotation.
class ITCBRotKey : public ITCBKey {
  public:
    AngAxis val;
};

class ITCBScaleKey : public ITCBKey {
  public:
    ScaleValue val;
};

// Linear keys. Rotation keys are absolute and interpolate the short way (slerp); a zero
// quaternion is the identity.
class ILinFloatKey : public IKey {
  public:
    float val = 0.0f;
};

class ILinPoint3Key : public IKey {
  public:
    Point3 val;
};

class ILinRotKey : public IKey {
  public:
    Quat val;
};

class ILinScaleKey : public IKey {
  public:
    ScaleValue val;
};

static_assert(sizeof(IKey) == 8);
static_assert(sizeof(IBezFloatKey) == 28);
static_assert(sizeof(IBezPoint3Key) == 68);
static_assert(sizeof(IBezScaleKey) == 84);
static_assert(sizeof(ITCBKey) == 28);
static_assert(sizeof(ITCBFloatKey) == 32);
static_assert(sizeof(ITCBPoint3Key) == 40);
static_assert(sizeof(ITCBRotKey) == 44);
static_assert(sizeof(ITCBScaleKey) == 56);
static_assert(sizeof(ILinFloatKey) == 12);
static_assert(sizeof(ILinPoint3Key) == 20);
static_assert(sizeof(ILinRotKey) == 24);
static_assert(sizeof(ILinScaleKey) == 36);

// Track flags (GetTrackFlags).
constexpr DWORD TFLAG_CURVESEL = 1 << 0;
constexpr DWORD TFLAG_RANGE_UNLOCKED = 1 << 1;

// The key table of a keyframe controller. Key pointers must point at the controller's own key
// struct (GetKeySize bytes); passing another struct is undefined. Every edit is undoable while
// theHold is holding and tells the controller's dependents (REFMSG_CHANGE).
class IKeyControl {
  public:
    virtual ~IKeyControl() = default;
    virtual int GetNumKeys() = 0;
    // Grows with default keys (time 0, value 0, smooth) or drops keys from the end.
    // Negative counts are taken as 0.
    virtual void SetNumKeys(int n) = 0;
    // Copies key i into *key; an index out of range or a null key leaves *key untouched.
    virtual void GetKey(int i, IKey* key) = 0;
    // Replaces key i; an index out of range or a null key does nothing. Does not sort.
    virtual void SetKey(int i, IKey* key) = 0;
    // Appends a copy and answers its index (-1 for null). Does not sort.
    virtual int AppendKey(IKey* key) = 0;
    // Orders the keys by time. Of keys that share a time only the one that came last in the
    // table is kept. Until keys are sorted the curve runs through them in table order.
    virtual void SortKeys() = 0;
    virtual DWORD& GetTrackFlags() = 0;
    // Size in bytes of the key struct.
    virtual int GetKeySize() = 0;
};

// The IKeyControl of anim, or null.
inline IKeyControl* GetKeyControlInterface(Animatable* anim) {
    return anim ? static_cast<IKeyControl*>(anim->GetInterface(I_KEYCONTROL)) : nullptr;
}
