#include "iparamb2.h"
#include "iosave.h"

#include <cstring>

// Chunk ids; the layout is described in iparamb2.h.
namespace {
constexpr USHORT PB_HEADER_CHUNK = 0x0100;
constexpr USHORT PB_PARAM_CHUNK = 0x0200;
constexpr USHORT PB_PARAM_HEAD_CHUNK = 0x0210;
constexpr USHORT PB_PARAM_VALUES_CHUNK = 0x0220;
constexpr USHORT PB_PARAM_STRING_CHUNK = 0x0230;

bool Saved(const ParamDef& pd) { return !(pd.flags & (P_TRANSIENT | P_OBSOLETE)); }

bool IsString(int type) { return base_type(type) == TYPE_STRING || base_type(type) == TYPE_FILENAME; }

// Floats a value of the type takes in the values chunk (0 for int and pointer types).
int FloatCount(int type) {
    if (float_type(type)) return 1;
    switch (base_type(type)) {
        case TYPE_POINT2: return 2;
        case TYPE_POINT3: case TYPE_RGBA: case TYPE_HSV: return 3;
        case TYPE_POINT4: case TYPE_FRGBA: return 4;
        case TYPE_MATRIX3: return 12;
        default: return 0;
    }
}

template <class T>
void Put(ISave* s, const T& v) {
    s->Write(&v, sizeof(T), nullptr);
}

template <class T>
bool Get(ILoad* l, T& v) {
    return l->Read(&v, sizeof(T), nullptr) == IO_OK;
}

void PutFloats(ISave* s, const PB2Value& e, int type) {
    float f[12];
    const int n = FloatCount(type);
    if (n == 1) f[0] = e.f;
    else if (n == 12)
        for (int r = 0; r < 4; ++r) {
            const Point3 row = e.m.GetRow(r);
            f[r * 3] = row.x;
            f[r * 3 + 1] = row.y;
            f[r * 3 + 2] = row.z;
        }
    else {
        const float p[4] = {e.p4.x, e.p4.y, e.p4.z, e.p4.w};
        std::memcpy(f, p, sizeof(float) * static_cast<size_t>(n));
    }
    s->Write(f, static_cast<ULONG>(sizeof(float) * static_cast<size_t>(n)), nullptr);
}

bool GetFloats(ILoad* l, PB2Value& e, int type) {
    float f[12];
    const int n = FloatCount(type);
    if (l->Read(f, static_cast<ULONG>(sizeof(float) * static_cast<size_t>(n)), nullptr) != IO_OK) return false;
    if (n == 1) e.f = f[0];
    else if (n == 12)
        for (int r = 0; r < 4; ++r) e.m.SetRow(r, Point3(f[r * 3], f[r * 3 + 1], f[r * 3 + 2]));
    else {
        float p[4] = {e.p4.x, e.p4.y, e.p4.z, e.p4.w};
        std::memcpy(p, f, sizeof(float) * static_cast<size_t>(n));
        e.p4 = Point4(p[0], p[1], p[2], p[3]);
    }
    return true;
}
}  // namespace

IOResult IParamBlock2::Save(ISave* isave) {
    if (!desc_) return IO_ERROR;
    ClassDesc2* cd = desc_->cd;
    int32_t saved = 0;
    for (const ParamDef& pd : desc_->paramdefs)
        if (Saved(pd)) ++saved;
    isave->BeginChunk(PB_HEADER_CHUNK);
    Put<uint32_t>(isave, cd ? cd->SuperClassID() : 0u);
    Put<uint32_t>(isave, cd ? static_cast<uint32_t>(cd->ClassID().PartA()) : 0u);
    Put<uint32_t>(isave, cd ? static_cast<uint32_t>(cd->ClassID().PartB()) : 0u);
    Put<int32_t>(isave, desc_->ID);
    Put<int32_t>(isave, desc_->version);
    Put<int32_t>(isave, saved);
    isave->EndChunk();

    for (size_t i = 0; i < params_.size(); ++i) {
        const ParamDef& pd = desc_->paramdefs[i];
        if (!Saved(pd)) continue;
        const Tab<PB2Value>& tab = params_[i];
        isave->BeginChunk(PB_PARAM_CHUNK);
        isave->BeginChunk(PB_PARAM_HEAD_CHUNK);
        Put<int16_t>(isave, pd.ID);
        Put<int32_t>(isave, pd.type);
        Put<int32_t>(isave, tab.Count());
        isave->EndChunk();
        if (IsString(pd.type)) {
            for (const PB2Value& e : tab) {
                isave->BeginChunk(PB_PARAM_STRING_CHUNK);
                isave->WriteWString(e.s.data());
                isave->EndChunk();
            }
        } else if (tab.Count() > 0 && (FloatCount(pd.type) > 0 || int_type(pd.type) ||
                                       (reftarg_type(pd.type) && !UsesRefSlot(pd)))) {
            isave->BeginChunk(PB_PARAM_VALUES_CHUNK);
            for (const PB2Value& e : tab) {
                if (int_type(pd.type)) Put<int32_t>(isave, e.i);
                else if (FloatCount(pd.type) > 0) PutFloats(isave, e, pd.type);
                else Put<int32_t>(isave, isave->GetRefID(e.r));
            }
            isave->EndChunk();
        }
        isave->EndChunk();
    }
    return IO_OK;
}

