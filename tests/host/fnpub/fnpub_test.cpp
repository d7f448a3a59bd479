#include "fp_test_objects.h"

#include <numbers>

using namespace fptest;

namespace {

FPInterface* WidgetInterface(Widget& w) { return static_cast<FPInterface*>(w.GetInterface(WIDGET_INTERFACE)); }

host::FPScriptCall Call(std::vector<FPValue> positional, std::vector<std::pair<MSTR, FPValue>> keywords = {}) {
    host::FPScriptCall c;
    c.positional = std::move(positional);
    c.keywords = std::move(keywords);
    return c;
}

}  // namespace

TEST(FunctionPublishing, DescriptorListDescribesFunctionsPropertiesAndEnums) {
    FPInterfaceDesc& d = WidgetDesc();
    EXPECT_EQ(d.ID, WIDGET_INTERFACE);
    EXPECT_EQ(d.internal_name, L"widget");
    ASSERT_EQ(d.functions.Count(), 13);
    ASSERT_EQ(d.props.Count(), 3);
    ASSERT_EQ(d.enumerations.Count(), 1);

    FPFunctionDef* add = d.GetFnDef(fn_add);
    ASSERT_NE(add, nullptr);
    EXPECT_EQ(add->internal_name, L"add");
    EXPECT_EQ(add->result_type, TYPE_INT);
    ASSERT_EQ(add->params.Count(), 2);
    EXPECT_FALSE(add->params[0]->IsKeyArg());
    ASSERT_TRUE(add->params[1]->IsKeyArg());
    EXPECT_EQ(add->params[1]->keyArgDefault->i, 10);
    EXPECT_EQ(add->keyparam_count, 1);
    EXPECT_EQ(add->NumPositional(), 1);

    FPFunctionDef* scale = d.FindFn(L"SCALE");
    ASSERT_NE(scale, nullptr);
    EXPECT_TRUE(scale->params[0]->flags & FPP_HAS_RANGE);
    EXPECT_FLOAT_EQ(scale->params[0]->range_high.f, 100.0f);
    EXPECT_FLOAT_EQ(scale->params[1]->keyArgDefault->f, 2.0f);

    FPFunctionDef* minMax = d.GetFnDef(fn_minMax);
    ASSERT_EQ(minMax->params.Count(), 3);
    EXPECT_EQ(minMax->params[0]->flags & FPP_IN_OUT_PARAM, FPP_IN_OUT_PARAM) << "by reference: in and out";
    EXPECT_EQ(minMax->params[1]->flags & FPP_IN_OUT_PARAM, FPP_OUT_PARAM);
    EXPECT_EQ(d.GetFnDef(fn_doIt)->flags, FP_ACTION);
    EXPECT_EQ(d.GetFnDef(fn_doIt)->isEnabled_id, fn_canDo);
    EXPECT_EQ(d.GetFnDef(fn_useMode)->enumID, mode_enum);
    EXPECT_EQ(d.GetFnDef(fn_useMode)->params[0]->enumID, mode_enum);
    EXPECT_EQ(d.GetFnDef(fn_squares)->result_type, TYPE_INT_TAB_BV);
    EXPECT_EQ(d.FindFunctionID(L"twist"), fn_twist);
    EXPECT_EQ(d.GetFnDef(99), nullptr);
    EXPECT_EQ(d.FindFn(L"nothing"), nullptr);

    FPPropDef* count = d.FindProp(L"Count");
    ASSERT_NE(count, nullptr);
    EXPECT_EQ(count->getter_ID, fn_getCount);
    EXPECT_EQ(count->setter_ID, fn_setCount);
    EXPECT_TRUE(count->setter_param.flags & FPP_HAS_RANGE);
    EXPECT_EQ(count->setter_param.range_high.i, 50);
    EXPECT_TRUE(d.FindProp(L"lastIndex")->ReadOnly());
    EXPECT_EQ(d.FindProp(L"mode")->enumID, mode_enum);
    EXPECT_EQ(d.FindPropByFn(fn_setMode), d.FindProp(L"mode"));

    FPEnum* modes = d.GetEnum(mode_enum);
    ASSERT_NE(modes, nullptr);
    ASSERT_EQ(modes->enumeration.Count(), 3);
    int code = -1;
    EXPECT_TRUE(modes->FindCode(L"Soft", code));
    EXPECT_EQ(code, 5);
    EXPECT_FALSE(modes->FindCode(L"medium", code));
    EXPECT_STREQ(modes->FindName(9), L"hard");
    EXPECT_EQ(modes->FindName(1), nullptr);

    // A mixin description registers with its class, found by id or name.
    EXPECT_EQ(WidgetClass().GetInterface(WIDGET_INTERFACE), &d);
    EXPECT_EQ(WidgetClass().GetInterface(L"WIDGET"), &d);
    EXPECT_EQ(WidgetClass().GetInterface(CORE_INTERFACE), nullptr);
    EXPECT_EQ(host::FindCoreInterface(WIDGET_INTERFACE), nullptr) << "a mixin is not a core interface";
}

