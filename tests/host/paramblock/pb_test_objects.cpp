#include "pb_test_objects.h"

namespace pbtest {

namespace {

// Descriptors of the test classes that have no parameters, so scene files can make them.
template <class T>
class SimpleDesc : public ClassDesc2 {
public:
    SimpleDesc(SClass_ID sc, Class_ID id, const MCHAR* name) : sc_(sc), id_(id), name_(name) {}
    int IsPublic() override { return 0; }
    void* Create(BOOL) override { return static_cast<Animatable*>(new T()); }
    const MCHAR* ClassName() override { return name_; }
    SClass_ID SuperClassID() override { return sc_; }
    Class_ID ClassID() override { return id_; }
    const MCHAR* Category() override { return L"Tests"; }

private:
    SClass_ID sc_;
    Class_ID id_;
    const MCHAR* name_;
};

bool RegisterClasses() {
    static SimpleDesc<TestFloat> floatDesc(CTRL_FLOAT_CLASS_ID, kTestFloatClassID, L"PBTestFloat");
    static SimpleDesc<TestPoint3> point3Desc(CTRL_POINT3_CLASS_ID, kTestPoint3ClassID, L"PBTestPoint3");
    static SimpleDesc<Target> targetDesc(REF_TARGET_CLASS_ID, kTargetClassID, L"PBTestTarget");
    auto& dir = host::ClassDirectory::Get();
    dir.AddClass(&OwnerDesc());
    dir.AddClass(&floatDesc);
    dir.AddClass(&point3Desc);
    dir.AddClass(&targetDesc);
    return true;
}

}  // namespace

ProbeAccessor& Accessor() {
    static ProbeAccessor a;
    return a;
}

ProbeValidator& Validator() {
    static ProbeValidator v;
    return v;
}

OwnerClassDesc& OwnerDesc() {
    static OwnerClassDesc cd;
    return cd;
}

ParamBlockDesc2& AllTypesDesc() {
    static ParamBlockDesc2 desc(
        0, _T("params"), IDS_BLOCK, &OwnerDesc(), P_AUTO_CONSTRUCT | P_VERSION | P_AUTO_UI,
        3,  // version
        0,  // the owner's reference slot
        1000, IDS_BLOCK, 0, 0, static_cast<ParamMap2UserDlgProc*>(nullptr),
        pb_float, _T("manual_stretch"), TYPE_FLOAT, P_ANIMATABLE, IDS_FLOAT,
            p_default, 1.5f, p_range, 0.0f, 10.0f,
            p_ui, TYPE_SPINNER, EDITTYPE_FLOAT, 1001, 1002, 0.1f,
            p_accessor, &Accessor(),
            p_end,
        pb_int, _T("count"), TYPE_INT, 0, 0, p_default, 7, p_range, 0, 100, p_end,
        pb_rgba, _T("tint"), TYPE_RGBA, P_ANIMATABLE, IDS_RGBA,
            p_default, Color(1.0f, 0.0f, 0.0f), p_ui, TYPE_COLORSWATCH, 1003, p_end,
        pb_point3, _T("offset"), TYPE_POINT3, P_ANIMATABLE, 0,
            p_default, Point3(1.0f, 2.0f, 3.0f),
            p_ui, TYPE_SPINNER, EDITTYPE_FLOAT, 1, 2, 3, 4, 5, 6, 0.5f,
            p_end,
        pb_bool, _T("enabled"), TYPE_BOOL, 0, 0, p_default, TRUE, p_ui, TYPE_SINGLECHEKBOX, 1004, p_end,
        pb_angle, _T("twist"), TYPE_ANGLE, P_ANIMATABLE, 0, p_default, 0.5f, p_end,
        pb_pcnt, _T("blend"), TYPE_PCNT_FRAC, P_ANIMATABLE, 0, p_default, 1.0f, p_range, 0.0f, 100.0f, p_end,
        pb_world, _T("length"), TYPE_WORLD, 0, 0, p_default, 10.0f, p_end,
        pb_string, _T("label"), TYPE_STRING, 0, 0, p_default, _T("hello"), p_end,
        pb_filename, _T("image"), TYPE_FILENAME, 0, 0, p_end,
        pb_time, _T("start"), TYPE_TIMEVALUE, 0, 0, p_default, 320, p_end,
        pb_node, _T("target"), TYPE_INODE, 0, 0, p_ui, TYPE_PICKNODEBUTTON, 1005, p_end,
        pb_ref, _T("data"), TYPE_REFTARG, 0, 0, p_validator, &Validator(), p_end,
        pb_index, _T("active"), TYPE_INDEX, 0, 0, p_default, 2, p_end,
        pb_matrix, _T("frame"), TYPE_MATRIX3, 0, 0, p_end,
        pb_point2, _T("pos2"), TYPE_POINT2, 0, 0, p_default, Point2(4.0f, 5.0f), p_end,
        pb_point4, _T("quad"), TYPE_POINT4, 0, 0, p_default, Point4(1.0f, 2.0f, 3.0f, 4.0f), p_end,
        pb_frgba, _T("wire"), TYPE_FRGBA, 0, 0, p_default, AColor(0.1f, 0.2f, 0.3f, 0.4f), p_end,
        pb_float_tab, _T("weights"), TYPE_FLOAT_TAB, 2, P_ANIMATABLE | P_VARIABLE_SIZE, IDS_WEIGHTS,
            p_default, 0.25f, p_accessor, &Accessor(), p_validator, &Validator(), p_end,
        pb_node_tab, _T("nodes"), TYPE_INODE_TAB, 0, P_VARIABLE_SIZE, 0,
            p_ui, TYPE_NODELISTBOX, 1, 2, 3, 4, p_end,
        pb_string_tab, _T("names"), TYPE_STRING_TAB, 1, 0, 0, p_default, _T("x"), p_end,
        pb_weak_node, _T("weak"), TYPE_INODE, P_NO_REF, 0, p_end,
        pb_blank, _T("two words"), TYPE_FLOAT, P_ANIMATABLE, 0, p_end,
        pb_hidden, _T(""), TYPE_BOOL, P_READ_ONLY | P_TRANSIENT, 0, p_end,
        p_end);
    return desc;
}

Owner* NewOwner() {
    static const bool registered = RegisterClasses();
    (void)registered;
    AllTypesDesc();
    return static_cast<Owner*>(static_cast<Animatable*>(OwnerDesc().Create(FALSE)));
}

}  // namespace pbtest