IOResult IParamBlock2::Load(ILoad* iload) {
    bool header = false;
    IOResult res = IO_OK;
    while (res == IO_OK && iload->OpenChunk() == IO_OK) {
        switch (iload->CurChunkID()) {
            case PB_HEADER_CHUNK: {
                uint32_t sc = 0, a = 0, b = 0;
                int32_t blockId = 0, version = 0, count = 0;
                if (!Get(iload, sc) || !Get(iload, a) || !Get(iload, b) || !Get(iload, blockId) ||
                    !Get(iload, version) || !Get(iload, count)) {
                    res = IO_ERROR;
                    break;
                }
                auto* cd = dynamic_cast<ClassDesc2*>(host::ClassDirectory::Get().FindClass(sc, Class_ID(a, b)));
                ParamBlockDesc2* d = cd ? cd->GetParamBlockDescByID(blockId) : nullptr;
                if (!d) {
                    res = IO_ERROR;
                    break;
                }
                desc_ = d;
                InitDefaults();
                header = true;
                break;
            }
            case PB_PARAM_CHUNK: {
                if (!header) {
                    res = IO_ERROR;
                    break;
                }
                int index = -1;
                int strings = 0;
                bool skip = false;
                while (res == IO_OK && iload->OpenChunk() == IO_OK) {
                    const USHORT id = iload->CurChunkID();
                    if (id == PB_PARAM_HEAD_CHUNK) {
                        int16_t pid = 0;
                        int32_t type = 0, count = 0;
                        if (!Get(iload, pid) || !Get(iload, type) || !Get(iload, count) || count < 0) {
                            res = IO_ERROR;
                        } else {
                            index = IDtoIndex(pid);
                            // A parameter that is gone or changed type keeps its default.
                            skip = index < 0 || root_type(type) != root_type(desc_->paramdefs[static_cast<size_t>(index)].type) ||
                                   (!is_tab(type) && count != 1);
                            if (!skip) {
                                const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
                                Tab<PB2Value>& tab = params_[static_cast<size_t>(index)];
                                tab.SetCount(count);
                                for (PB2Value& e : tab) InitEntry(pd, e);
                                placeholders_[static_cast<size_t>(index)].clear();
                                placeholders_[static_cast<size_t>(index)].resize(static_cast<size_t>(count));
                            }
                        }
                    } else if (!skip && index >= 0 && id == PB_PARAM_VALUES_CHUNK) {
                        const ParamDef& pd = desc_->paramdefs[static_cast<size_t>(index)];
                        for (PB2Value& e : params_[static_cast<size_t>(index)]) {
                            bool ok;
                            if (int_type(pd.type)) {
                                int32_t v = 0;
                                ok = Get(iload, v);
                                e.i = v;
                            } else if (FloatCount(pd.type) > 0) {
                                ok = GetFloats(iload, e, pd.type);
                            } else {
                                int32_t ref = -1;
                                ok = Get(iload, ref);
                                e.r = ref < 0 ? nullptr : static_cast<ReferenceTarget*>(iload->GetAddr(ref));
                            }
                            if (!ok) {
                                res = IO_ERROR;
                                break;
                            }
                        }
                    } else if (!skip && index >= 0 && id == PB_PARAM_STRING_CHUNK) {
                        Tab<PB2Value>& tab = params_[static_cast<size_t>(index)];
                        MSTR s;
                        if (iload->ReadWString(s) != IO_OK) res = IO_ERROR;
                        else if (strings < tab.Count()) tab[strings++].s = s;
                    }
                    if (iload->CloseChunk() != IO_OK) res = IO_ERROR;
                }
                break;
            }
            default:
                break;
        }
        if (iload->CloseChunk() != IO_OK) res = IO_ERROR;
    }
    if (res == IO_OK && !header) res = IO_ERROR;
    Renumber();
    return res;
}