TEST(FunctionPublishing, FunctionMapPassesTypedArgumentsAndResults) {
    Widget w;
    FPInterface* fi = WidgetInterface(w);
    ASSERT_NE(fi, nullptr);
    EXPECT_EQ(fi->GetID(), WIDGET_INTERFACE);
    EXPECT_EQ(fi->GetDesc(), &WidgetDesc());

    FPValue r;
    FPParams two(2, TYPE_INT, 2, TYPE_INT, 3);
    ASSERT_EQ(fi->Invoke(fn_add, r, &two), FPS_OK);
    EXPECT_EQ(r.type, TYPE_INT);
    EXPECT_EQ(r.i, 5);

    // An int where a float is wanted is converted.
    FPParams mixed(2, TYPE_INT, 3, TYPE_FLOAT, 1.5);
    ASSERT_EQ(fi->Invoke(fn_scale, r, &mixed), FPS_OK);
    EXPECT_EQ(r.type, TYPE_FLOAT);
    EXPECT_FLOAT_EQ(r.f, 4.5f);

    ASSERT_EQ(fi->Invoke(fn_name, r), FPS_OK);
    EXPECT_EQ(r.type, TYPE_STRING);
    EXPECT_STREQ(r.s, L"widget");
    EXPECT_NE(r.s, w.Name()) << "a string result is a copy";

    Point3 p(1.0f, 2.0f, 3.0f);
    FPParams off(2, TYPE_POINT3_BV, &p, TYPE_FLOAT, 0.5);
    ASSERT_EQ(fi->Invoke(fn_offset, r, &off), FPS_OK);
    EXPECT_EQ(r.type, TYPE_POINT3_BV);
    EXPECT_EQ(*r.p, Point3(1.5f, 2.5f, 3.5f));

    ASSERT_EQ(fi->Invoke(fn_squares, r, &FPParams().Append(TYPE_INT, 4)), FPS_OK);
    EXPECT_EQ(r.type, TYPE_INT_TAB_BV);
    ASSERT_EQ(r.i_tab->Count(), 4);
    EXPECT_EQ((*r.i_tab)[3], 9);

    // By-reference arguments write into the caller's variables...
    Tab<float> values;
    for (float v : {4.0f, -2.0f, 7.0f}) values.push_back(v);
    float lo = 0.0f, hi = 0.0f;
    FPParams out;
    out.Append(TYPE_FLOAT_TAB_BR, &values).Append(TYPE_FLOAT_BR, lo).Append(TYPE_FLOAT_BR, hi);
    ASSERT_EQ(fi->Invoke(fn_minMax, r, &out), FPS_OK);
    EXPECT_TRUE(r.IsVoid());
    EXPECT_EQ(lo, -2.0f);
    EXPECT_EQ(hi, 7.0f);
    EXPECT_EQ(values.Count(), 4) << "the table itself was passed, not a copy";
    // ...or, when given plain values, into the call's own arguments.
    FPParams own;
    own.Append(TYPE_FLOAT_TAB_BV, values).Append(TYPE_FLOAT, 0.0f).Append(TYPE_FLOAT, 0.0f);
    ASSERT_EQ(fi->Invoke(fn_minMax, r, &own), FPS_OK);
    EXPECT_EQ(own.params[1].f, -2.0f);
    EXPECT_EQ(own.params[2].f, 9.0f);
    EXPECT_EQ(own.params[0].f_tab->Count(), 5) << "the call's copy grew";
    EXPECT_EQ(values.Count(), 4) << "the caller's table did not";

    Target a, b;
    Tab<ReferenceTarget*> items;
    items.push_back(&a);
    items.push_back(&b);
    FPParams find;
    find.Append(TYPE_REFTARG_TAB_BR, &items).Append(TYPE_REFTARG, static_cast<ReferenceTarget*>(&b));
    ASSERT_EQ(fi->Invoke(fn_find, r, &find), FPS_OK);
    EXPECT_EQ(r.type, TYPE_INDEX);
    EXPECT_EQ(r.i, 1) << "indexes are 0-based in C++";

    // Properties are functions too.
    FPParams seven(1, TYPE_INT, 7);
    ASSERT_EQ(fi->Invoke(fn_setCount, r, &seven), FPS_OK);
    EXPECT_EQ(w.count, 7);
    ASSERT_EQ(fi->Invoke(fn_lastIndex, r), FPS_OK);
    EXPECT_EQ(r.i, 6);
}

