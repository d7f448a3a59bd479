#include "iparamb2.h"

#include <algorithm>

namespace {

// Components of a point-like type: how many spinner pairs its p_ui names.
int Components(int type) {
    switch (base_type(type)) {
        case TYPE_POINT2: return 2;
        case TYPE_POINT3: case TYPE_RGBA: case TYPE_HSV: return 3;
        case TYPE_POINT4: case TYPE_FRGBA: return 4;
        default: return 1;
    }
}

// A value of the parameter's type from the list: numbers as int or double, structs by value,
// strings and objects as pointers.
void ReadValue(int type, va_list* ap, PB2Value& v) {
    if (float_type(type)) {
        v.f = static_cast<float>(va_arg(*ap, double));
        return;
    }
    if (int_type(type)) {
        v.i = va_arg(*ap, int);
        return;
    }
    switch (base_type(type)) {
        case TYPE_POINT3: case TYPE_HSV: {
            Point3 p = va_arg(*ap, Point3);
            v.p4 = Point4(p, 0.0f);
            break;
        }
        case TYPE_RGBA: {
            Color c = va_arg(*ap, Color);
            v.p4 = Point4(c.r, c.g, c.b, 1.0f);
            break;
        }
        case TYPE_FRGBA: {
            AColor c = va_arg(*ap, AColor);
            v.p4 = Point4(c.r, c.g, c.b, c.a);
            break;
        }
        case TYPE_POINT4: v.p4 = va_arg(*ap, Point4); break;
        case TYPE_POINT2: {
            Point2 p = va_arg(*ap, Point2);
            v.p4 = Point4(p.x, p.y, 0.0f, 0.0f);
            break;
        }
        case TYPE_MATRIX3: v.m = va_arg(*ap, Matrix3); break;
        case TYPE_STRING: case TYPE_FILENAME: {
            const MCHAR* s = va_arg(*ap, const MCHAR*);
            v.s = s ? s : L"";
            break;
        }
        default:
            // References default to null; the pointer is read and dropped.
            (void)va_arg(*ap, void*);
            break;
    }
}

// A range bound: int types as int, everything else as a float (per component for points).
void ReadBound(int type, va_list* ap, PB2Value& v) {
    if (int_type(type)) {
        v.i = va_arg(*ap, int);
        v.f = static_cast<float>(v.i);
    } else {
        v.f = static_cast<float>(va_arg(*ap, double));
        v.i = static_cast<int>(v.f);
    }
}

ParamDef& DummyDef() {
    static ParamDef dummy;
    dummy = ParamDef();
    return dummy;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction

ParamBlockDesc2::ParamBlockDesc2() = default;

void ParamBlockDesc2::Define(BlockID id, const MCHAR* name, StringResID local, ClassDesc2* classDesc, USHORT fl,
                             int ver, int refNo) {
    Init(id, name, local, classDesc, fl);
    version = ver;
    ref_no = refNo;
    if (cd) cd->AddParamBlockDesc(this);
}

ParamBlockDesc2::ParamBlockDesc2(BlockID id, const MCHAR* name, StringResID local, ClassDesc2* classDesc, USHORT fl,
                                 ...) {
    Init(id, name, local, classDesc, fl);
    va_list ap;
    va_start(ap, fl);
    if (flags & P_VERSION) version = va_arg(ap, int);
    if (flags & P_AUTO_CONSTRUCT) ref_no = va_arg(ap, int);
    if (flags & P_AUTO_UI) {
        int n = (flags & P_MULTIMAP) ? va_arg(ap, int) : 1;
        for (int k = 0; k < n; ++k) {
            ParamMapInfo mi;
            if (flags & P_MULTIMAP) mi.map_id = static_cast<MapID>(va_arg(ap, int));
            mi.dlg_template = va_arg(ap, int);
            mi.title = va_arg(ap, int);
            mi.test_flags = va_arg(ap, int);
            mi.rollup_flags = va_arg(ap, int);
            mi.proc = va_arg(ap, ParamMap2UserDlgProc*);
            maps.push_back(mi);
        }
    }
    if (flags & P_HASCATEGORY) category = va_arg(ap, int);
    ParseParams(&ap);
    va_end(ap);
    // Registration is the only host contact: this runs during static initialisation.
    if (cd) cd->AddParamBlockDesc(this);
}

ParamBlockDesc2::~ParamBlockDesc2() = default;

void ParamBlockDesc2::Init(BlockID id, const MCHAR* name, StringResID local, ClassDesc2* classDesc, USHORT fl) {
    ID = id;
    int_name = name ? name : L"";
    local_name = local;
    cd = classDesc;
    flags = fl;
}

void ParamBlockDesc2::ParseParams(va_list* ap) {
    for (;;) {
        int id = va_arg(*ap, int);
        if (id == p_end) break;
        ParseOneParam(static_cast<ParamID>(id), ap);
    }
    RebuildIdMap();
}

void ParamBlockDesc2::ParseOneParam(ParamID id, va_list* ap) {
    ParamDef pd;
    pd.ID = id;
    const MCHAR* name = va_arg(*ap, const MCHAR*);
    pd.int_name = name ? name : L"";
    pd.type = static_cast<ParamType2>(va_arg(*ap, int));
    if (is_tab(pd.type)) pd.tab_size = va_arg(*ap, int);
    pd.flags = va_arg(*ap, int);
    pd.local_name = va_arg(*ap, int);
    for (;;) {
        int tag = va_arg(*ap, int);
        if (tag == p_end) break;
        ParseTag(pd, tag, ap);
    }
    // A repeated id keeps the first definition; the list has been read either way.
    if (IDtoIndex(id) >= 0 || id < 0) return;
    paramdefs.push_back(std::move(pd));
    RebuildIdMap();
}

void ParamBlockDesc2::ParseTag(ParamDef& pd, int tag, va_list* ap) {
    switch (tag) {
        case p_default:
            ReadValue(pd.type, ap, pd.def);
            pd.has_default = true;
            if (!pd.has_ms_default) pd.ms_def = pd.def;
            break;
        case p_ms_default:
            ReadValue(pd.type, ap, pd.ms_def);
            pd.has_ms_default = true;
            break;
        case p_range:
            ReadBound(pd.type, ap, pd.range_low);
            ReadBound(pd.type, ap, pd.range_high);
            pd.has_range = true;
            break;
        case p_ui: {
            if (flags & P_MULTIMAP) pd.maxmap = static_cast<MapID>(va_arg(*ap, int));
            pd.ctrl_type = static_cast<ControlType2>(va_arg(*ap, int));
            pd.ctrl_IDs.clear();
            switch (pd.ctrl_type) {
                case TYPE_SPINNER: case TYPE_SLIDER: {
                    (void)va_arg(*ap, int);  // edit type
                    for (int k = 0; k < 2 * Components(pd.type); ++k) pd.ctrl_IDs.push_back(va_arg(*ap, int));
                    pd.spin_scale = static_cast<float>(va_arg(*ap, double));
                    break;
                }
                case TYPE_RADIO: {
                    int n = va_arg(*ap, int);
                    for (int k = 0; k < n; ++k) pd.ctrl_IDs.push_back(va_arg(*ap, int));
                    break;
                }
                case TYPE_INTLISTBOX: {
                    pd.ctrl_IDs.push_back(va_arg(*ap, int));
                    int n = va_arg(*ap, int);
                    for (int k = 0; k < n; ++k) (void)va_arg(*ap, int);
                    break;
                }
                case TYPE_NODELISTBOX:
                    for (int k = 0; k < 4; ++k) pd.ctrl_IDs.push_back(va_arg(*ap, int));
                    break;
                default:
                    pd.ctrl_IDs.push_back(va_arg(*ap, int));
                    break;
            }
            break;
        }
        case p_validator: pd.validator = va_arg(*ap, PBValidator*); break;
        case p_accessor: pd.accessor = va_arg(*ap, PBAccessor*); break;
        case p_dim: pd.dim = va_arg(*ap, ParamDimension*); break;
        case p_classID: pd.classID = va_arg(*ap, Class_ID); break;
        case p_sclassID: pd.sclassID = static_cast<SClass_ID>(va_arg(*ap, int)); break;
        case p_enabled: pd.enabled = va_arg(*ap, int); break;
        case p_prompt: pd.prompt = va_arg(*ap, int); break;
        case p_caption: pd.caption = va_arg(*ap, int); break;
        case p_file_types: pd.file_types = va_arg(*ap, int); break;
        case p_tooltip: pd.tooltip = va_arg(*ap, int); break;
        case p_init_file: {
            const MCHAR* f = va_arg(*ap, const MCHAR*);
            pd.init_file = f ? f : L"";
            break;
        }
        case p_refno: pd.refno = va_arg(*ap, int); break;
        case p_subtexno: case p_submtlno: case p_assetTypeID: (void)va_arg(*ap, int); break;
        case p_tabsize: pd.tab_size = va_arg(*ap, int); break;
        case p_tabsizevar:
            pd.tab_size = va_arg(*ap, int);
            pd.flags |= P_VARIABLE_SIZE;
            break;
        case p_vals: {
            pd.vals.clear();
            size_t n = pd.ctrl_type == TYPE_RADIO ? pd.ctrl_IDs.size() : 0;
            for (size_t k = 0; k < n; ++k) pd.vals.push_back(va_arg(*ap, int));
            break;
        }
        case p_nonLocalizedName: {
            const MCHAR* n = va_arg(*ap, const MCHAR*);
            if (n) pd.int_name = n;
            break;
        }
        default:
            // An unknown tag carries no value.
            break;
    }
}

void ParamBlockDesc2::RebuildIdMap() {
    int maxId = -1;
    for (const ParamDef& pd : paramdefs) maxId = std::max(maxId, static_cast<int>(pd.ID));
    idMap_.assign(static_cast<size_t>(maxId + 1), static_cast<short>(-1));
    for (size_t i = 0; i < paramdefs.size(); ++i)
        if (paramdefs[i].ID >= 0) idMap_[static_cast<size_t>(paramdefs[i].ID)] = static_cast<short>(i);
}

// ---------------------------------------------------------------------------------------------
// Programmatic building

void ParamBlockDesc2::AddParam(ParamID id, ...) {
    va_list ap;
    va_start(ap, id);
    ParseOneParam(id, &ap);
    va_end(ap);
}

ParamDef& ParamBlockDesc2::AddParam(ParamID id, const MCHAR* name, ParamType2 type, int fl, StringResID local) {
    int existing = IDtoIndex(id);
    if (existing >= 0) return paramdefs[static_cast<size_t>(existing)];
    if (id < 0) return DummyDef();
    ParamDef pd;
    pd.ID = id;
    pd.int_name = name ? name : L"";
    pd.type = type;
    pd.flags = fl;
    pd.local_name = local;
    paramdefs.push_back(std::move(pd));
    RebuildIdMap();
    return paramdefs.back();
}

void ParamBlockDesc2::ParamOption(ParamID id, int option_tag, ...) {
    va_list ap;
    va_start(ap, option_tag);
    int i = IDtoIndex(id);
    if (i >= 0) {
        ParseTag(paramdefs[static_cast<size_t>(i)], option_tag, &ap);
    }
    va_end(ap);
}

void ParamBlockDesc2::DeleteParam(ParamID id) {
    int i = IDtoIndex(id);
    if (i < 0) return;
    paramdefs.erase(paramdefs.begin() + i);
    RebuildIdMap();
}

namespace {
template <class F>
void WithDef(ParamBlockDesc2& d, ParamID id, F&& f) {
    int i = d.IDtoIndex(id);
    if (i >= 0) f(d.paramdefs[static_cast<size_t>(i)]);
}
}  // namespace

void ParamBlockDesc2::SetDefault(ParamID id, float v) {
    WithDef(*this, id, [&](ParamDef& pd) {
        if (int_type(pd.type)) pd.def.i = static_cast<int>(v);
        pd.def.f = v;
        pd.has_default = true;
        pd.ms_def = pd.def;
    });
}
void ParamBlockDesc2::SetDefault(ParamID id, int v) {
    WithDef(*this, id, [&](ParamDef& pd) {
        pd.def.i = v;
        if (float_type(pd.type)) pd.def.f = static_cast<float>(v);
        pd.has_default = true;
        pd.ms_def = pd.def;
    });
}
void ParamBlockDesc2::SetDefault(ParamID id, const Point2& v) {
    WithDef(*this, id, [&](ParamDef& pd) { pd.def.p4 = Point4(v.x, v.y, 0.0f, 0.0f); pd.has_default = true; pd.ms_def = pd.def; });
}
void ParamBlockDesc2::SetDefault(ParamID id, const Point3& v) {
    WithDef(*this, id, [&](ParamDef& pd) { pd.def.p4 = Point4(v, 0.0f); pd.has_default = true; pd.ms_def = pd.def; });
}
void ParamBlockDesc2::SetDefault(ParamID id, const Point4& v) {
    WithDef(*this, id, [&](ParamDef& pd) { pd.def.p4 = v; pd.has_default = true; pd.ms_def = pd.def; });
}
void ParamBlockDesc2::SetDefault(ParamID id, const Color& v) {
    WithDef(*this, id, [&](ParamDef& pd) { pd.def.p4 = Point4(v.r, v.g, v.b, 1.0f); pd.has_default = true; pd.ms_def = pd.def; });
}
void ParamBlockDesc2::SetDefault(ParamID id, const AColor& v) {
    WithDef(*this, id, [&](ParamDef& pd) { pd.def.p4 = Point4(v.r, v.g, v.b, v.a); pd.has_default = true; pd.ms_def = pd.def; });
}
void ParamBlockDesc2::SetDefault(ParamID id, const Matrix3& v) {
    WithDef(*this, id, [&](ParamDef& pd) { pd.def.m = v; pd.has_default = true; pd.ms_def = pd.def; });
}
void ParamBlockDesc2::SetDefault(ParamID id, const MCHAR* v) {
    WithDef(*this, id, [&](ParamDef& pd) { pd.def.s = v ? v : L""; pd.has_default = true; pd.ms_def = pd.def; });
}
void ParamBlockDesc2::SetRange(ParamID id, float low, float high) {
    WithDef(*this, id, [&](ParamDef& pd) {
        pd.range_low.f = low;
        pd.range_high.f = high;
        pd.range_low.i = static_cast<int>(low);
        pd.range_high.i = static_cast<int>(high);
        pd.has_range = true;
    });
}
void ParamBlockDesc2::SetRange(ParamID id, int low, int high) {
    WithDef(*this, id, [&](ParamDef& pd) {
        pd.range_low.i = low;
        pd.range_high.i = high;
        pd.range_low.f = static_cast<float>(low);
        pd.range_high.f = static_cast<float>(high);
        pd.has_range = true;
    });
}
void ParamBlockDesc2::SetAccessor(ParamID id, PBAccessor* a) { WithDef(*this, id, [&](ParamDef& pd) { pd.accessor = a; }); }
void ParamBlockDesc2::SetValidator(ParamID id, PBValidator* v) { WithDef(*this, id, [&](ParamDef& pd) { pd.validator = v; }); }
void ParamBlockDesc2::SetTabSize(ParamID id, int size) { WithDef(*this, id, [&](ParamDef& pd) { pd.tab_size = size; }); }
void ParamBlockDesc2::SetClassID(ParamID id, Class_ID cid) { WithDef(*this, id, [&](ParamDef& pd) { pd.classID = cid; }); }
void ParamBlockDesc2::SetSClassID(ParamID id, SClass_ID sid) { WithDef(*this, id, [&](ParamDef& pd) { pd.sclassID = sid; }); }

// ---------------------------------------------------------------------------------------------
// Lookup

ParamDef& ParamBlockDesc2::GetParamDef(ParamID id) {
    int i = IDtoIndex(id);
    return i >= 0 ? paramdefs[static_cast<size_t>(i)] : DummyDef();
}

int ParamBlockDesc2::NameToIndex(const MCHAR* name) const {
    if (!name || !*name) return -1;
    for (size_t i = 0; i < paramdefs.size(); ++i)
        if (!paramdefs[i].int_name.isNull() && host::EqualNoCase(paramdefs[i].int_name.str(), name))
            return static_cast<int>(i);
    return -1;
}

MSTR ParamBlockDesc2::GetLocalName(ParamID id, int tabIndex) const {
    int i = IDtoIndex(id);
    if (i < 0) return MSTR();
    const ParamDef& pd = paramdefs[static_cast<size_t>(i)];
    const MCHAR* s = cd && pd.local_name ? cd->GetRsrcString(pd.local_name) : nullptr;
    MSTR name = s && *s ? MSTR(s) : pd.int_name;
    if (tabIndex >= 0 && is_tab(pd.type)) name += MSTR(L" " + std::to_wstring(tabIndex + 1));
    return name;
}

MSTR ParamBlockDesc2::GetLocalName() const {
    const MCHAR* s = cd && local_name ? cd->GetRsrcString(local_name) : nullptr;
    return s && *s ? MSTR(s) : int_name;
}

// ---------------------------------------------------------------------------------------------
// ClassDesc2

void ClassDesc2::MakeAutoParamBlocks(ReferenceMaker* owner) {
    if (!owner) return;
    for (ParamBlockDesc2* d : pbDescs_) {
        if (!d || !(d->flags & P_AUTO_CONSTRUCT)) continue;
        IParamBlock2* pb = CreateParameterBlock2(d, owner);
        if (owner->ReplaceReference(d->ref_no, pb) != REF_SUCCEED) pb->MaybeAutoDelete();
    }
}

ParamBlockDesc2* ClassDesc2::GetParamBlockDescByID(BlockID id) const {
    for (ParamBlockDesc2* d : pbDescs_)
        if (d && d->ID == id) return d;
    return nullptr;
}

ParamBlockDesc2* ClassDesc2::GetParamBlockDescByName(const MCHAR* name) const {
    if (!name) return nullptr;
    for (ParamBlockDesc2* d : pbDescs_)
        if (d && host::EqualNoCase(d->int_name.str(), name)) return d;
    return nullptr;
}
