#include "fp_test_objects.h"

namespace fptest {

WidgetClassDesc& WidgetClass() {
    static WidgetClassDesc cd;
    return cd;
}

FPInterfaceDesc& WidgetDesc() {
    static FPInterfaceDesc desc(
        WIDGET_INTERFACE, _T("widget"), 0, &WidgetClass(), FP_MIXIN,
        fn_add, _T("add"), 0, TYPE_INT, 0, 2,
            _T("a"), 0, TYPE_INT,
            _T("b"), 0, TYPE_INT, f_keyArgDefault, 10,
        fn_scale, _T("scale"), 0, TYPE_FLOAT, 0, 2,
            _T("x"), 0, TYPE_FLOAT, f_range, 0.0f, 100.0f,
            _T("k"), 0, TYPE_FLOAT, f_keyArgDefault, 2.0f,
        fn_name, _T("name"), 0, TYPE_STRING, 0, 0,
        fn_offset, _T("offset"), 0, TYPE_POINT3_BV, 0, 2,
            _T("p"), 0, TYPE_POINT3_BV,
            _T("d"), 0, TYPE_FLOAT,
        fn_find, _T("find"), 0, TYPE_INDEX, 0, 2,
            _T("items"), 0, TYPE_REFTARG_TAB_BR,
            _T("item"), 0, TYPE_REFTARG,
        fn_minMax, _T("minMax"), 0, TYPE_VOID, 0, 3,
            _T("values"), 0, TYPE_FLOAT_TAB_BR,
            _T("lo"), 0, TYPE_FLOAT_BR, f_inOut, FPP_OUT_PARAM,
            _T("hi"), 0, TYPE_FLOAT_BR, f_inOut, FPP_OUT_PARAM,
        fn_pick, _T("pick"), 0, TYPE_INDEX, 0, 1,
            _T("which"), 0, TYPE_INDEX,
        fn_doIt, _T("doIt"), 0, TYPE_VOID, FP_ACTION, 0,
            f_isEnabled, fn_canDo,
        fn_canDo, _T("canDo"), 0, TYPE_BOOL, 0, 0,
        fn_twist, _T("twist"), 0, TYPE_ANGLE, 0, 1,
            _T("a"), 0, TYPE_ANGLE,
        fn_frac, _T("frac"), 0, TYPE_PCNT_FRAC, 0, 1,
            _T("p"), 0, TYPE_PCNT_FRAC,
        fn_squares, _T("squares"), 0, TYPE_INT_TAB_BV, 0, 1,
            _T("n"), 0, TYPE_INT,
        fn_useMode, _T("useMode"), 0, TYPE_ENUM, mode_enum, 0, 1,
            _T("m"), 0, TYPE_ENUM, mode_enum,
        properties,
            fn_getCount, fn_setCount, _T("count"), 0, TYPE_INT, f_range, 0, 50,
            fn_getMode, fn_setMode, _T("mode"), 0, TYPE_ENUM, mode_enum,
            fn_lastIndex, FP_NO_FUNCTION, _T("lastIndex"), 0, TYPE_INDEX,
        enums,
            mode_enum, 3,
                _T("off"), 0,
                _T("soft"), 5,
                _T("hard"), 9,
        p_end);
    return desc;
}

TestCore& Core() {
    static TestCore core(
        CORE_INTERFACE, _T("ktTestCore"), 0, nullptr, FP_CORE,
        10, _T("About"), 0, TYPE_VOID, 0, 0,
        properties,
            4, 5, _T("uiPanelTransforming"), 0, TYPE_BOOL,
            6, 7, _T("currentUIAction"), 0, TYPE_REFTARG,
        enums,
            0, 5,
                _T("Bezier"), 0,
                _T("Corner"), 1,
                _T("BezierCorner"), 2,
                _T("FixedSmooth"), 3,
                _T("Smooth"), 4,
        p_end);
    return core;
}

}  // namespace fptest