TEST(FunctionPublishing, FailuresAnswerAsTheHostDoes) {
    Widget w;
    FPInterface* fi = WidgetInterface(w);
    FPValue r;
    EXPECT_EQ(fi->Invoke(99, r), FPS_NO_SUCH_FUNCTION);
    EXPECT_EQ(fi->Invoke(-1, r), FPS_NO_SUCH_FUNCTION);
    EXPECT_EQ(fi->Invoke(L"nothing", 0, r), FPS_NO_SUCH_FUNCTION);

    // Too few arguments: the host's range error, with its exact text.
    FPParams one(1, TYPE_INT, 2);
    try {
        fi->Invoke(fn_add, r, &one);
        ADD_FAILURE() << "no exception";
    } catch (const MaxSDK::Util::OutOfRangeException& e) {
        EXPECT_STREQ(e.GetMessage(), L"Argument index out of bounds, passed into a MaxSDK::Array::operator[]");
        EXPECT_STREQ(e.what(), "Argument index out of bounds, passed into a MaxSDK::Array::operator[]");
    }
    EXPECT_THROW(fi->Invoke(fn_add, r, nullptr), MaxSDK::Util::OutOfRangeException);
    EXPECT_THROW(fi->Invoke(fn_setMode, r, nullptr), MaxSDK::Util::OutOfRangeException)
        << "a setter without its argument";
    EXPECT_EQ(w.mode, 0);

    // An action whose predicate says no does not run.
    w.enabled = FALSE;
    EXPECT_EQ(fi->Invoke(fn_doIt, r), FPS_ACTION_DISABLED);
    EXPECT_EQ(w.done, 0);
    w.enabled = TRUE;
    EXPECT_EQ(fi->Invoke(fn_doIt, r), FPS_OK);
    EXPECT_EQ(w.done, 1);
}

