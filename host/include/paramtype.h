// ParamType2: the value types of parameter blocks and of published functions.
//
// A code is a base type plus modifiers: TYPE_TAB (a table of the base type), TYPE_BY_REF
// (an in/out argument: the function sees a reference to the caller's storage), TYPE_BY_VAL
// (passed and returned as a value), TYPE_BY_PTR (a pointer to the caller's scalar).
// Parameter blocks use the plain and the TAB forms only.
#pragma once

#include "maxtypes.h"

constexpr int TYPE_TAB = 0x0800;
constexpr int TYPE_BY_REF = 0x1000;
constexpr int TYPE_BY_VAL = 0x2000;
constexpr int TYPE_BY_PTR = 0x4000;

// Base codes. The numbers are the host's and appear in scene files.
#define KT_PARAMTYPE_BASES(X) \
    X(FLOAT, 0)               \
    X(INT, 1)                 \
    X(RGBA, 2)                \
    X(POINT3, 3)              \
    X(BOOL, 4)                \
    X(ANGLE, 5)               \
    X(PCNT_FRAC, 6)           \
    X(WORLD, 7)               \
    X(STRING, 8)              \
    X(FILENAME, 9)            \
    X(HSV, 10)                \
    X(COLOR_CHANNEL, 11)      \
    X(TIMEVALUE, 12)          \
    X(RADIOBTN_INDEX, 13)     \
    X(MTL, 14)                \
    X(TEXMAP, 15)             \
    X(BITMAP, 16)             \
    X(INODE, 17)              \
    X(REFTARG, 18)            \
    X(INDEX, 19)              \
    X(MATRIX3, 20)            \
    X(PBLOCK2, 21)            \
    X(POINT4, 22)             \
    X(FRGBA, 23)              \
    X(ENUM, 24)               \
    X(VOID, 25)               \
    X(INTERVAL, 26)           \
    X(ANGAXIS, 27)            \
    X(QUAT, 28)               \
    X(RAY, 29)                \
    X(POINT2, 30)             \
    X(BITARRAY, 31)           \
    X(CLASS, 32)              \
    X(MESH, 33)               \
    X(OBJECT, 34)             \
    X(CONTROL, 35)            \
    X(POINT, 36)              \
    X(TSTR, 37)               \
    X(IOBJECT, 38)            \
    X(INTERFACE, 39)          \
    X(HWND, 40)               \
    X(NAME, 41)               \
    X(COLOR, 42)              \
    X(FPVALUE, 43)            \
    X(VALUE, 44)              \
    X(DWORD, 45)              \
    X(bool, 46)               \
    X(INTPTR, 47)             \
    X(INT64, 48)              \
    X(DOUBLE, 49)

#define KT_PARAMTYPE_ENUMERATORS(n, v)                                                               \
    TYPE_##n = (v), TYPE_##n##_TAB = (v) + TYPE_TAB, TYPE_##n##_BR = (v) + TYPE_BY_REF,             \
    TYPE_##n##_BV = (v) + TYPE_BY_VAL, TYPE_##n##_BP = (v) + TYPE_BY_PTR,                           \
    TYPE_##n##_TAB_BR = (v) + TYPE_TAB + TYPE_BY_REF, TYPE_##n##_TAB_BV = (v) + TYPE_TAB + TYPE_BY_VAL,

enum ParamType2 : int {
    KT_PARAMTYPE_BASES(KT_PARAMTYPE_ENUMERATORS)
    TYPE_UNSPECIFIED = 0x7FF,
};
#undef KT_PARAMTYPE_ENUMERATORS

constexpr bool is_tab(int type) { return (type & TYPE_TAB) != 0; }
constexpr bool is_by_ref(int type) { return (type & TYPE_BY_REF) != 0; }
constexpr bool is_by_val(int type) { return (type & TYPE_BY_VAL) != 0; }
constexpr bool is_by_ptr(int type) { return (type & TYPE_BY_PTR) != 0; }
// The code without TAB and passing modifiers.
constexpr ParamType2 base_type(int type) {
    return static_cast<ParamType2>(type & ~(TYPE_TAB | TYPE_BY_REF | TYPE_BY_VAL | TYPE_BY_PTR));
}
// The code without passing modifiers (TAB kept).
constexpr ParamType2 root_type(int type) {
    return static_cast<ParamType2>(type & ~(TYPE_BY_REF | TYPE_BY_VAL | TYPE_BY_PTR));
}
// Types whose block entries are references to other scene objects.
constexpr bool reftarg_type(int type) {
    switch (base_type(type)) {
        case TYPE_MTL: case TYPE_TEXMAP: case TYPE_INODE: case TYPE_REFTARG: case TYPE_PBLOCK2:
            return true;
        default:
            return false;
    }
}
// Types that a block can hold under a controller (P_ANIMATABLE is honoured for these only).
constexpr bool animatable_type(int type) {
    switch (base_type(type)) {
        case TYPE_FLOAT: case TYPE_INT: case TYPE_RGBA: case TYPE_POINT3: case TYPE_BOOL: case TYPE_ANGLE:
        case TYPE_PCNT_FRAC: case TYPE_WORLD: case TYPE_COLOR_CHANNEL: case TYPE_TIMEVALUE:
        case TYPE_RADIOBTN_INDEX: case TYPE_INDEX: case TYPE_POINT4: case TYPE_FRGBA: case TYPE_HSV:
            return true;
        default:
            return false;
    }
}
// Float-valued types (a float controller animates them; scripts see angles in degrees and
// percent fractions in percent).
constexpr bool float_type(int type) {
    switch (base_type(type)) {
        case TYPE_FLOAT: case TYPE_ANGLE: case TYPE_PCNT_FRAC: case TYPE_WORLD: case TYPE_COLOR_CHANNEL:
            return true;
        default:
            return false;
    }
}
// Integer-valued types.
constexpr bool int_type(int type) {
    switch (base_type(type)) {
        case TYPE_INT: case TYPE_BOOL: case TYPE_TIMEVALUE: case TYPE_RADIOBTN_INDEX: case TYPE_INDEX:
        case TYPE_ENUM:
            return true;
        default:
            return false;
    }
}