TEST(FunctionPublishing, ScriptCallsTakeKeywordsDefaultsAndScriptUnits) {
    Widget w;
    FPInterface* fi = WidgetInterface(w);
    FPInterfaceDesc& d = WidgetDesc();
    FPValue r;
    host::FPBindResult bind;
    auto call = [&](FunctionID id, host::FPScriptCall c) {
        return host::InvokeScriptCall(fi, *d.GetFnDef(id), 0, c, r, &bind);
    };

    ASSERT_EQ(call(fn_add, Call({FPValue(TYPE_INT, 5)})), FPS_OK);
    EXPECT_EQ(r.i, 15) << "b takes its default";
    ASSERT_EQ(call(fn_add, Call({FPValue(TYPE_INT, 5)}, {{L"B", FPValue(TYPE_INT, 1)}})), FPS_OK);
    EXPECT_EQ(r.i, 6);
    ASSERT_EQ(call(fn_add, Call({FPValue(TYPE_INT, 5)}, {{L"unused", FPValue(TYPE_INT, 1)}})), FPS_OK);
    EXPECT_EQ(r.i, 15) << "keywords the function does not take are ignored";

    host::FPScriptCall none;
    FPParams bound;
    MSTR why;
    int expected = -1;
    EXPECT_EQ(host::BindScriptCall(fi, *d.GetFnDef(fn_add), none, bound, &why, &expected),
              host::FPBindResult::WrongArgCount);
    EXPECT_EQ(expected, 1);
    EXPECT_EQ(call(fn_add, Call({FPValue(TYPE_INT, 1), FPValue(TYPE_INT, 2)})), FPS_FAIL)
        << "a keyword argument is not positional";
    EXPECT_EQ(bind, host::FPBindResult::WrongArgCount);

    // Ranges and conversions.
    EXPECT_EQ(call(fn_scale, Call({FPValue(TYPE_FLOAT, 150.0f)})), FPS_FAIL);
    EXPECT_EQ(bind, host::FPBindResult::BadValue);
    ASSERT_EQ(call(fn_scale, Call({FPValue(TYPE_INT, 3)})), FPS_OK);
    EXPECT_FLOAT_EQ(r.f, 6.0f);
    EXPECT_EQ(call(fn_scale, Call({FPValue(TYPE_STRING, L"3")})), FPS_FAIL);

    // Indexes: 1-based outside, 0-based inside, both ways.
    ASSERT_EQ(call(fn_pick, Call({FPValue(TYPE_INT, 1)})), FPS_OK);
    EXPECT_EQ(w.picked, 0);
    EXPECT_EQ(r.type, TYPE_INDEX);
    EXPECT_EQ(r.i, 1);
    ASSERT_EQ(call(fn_pick, Call({FPValue(TYPE_INT, 3)})), FPS_OK);
    EXPECT_EQ(w.picked, 2);
    EXPECT_EQ(r.i, 3);

    // Angles in degrees, percent fractions in percent.
    ASSERT_EQ(call(fn_twist, Call({FPValue(TYPE_FLOAT, 90.0f)})), FPS_OK);
    EXPECT_NEAR(w.twisted, std::numbers::pi / 2, 1e-6);
    EXPECT_NEAR(r.f, 90.0f, 1e-4);
    ASSERT_EQ(call(fn_frac, Call({FPValue(TYPE_INT, 50)})), FPS_OK);
    EXPECT_FLOAT_EQ(w.fraction, 0.5f);
    EXPECT_FLOAT_EQ(r.f, 50.0f);

    // Enumerations by name.
    ASSERT_EQ(call(fn_useMode, Call({FPValue(TYPE_NAME, L"HARD")})), FPS_OK);
    EXPECT_EQ(w.usedMode, 9);
    EXPECT_EQ(r.type, TYPE_ENUM);
    EXPECT_EQ(r.i, 9);
    EXPECT_EQ(call(fn_useMode, Call({FPValue(TYPE_NAME, L"medium")})), FPS_FAIL);

    // A found item answers its 1-based index; a missing one 0.
    Target a, b;
    Tab<ReferenceTarget*> items;
    items.push_back(&a);
    items.push_back(&b);
    ASSERT_EQ(call(fn_find, Call({FPValue(TYPE_REFTARG_TAB_BV, items), FPValue(TYPE_REFTARG, &b)})), FPS_OK);
    EXPECT_EQ(r.i, 2);
    Target c;
    ASSERT_EQ(call(fn_find, Call({FPValue(TYPE_REFTARG_TAB_BV, items), FPValue(TYPE_REFTARG, &c)})), FPS_OK);
    EXPECT_EQ(r.i, 0);

    // Out arguments come back through the bound arguments.
    Tab<float> values;
    values.push_back(3.0f);
    values.push_back(-1.0f);
    FPParams after;
    host::FPScriptCall mm = Call({FPValue(TYPE_FLOAT_TAB_BV, values), FPValue(TYPE_FLOAT, 0.0f), FPValue(TYPE_FLOAT, 0.0f)});
    ASSERT_EQ(host::InvokeScriptCall(fi, *d.GetFnDef(fn_minMax), 0, mm, r, &bind, nullptr, &after), FPS_OK);
    ASSERT_EQ(after.Count(), 3);
    EXPECT_EQ(after.params[1].f, -1.0f);
    EXPECT_EQ(after.params[2].f, 3.0f);
}

TEST(FunctionPublishing, PropertiesByNameHonourRangesEnumsAndReadOnly) {
    Widget w;
    FPInterface* fi = WidgetInterface(w);
    FPValue r;
    EXPECT_EQ(host::SetScriptProperty(fi, L"count", 0, FPValue(TYPE_INT, 7)), FPS_OK);
    EXPECT_EQ(w.count, 7);
    EXPECT_EQ(host::SetScriptProperty(fi, L"count", 0, FPValue(TYPE_INT, 60)), FPS_FAIL);
    EXPECT_EQ(w.count, 7);
    ASSERT_EQ(host::GetScriptProperty(fi, L"COUNT", 0, r), FPS_OK);
    EXPECT_EQ(r.i, 7);
    ASSERT_EQ(host::GetScriptProperty(fi, L"lastIndex", 0, r), FPS_OK);
    EXPECT_EQ(r.i, 7) << "the last of 7 entries, 1-based";
    EXPECT_EQ(host::SetScriptProperty(fi, L"lastIndex", 0, FPValue(TYPE_INT, 1)), FPS_FAIL);
    EXPECT_EQ(host::SetScriptProperty(fi, L"mode", 0, FPValue(TYPE_NAME, L"soft")), FPS_OK);
    EXPECT_EQ(w.mode, 5);
    ASSERT_EQ(host::GetScriptProperty(fi, L"mode", 0, r), FPS_OK);
    EXPECT_EQ(r.type, TYPE_ENUM);
    EXPECT_EQ(r.i, 5);
    EXPECT_EQ(host::GetScriptProperty(fi, L"colour", 0, r), FPS_NO_SUCH_FUNCTION);
    EXPECT_EQ(host::SetScriptProperty(fi, L"colour", 0, r), FPS_NO_SUCH_FUNCTION);
}

TEST(FunctionPublishing, CoreInterfacesAreFoundByIdAndName) {
    TestCore& core = Core();
    EXPECT_EQ(GetCOREInterface(CORE_INTERFACE), &core);
    EXPECT_EQ(host::FindCoreInterface(L"KTTESTCORE"), &core);
    EXPECT_EQ(host::FindCoreInterface(CORE_INTERFACE), &core);
    const auto& all = host::CoreInterfaces();
    EXPECT_NE(std::find(all.begin(), all.end(), &core), all.end());
    EXPECT_EQ(GetCOREInterfaceAt(NumCOREInterfaces()), nullptr);

    FPValue r;
    for (FunctionID bad : {FunctionID(-1), FunctionID(16), FunctionID(3)}) EXPECT_EQ(core.Invoke(bad, r), FPS_NO_SUCH_FUNCTION);
    // Dispatched but not published: C++ reaches it, scripts cannot name it.
    EXPECT_EQ(core.Invoke(12, r), FPS_OK);
    EXPECT_EQ(core.GetFnDef(12), nullptr);
    EXPECT_EQ(core.Invoke(L"about", 0, r), FPS_OK);
    EXPECT_EQ(core.abouts, 1);

    EXPECT_EQ(host::SetScriptProperty(&core, L"uiPanelTransforming", 0, FPValue(TYPE_BOOL, TRUE)), FPS_OK);
    EXPECT_EQ(core.transforming, TRUE);
    Target t;
    EXPECT_EQ(host::SetScriptProperty(&core, L"currentUIAction", 0, FPValue(TYPE_REFTARG, &t)), FPS_OK);
    ASSERT_EQ(host::GetScriptProperty(&core, L"currentUIAction", 0, r), FPS_OK);
    EXPECT_EQ(r.r, &t);
    EXPECT_THROW(core.Invoke(5, r, nullptr), MaxSDK::Util::OutOfRangeException);
    int code = -1;
    ASSERT_NE(core.GetEnum(0), nullptr);
    EXPECT_TRUE(core.GetEnum(0)->FindCode(L"FixedSmooth", code));
    EXPECT_EQ(code, 3);

    // A description that goes away leaves the registry.
    {
        FPStaticInterface temp;
        temp.Define(Interface_ID(0x7E571009, 9), L"temporary", 0, nullptr, FP_CORE);
        EXPECT_EQ(host::FindCoreInterface(L"temporary"), &temp);
    }
    EXPECT_EQ(host::FindCoreInterface(L"temporary"), nullptr);
}

TEST(FPValue, CopiesOwnWhatTheyHoldAndReferencesPointAtTheCaller) {
    FPValue p(TYPE_POINT3_BV, Point3(1.0f, 2.0f, 3.0f));
    FPValue q = p;
    ASSERT_NE(q.p, p.p);
    q.p->x = 9.0f;
    EXPECT_EQ(p.p->x, 1.0f);

    Tab<const MCHAR*> names;
    names.push_back(L"a");
    names.push_back(L"b");
    FPValue s(TYPE_STRING_TAB, &names);
    ASSERT_EQ(s.s_tab->Count(), 2);
    EXPECT_NE((*s.s_tab)[0], names[0]) << "strings are copied";
    EXPECT_STREQ((*s.s_tab)[1], L"b");
    FPValue s2(s);
    EXPECT_NE(s2.s_tab, s.s_tab);
    EXPECT_STREQ((*s2.s_tab)[0], L"a");

    Tab<Point3*> pts;
    Point3 a(1.0f, 0.0f, 0.0f);
    pts.push_back(&a);
    pts.push_back(nullptr);
    FPValue t(TYPE_POINT3_TAB, &pts);
    ASSERT_EQ(t.p_tab->Count(), 2);
    EXPECT_NE((*t.p_tab)[0], &a);
    EXPECT_EQ(*(*t.p_tab)[0], a);
    EXPECT_EQ((*t.p_tab)[1], nullptr);

    int var = 4;
    FPValue ref(TYPE_INT_BR, var);
    *ref.iptr = 8;
    EXPECT_EQ(var, 8);
    FPValue refCopy = ref;
    EXPECT_EQ(refCopy.iptr, &var) << "a copy of a reference still points at the caller";

    FPValue moved = std::move(q);
    EXPECT_TRUE(q.IsVoid());
    EXPECT_EQ(moved.p->x, 9.0f);

    // Nested values, nulls, and values that do not fit their type.
    FPValue inner(TYPE_INT, 3);
    FPValue outer(TYPE_FPVALUE_BV, inner);
    EXPECT_EQ(outer.fpv->i, 3);
    EXPECT_TRUE(FPValue(TYPE_INODE, nullptr).IsNull());
    EXPECT_FALSE(FPValue(TYPE_INT, 0).IsNull());
    EXPECT_TRUE(FPValue(TYPE_POINT3_BV, L"text").IsVoid());
    EXPECT_TRUE(FPValue(TYPE_INT_BR, 2.0f).IsVoid()) << "a reference needs a variable of the type";
    FPValue color(TYPE_RGBA, Point3(0.5f, 0.5f, 0.5f));
    EXPECT_TRUE(color.IsVoid()) << "no implicit Point3 to Color";
    FPValue color2(TYPE_RGBA, Color(0.5f, 0.5f, 0.5f));
    EXPECT_EQ(color2.clr->r, 0.5f);
}
