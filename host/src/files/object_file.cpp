#include "scenefile.h"
#include "custattrib.h"
#include "hold.h"
#include "iplugin.h"
#include "maxapi.h"

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <exception>
#include <unordered_map>
#include <unordered_set>

namespace host {

namespace {

void PutI32(ChunkWriter& w, int32_t v) {
    uint8_t b[4];
    for (int i = 0; i < 4; ++i) b[i] = static_cast<uint8_t>(static_cast<uint32_t>(v) >> (8 * i));
    w.Write(b, 4, nullptr);
}

int32_t GetI32(const uint8_t* p) {
    uint32_t v = static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
                 (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
    return static_cast<int32_t>(v);
}

std::wstring Hex(unsigned long v) {
    wchar_t buf[24];
    std::swprintf(buf, 24, L"0x%lX", v);
    return buf;
}

std::wstring Ids(SClass_ID s, Class_ID c) {
    return L"super class " + Hex(s) + L", class id " + Hex(c.PartA()) + L", " + Hex(c.PartB());
}

std::wstring ClassLabel(ReferenceTarget* o) {
    MSTR name = o->ClassName(false);
    std::wstring label = name.isNull() ? std::wstring(L"?") : name.str();
    return L"\"" + label + L"\" (" + Ids(o->SuperClassID(), o->ClassID()) + L")";
}

void SetError(std::wstring* error, const std::wstring& message) {
    if (error) *error = message;
}

// Follows references, custom attributes and extra links: what one object brings into a file.
void Neighbours(ReferenceTarget* o, const ExtraLinksFn& links, std::vector<ReferenceTarget*>& out) {
    out.clear();
    for (int i = 0; i < o->NumRefs(); ++i)
        if (ReferenceTarget* t = o->GetReference(i)) out.push_back(t);
    if (ICustAttribContainer* cc = o->GetCustAttribContainer())
        for (int i = 0; i < cc->GetNumCustAttribs(); ++i)
            if (CustAttrib* ca = cc->GetCustAttrib(i)) out.push_back(ca);
    if (links) links(o, out);
}

// Breadth first from the roots; the order is the file order.
std::vector<ReferenceTarget*> Reachable(const std::vector<ReferenceTarget*>& roots, const ExtraLinksFn& links) {
    std::vector<ReferenceTarget*> order;
    std::unordered_set<ReferenceTarget*> seen;
    for (ReferenceTarget* r : roots)
        if (r && seen.insert(r).second) order.push_back(r);
    std::vector<ReferenceTarget*> next;
    for (size_t i = 0; i < order.size(); ++i) {
        Neighbours(order[i], links, next);
        for (ReferenceTarget* t : next)
            if (seen.insert(t).second) order.push_back(t);
    }
    return order;
}

class SceneSave : public ChunkWriter {
public:
    int GetRefID(void* ptr) override {
        if (!ptr) return -1;
        auto it = index.find(ptr);
        return it == index.end() ? -1 : it->second;
    }
    // Both the ReferenceTarget address and the most derived one, for callers that pass either.
    std::unordered_map<const void*, int> index;
};

}  // namespace

bool WriteObjectFile(const std::vector<ReferenceTarget*>& roots, const SceneSettings& settings,
                     std::vector<uint8_t>& out, std::wstring* error, const ExtraLinksFn& links,
                     const ExtraChunksFn& extraChunks) {
    for (ReferenceTarget* r : roots) {
        if (!r) {
            SetError(error, L"a root of the file is null");
            return false;
        }
    }
    std::vector<ReferenceTarget*> objs = Reachable(roots, links);

    SceneSave w;
    std::vector<ClassDesc*> classes;
    std::vector<int32_t> classOf(objs.size());
    for (size_t i = 0; i < objs.size(); ++i) {
        ReferenceTarget* o = objs[i];
        ClassDesc* cd = ClassDirectory::Get().FindClass(o->SuperClassID(), o->ClassID());
        if (!cd) {
            SetError(error, L"class " + ClassLabel(o) + L" is not registered with the host, so it cannot be saved");
            return false;
        }
        auto at = std::find(classes.begin(), classes.end(), cd);
        classOf[i] = static_cast<int32_t>(at - classes.begin());
        if (at == classes.end()) classes.push_back(cd);
        w.index[static_cast<const void*>(o)] = static_cast<int>(i);
        w.index[dynamic_cast<const void*>(o)] = static_cast<int>(i);
    }

    w.WriteRaw(SCENE_FILE_MAGIC, sizeof SCENE_FILE_MAGIC);
    uint8_t version[4];
    for (int i = 0; i < 4; ++i) version[i] = static_cast<uint8_t>(SCENE_FILE_VERSION >> (8 * i));
    w.WriteRaw(version, 4);

    w.BeginChunk(scenefmt::CLASSES);
    for (ClassDesc* cd : classes) {
        w.BeginChunk(scenefmt::CLASS);
        PutI32(w, static_cast<int32_t>(cd->SuperClassID()));
        PutI32(w, static_cast<int32_t>(cd->ClassID().PartA()));
        PutI32(w, static_cast<int32_t>(cd->ClassID().PartB()));
        w.WriteWString(cd->NonLocalizedClassName());
        w.EndChunk();
    }
    w.EndChunk();

    w.BeginChunk(scenefmt::OBJECTS);
    for (size_t i = 0; i < objs.size() && w.Ok(); ++i) {
        ReferenceTarget* o = objs[i];
        w.BeginChunk(scenefmt::OBJECT);
        w.BeginChunk(scenefmt::OBJ_CLASS);
        PutI32(w, classOf[i]);
        w.EndChunk();

        size_t stateHeader = w.Bytes().size();
        w.BeginChunk(scenefmt::OBJ_STATE);
        int depth = w.CurChunkDepth();
        IOResult res = IO_ERROR;
        std::wstring thrown;
        try {
            res = o->Save(&w);
        } catch (const std::exception& e) {
            thrown = L": " + FromUtf8(e.what());
        } catch (...) {
            thrown = L": an exception";
        }
        if (res != IO_OK || !w.Ok() || w.CurChunkDepth() != depth) {
            std::wstring why = !thrown.empty()          ? thrown
                               : !w.Ok()                ? L": " + w.Error()
                               : w.CurChunkDepth() != depth ? std::wstring(L": it left its chunks unbalanced")
                                                        : std::wstring(L": its Save failed");
            SetError(error, L"object " + std::to_wstring(i) + L" of class " + ClassLabel(o) + L" could not be saved" + why);
            return false;
        }
        w.EndChunk();
        uint32_t word;
        std::memcpy(&word, w.Bytes().data() + stateHeader + 2, 4);
        if (!(word & CHUNK_CONTAINER_BIT) && word != 0) {
            SetError(error, L"object " + std::to_wstring(i) + L" of class " + ClassLabel(o) +
                                L" wrote data outside a chunk of its own");
            return false;
        }

        if (o->NumRefs() > 0) {
            w.BeginChunk(scenefmt::OBJ_REFS);
            PutI32(w, o->NumRefs());
            for (int r = 0; r < o->NumRefs(); ++r) PutI32(w, w.GetRefID(o->GetReference(r)));
            w.EndChunk();
        }
        ICustAttribContainer* cc = o->GetCustAttribContainer();
        if (cc && cc->GetNumCustAttribs() > 0) {
            std::vector<int32_t> cas;
            for (int c = 0; c < cc->GetNumCustAttribs(); ++c)
                if (CustAttrib* ca = cc->GetCustAttrib(c)) cas.push_back(w.GetRefID(ca));
            w.BeginChunk(scenefmt::OBJ_CUSTATTRIBS);
            PutI32(w, static_cast<int32_t>(cas.size()));
            for (int32_t v : cas) PutI32(w, v);
            w.EndChunk();
        }
        w.EndChunk();
    }
    w.EndChunk();

    w.BeginChunk(scenefmt::ROOTS);
    PutI32(w, static_cast<int32_t>(roots.size()));
    for (ReferenceTarget* r : roots) PutI32(w, w.GetRefID(r));
    w.EndChunk();

    w.BeginChunk(scenefmt::SETTINGS);
    PutI32(w, settings.time);
    PutI32(w, settings.animRange.Start());
    PutI32(w, settings.animRange.End());
    PutI32(w, settings.frameRate);
    PutI32(w, settings.ticksPerFrame);
    w.EndChunk();

    if (extraChunks && w.Ok()) {
        extraChunks(&w);
        if (w.CurChunkDepth() != 0) w.Fail(L"the scene's own chunks were left unbalanced");
    }

    if (!w.Ok()) {
        SetError(error, L"the scene could not be written: " + w.Error());
        return false;
    }
    out = std::move(w.Bytes());
    return true;
}

// ---------------------------------------------------------------------------------------------
// Reading

struct LoadedObjectFile::Impl {
    std::vector<ReferenceTarget*> objs;
    std::vector<AnimHandle> handles;
    std::vector<std::wstring> classNames;  // per object, for messages
    std::vector<ReferenceTarget*> roots;
    SceneSettings settings;
    DWORD version = 0;
    bool obsolete = false;
    bool done = false;
    std::vector<PostLoadCallback*> callbacks;
    std::vector<std::pair<int, void**>> backpatches;
    struct Top {
        USHORT id;
        const uint8_t* data;
        size_t size, offset;
    };
    std::vector<Top> others;  // top-level chunks for the layers above

    void* Addr(int i) const {
        return i >= 0 && static_cast<size_t>(i) < objs.size() ? static_cast<void*>(objs[static_cast<size_t>(i)])
                                                              : nullptr;
    }
};

namespace {

class SceneLoad : public ChunkReader {
public:
    SceneLoad(const uint8_t* data, size_t size, size_t base, LoadedObjectFile::Impl* ctx)
        : ChunkReader(data, size, base, ctx->version), ctx_(ctx) {}
    void* GetAddr(int refIndex) override { return ctx_->Addr(refIndex); }
    void RecordBackpatch(int refIndex, void** patchThis, DWORD) override {
        if (patchThis) ctx_->backpatches.emplace_back(refIndex, patchThis);
    }
    void RegisterPostLoadCallback(PostLoadCallback* cb) override {
        if (cb) ctx_->callbacks.push_back(cb);
    }
    void SetObsolete() override {
        ChunkReader::SetObsolete();
        ctx_->obsolete = true;
    }

private:
    LoadedObjectFile::Impl* ctx_;
};

struct Chunk {
    USHORT id;
    bool container;
    size_t start, end;  // payload, as file offsets
    size_t Length() const { return end - start; }
};

// Children of a verified container (file offsets).
std::vector<Chunk> Children(const uint8_t* file, size_t start, size_t end) {
    std::vector<Chunk> out;
    for (size_t p = start; p < end;) {
        uint16_t id = static_cast<uint16_t>(file[p] | (file[p + 1] << 8));
        uint32_t word = static_cast<uint32_t>(GetI32(file + p + 2));
        size_t len = word & ~CHUNK_CONTAINER_BIT;
        out.push_back({id, (word & CHUNK_CONTAINER_BIT) != 0, p + CHUNK_HEADER_SIZE, p + CHUNK_HEADER_SIZE + len});
        p += CHUNK_HEADER_SIZE + len;
    }
    return out;
}

std::wstring Where(const Chunk& c) {
    wchar_t buf[64];
    std::swprintf(buf, 64, L"chunk 0x%04X at byte %zu", c.id, c.start - CHUNK_HEADER_SIZE);
    return buf;
}

// One object as the file describes it, checked before anything is made.
struct ObjectRecord {
    int32_t cls = -1;
    Chunk state{0, true, 0, 0};
    std::vector<int32_t> refs, cas;
};

struct ClassRecord {
    ClassDesc* cd;
    std::wstring name;
};

class Reader {
public:
    Reader(const uint8_t* data, size_t size, LoadedObjectFile::Impl& ctx) : d_(data), size_(size), ctx_(ctx) {}

    bool Run(std::wstring& err);

private:
    bool Fail(std::wstring& err, const std::wstring& m) {
        err = m;
        return false;
    }
    // Reads "int32 count, count x int32" filling the whole chunk; values checked by the caller.
    bool IndexList(const Chunk& c, std::vector<int32_t>& out, std::wstring& err) {
        if (c.container || c.Length() < 4 || (c.Length() - 4) % 4 != 0 ||
            static_cast<size_t>(GetI32(d_ + c.start)) != (c.Length() - 4) / 4)
            return Fail(err, L"damaged index list in " + Where(c));
        out.resize((c.Length() - 4) / 4);
        for (size_t i = 0; i < out.size(); ++i) out[i] = GetI32(d_ + c.start + 4 + 4 * i);
        return true;
    }
    bool ParseClasses(const Chunk& c, std::wstring& err);
    bool ParseObjects(const Chunk& c, std::wstring& err);
    bool Build(std::wstring& err);
    bool RestoreReferences(std::wstring& err);
    bool CheckNoCycles(std::wstring& err);
    std::wstring ObjectLabel(size_t i) const {
        return L"object " + std::to_wstring(i) + L" (class \"" + ctx_.classNames[i] + L"\")";
    }

    const uint8_t* d_;
    size_t size_;
    LoadedObjectFile::Impl& ctx_;
    std::vector<ClassRecord> classes_;
    std::vector<ObjectRecord> records_;
    std::vector<int32_t> roots_;
    std::vector<AnimHandle> displaced_;  // objects a Load made that the file's references replaced
};

bool Reader::Run(std::wstring& err) {
    constexpr size_t kHeader = sizeof SCENE_FILE_MAGIC + 4;
    if (size_ < kHeader || std::memcmp(d_, SCENE_FILE_MAGIC, sizeof SCENE_FILE_MAGIC) != 0)
        return Fail(err, L"not a scene file (wrong or missing header)");
    DWORD version = static_cast<DWORD>(GetI32(d_ + sizeof SCENE_FILE_MAGIC));
    if (SceneFileMajor(version) != SceneFileMajor(SCENE_FILE_VERSION))
        return Fail(err, L"scene file format " + std::to_wstring(SceneFileMajor(version)) + L"." +
                             std::to_wstring(version & 0xFFFF) + L" cannot be read (this host reads format " +
                             std::to_wstring(SceneFileMajor(SCENE_FILE_VERSION)) + L".x)");
    ctx_.version = version;
    std::wstring why;
    if (!VerifyChunkList(d_ + kHeader, size_ - kHeader, kHeader, &why)) return Fail(err, L"damaged scene file: " + why);

    const Chunk* top[4] = {};
    const USHORT ids[4] = {scenefmt::CLASSES, scenefmt::OBJECTS, scenefmt::ROOTS, scenefmt::SETTINGS};
    const wchar_t* names[4] = {L"class directory", L"object list", L"root list", L"scene settings"};
    std::vector<Chunk> chunks = Children(d_, kHeader, size_);
    for (const Chunk& c : chunks) {
        bool mine = false;
        for (int k = 0; k < 4; ++k) {
            if (c.id != ids[k]) continue;
            if (top[k]) return Fail(err, L"the scene file has two " + std::wstring(names[k]) + L" chunks");
            top[k] = &c;
            mine = true;
        }
        if (!mine) ctx_.others.push_back({c.id, d_ + c.start, c.Length(), c.start});
    }
    for (int k = 0; k < 4; ++k)
        if (!top[k]) return Fail(err, L"the scene file has no " + std::wstring(names[k]));

    if (!ParseClasses(*top[0], err) || !ParseObjects(*top[1], err)) return false;

    if (!IndexList(*top[2], roots_, err)) return false;
    for (int32_t r : roots_)
        if (r < 0 || static_cast<size_t>(r) >= records_.size())
            return Fail(err, L"root index " + std::to_wstring(r) + L" is out of range (" +
                                 std::to_wstring(records_.size()) + L" objects)");

    const Chunk& s = *top[3];
    if (s.container || s.Length() != 20) return Fail(err, L"damaged scene settings in " + Where(s));
    SceneSettings& st = ctx_.settings;
    st.time = GetI32(d_ + s.start);
    st.animRange = Interval(GetI32(d_ + s.start + 4), GetI32(d_ + s.start + 8));
    st.frameRate = GetI32(d_ + s.start + 12);
    st.ticksPerFrame = GetI32(d_ + s.start + 16);
    if (st.animRange.Empty() || st.frameRate <= 0 || st.ticksPerFrame <= 0)
        return Fail(err, L"the scene settings hold an empty animation range or a frame rate that is not positive");

    return Build(err);
}

bool Reader::ParseClasses(const Chunk& c, std::wstring& err) {
    if (!c.container && c.Length() != 0) return Fail(err, L"damaged class directory in " + Where(c));
    for (const Chunk& k : Children(d_, c.start, c.end)) {
        if (k.id != scenefmt::CLASS) continue;
        if (k.container || k.Length() < 12) return Fail(err, L"damaged class entry in " + Where(k));
        SClass_ID sc = static_cast<SClass_ID>(GetI32(d_ + k.start));
        Class_ID id(static_cast<uint32_t>(GetI32(d_ + k.start + 4)), static_cast<uint32_t>(GetI32(d_ + k.start + 8)));
        const char* name = reinterpret_cast<const char*>(d_ + k.start + 12);
        size_t n = k.Length() - 12;
        const void* zero = n ? std::memchr(name, 0, n) : nullptr;
        std::wstring wname = FromUtf8(std::string_view(name, zero ? static_cast<const char*>(zero) - name : n));
        ClassDesc* cd = ClassDirectory::Get().FindClass(sc, id);
        if (!cd)
            return Fail(err, L"unknown class \"" + wname + L"\" (" + Ids(sc, id) +
                                 L"): the plug-in that defines it is not loaded");
        if (wname.empty()) wname = cd->NonLocalizedClassName() ? cd->NonLocalizedClassName() : L"?";
        classes_.push_back({cd, wname});
    }
    return true;
}

bool Reader::ParseObjects(const Chunk& c, std::wstring& err) {
    if (!c.container && c.Length() != 0) return Fail(err, L"damaged object list in " + Where(c));
    std::vector<Chunk> objs;
    for (const Chunk& o : Children(d_, c.start, c.end))
        if (o.id == scenefmt::OBJECT) objs.push_back(o);
    records_.resize(objs.size());
    const auto inRange = [&](int32_t v) { return v >= 0 && static_cast<size_t>(v) < objs.size(); };
    for (size_t i = 0; i < objs.size(); ++i) {
        const Chunk& o = objs[i];
        ObjectRecord& rec = records_[i];
        if (!o.container) return Fail(err, L"object " + std::to_wstring(i) + L" is damaged: " + Where(o));
        bool haveClass = false, haveState = false, haveRefs = false, haveCas = false;
        for (const Chunk& k : Children(d_, o.start, o.end)) {
            bool* seen = k.id == scenefmt::OBJ_CLASS   ? &haveClass
                         : k.id == scenefmt::OBJ_STATE ? &haveState
                         : k.id == scenefmt::OBJ_REFS  ? &haveRefs
                         : k.id == scenefmt::OBJ_CUSTATTRIBS ? &haveCas
                                                             : nullptr;
            if (!seen) continue;
            if (*seen) return Fail(err, L"object " + std::to_wstring(i) + L" repeats " + Where(k));
            *seen = true;
            if (k.id == scenefmt::OBJ_CLASS) {
                if (k.container || k.Length() != 4) return Fail(err, L"damaged class index in " + Where(k));
                rec.cls = GetI32(d_ + k.start);
                if (rec.cls < 0 || static_cast<size_t>(rec.cls) >= classes_.size())
                    return Fail(err, L"object " + std::to_wstring(i) + L" names class index " +
                                         std::to_wstring(rec.cls) + L", out of range (" +
                                         std::to_wstring(classes_.size()) + L" classes)");
            } else if (k.id == scenefmt::OBJ_STATE) {
                if (!k.container && k.Length() != 0) return Fail(err, L"damaged object state in " + Where(k));
                rec.state = k;
            } else if (k.id == scenefmt::OBJ_REFS) {
                if (!IndexList(k, rec.refs, err)) return false;
                for (int32_t r : rec.refs)
                    if (r != -1 && !inRange(r))
                        return Fail(err, L"object " + std::to_wstring(i) + L" refers to object " + std::to_wstring(r) +
                                             L", out of range (" + std::to_wstring(objs.size()) + L" objects)");
            } else {
                if (!IndexList(k, rec.cas, err)) return false;
                for (int32_t r : rec.cas)
                    if (!inRange(r))
                        return Fail(err, L"object " + std::to_wstring(i) + L" lists custom attribute " +
                                             std::to_wstring(r) + L", out of range (" + std::to_wstring(objs.size()) +
                                             L" objects)");
            }
        }
        if (!haveClass || !haveState)
            return Fail(err, L"object " + std::to_wstring(i) + L" has no " + (haveClass ? L"state" : L"class"));
    }
    // Custom attributes must be custom attributes; known from the class before anything is made.
    for (size_t i = 0; i < records_.size(); ++i)
        for (int32_t r : records_[i].cas)
            if (classes_[static_cast<size_t>(records_[static_cast<size_t>(r)].cls)].cd->SuperClassID() !=
                CUST_ATTRIB_CLASS_ID)
                return Fail(err, L"object " + std::to_wstring(i) + L" lists object " + std::to_wstring(r) +
                                     L" as a custom attribute, but it is not one");
    return true;
}

bool Reader::Build(std::wstring& err) {
    ctx_.objs.reserve(records_.size());
    for (size_t i = 0; i < records_.size(); ++i) {
        const ClassRecord& cr = classes_[static_cast<size_t>(records_[i].cls)];
        ctx_.classNames.push_back(cr.name);
        void* made = nullptr;
        try {
            made = cr.cd->Create(TRUE);
        } catch (const std::exception& e) {
            return Fail(err, L"class \"" + cr.name + L"\" failed to make an object: " + FromUtf8(e.what()));
        }
        if (!made) return Fail(err, L"class \"" + cr.name + L"\" made no object");
        auto* a = static_cast<Animatable*>(made);
        auto* t = dynamic_cast<ReferenceTarget*>(a);
        if (!t) {
            a->DeleteThis();
            return Fail(err, L"class \"" + cr.name + L"\" does not make reference targets, so it cannot be in a file");
        }
        ctx_.objs.push_back(t);
        ctx_.handles.push_back(Animatable::GetHandleByAnim(t));
    }

    for (size_t i = 0; i < records_.size(); ++i) {
        const Chunk& st = records_[i].state;
        SceneLoad in(d_ + st.start, st.Length(), st.start, &ctx_);
        IOResult res = IO_ERROR;
        std::wstring thrown;
        try {
            res = ctx_.objs[i]->Load(&in);
        } catch (const std::exception& e) {
            thrown = FromUtf8(e.what());
        } catch (...) {
            thrown = L"an exception";
        }
        if (res != IO_OK || !in.Ok() || !thrown.empty())
            return Fail(err, ObjectLabel(i) + L" could not be loaded: " +
                                 (!thrown.empty() ? thrown : !in.Ok() ? in.Error() : std::wstring(L"its data is damaged")));
    }

    if (!RestoreReferences(err) || !CheckNoCycles(err)) return false;

    for (size_t i = 0; i < records_.size(); ++i) {
        if (records_[i].cas.empty()) continue;
        ReferenceTarget* o = ctx_.objs[i];
        o->AllocCustAttribContainer();
        ICustAttribContainer* cc = o->GetCustAttribContainer();
        while (cc->GetNumCustAttribs() > 0) cc->RemoveCustAttrib(cc->GetNumCustAttribs() - 1);
        for (int32_t r : records_[i].cas) {
            auto* ca = dynamic_cast<CustAttrib*>(ctx_.objs[static_cast<size_t>(r)]);
            int before = cc->GetNumCustAttribs();
            if (ca) cc->AppendCustAttrib(ca);
            if (!ca || cc->GetNumCustAttribs() != before + 1)
                return Fail(err, ObjectLabel(i) + L" cannot take object " + std::to_wstring(r) +
                                     L" as a custom attribute");
        }
    }

    for (auto& [index, patch] : ctx_.backpatches) *patch = ctx_.Addr(index);
    ctx_.backpatches.clear();
    for (int32_t r : roots_) ctx_.roots.push_back(ctx_.objs[static_cast<size_t>(r)]);
    // What a Load made and the file replaced belongs to nobody now.
    for (AnimHandle h : displaced_)
        if (auto* t = dynamic_cast<ReferenceTarget*>(Animatable::GetAnimByHandle(h))) t->MaybeAutoDelete();
    return true;
}

bool Reader::RestoreReferences(std::wstring& err) {
    std::unordered_set<ReferenceTarget*> made(ctx_.objs.begin(), ctx_.objs.end());
    for (size_t i = 0; i < records_.size(); ++i) {
        ReferenceTarget* o = ctx_.objs[i];
        const std::vector<int32_t>& refs = records_[i].refs;
        if (static_cast<int>(refs.size()) > o->NumRefs())
            return Fail(err, ObjectLabel(i) + L" has " + std::to_wstring(refs.size()) +
                                 L" references in the file but only " + std::to_wstring(o->NumRefs()) +
                                 L" after loading");
        for (size_t j = 0; j < refs.size(); ++j) {
            ReferenceTarget* t = refs[j] < 0 ? nullptr : ctx_.objs[static_cast<size_t>(refs[j])];
            int slot = static_cast<int>(j);
            ReferenceTarget* old = o->GetReference(slot);
            if (old == t) continue;
            o->host_SetReferenceRaw(slot, t);
            if (old && !made.count(old)) displaced_.push_back(Animatable::GetHandleByAnim(old));
            if (o->GetReference(slot) != t)
                return Fail(err, ObjectLabel(i) + L" refused object " + std::to_wstring(refs[j]) + L" in reference " +
                                     std::to_wstring(slot));
            if (!t) continue;
            try {
                t->RefAdded(o);
            } catch (const std::exception& e) {
                return Fail(err, ObjectLabel(static_cast<size_t>(refs[j])) + L" failed when referenced: " +
                                     FromUtf8(e.what()));
            }
        }
    }
    return true;
}

// Real references never loop in a scene the host built; a file that loops them would
// make evaluation recurse without end.
bool Reader::CheckNoCycles(std::wstring& err) {
    const size_t n = ctx_.objs.size();
    std::vector<uint8_t> state(n, 0);  // 0 new, 1 on the path, 2 done
    std::vector<std::pair<size_t, size_t>> stack;  // object, next slot
    for (size_t s = 0; s < n; ++s) {
        if (state[s]) continue;
        stack.emplace_back(s, 0);
        state[s] = 1;
        while (!stack.empty()) {
            auto& [i, j] = stack.back();
            const std::vector<int32_t>& refs = records_[i].refs;
            if (j == refs.size()) {
                state[i] = 2;
                stack.pop_back();
                continue;
            }
            int32_t r = refs[j++];
            if (r < 0) continue;
            ReferenceTarget* t = ctx_.objs[static_cast<size_t>(r)];
            if (!ctx_.objs[i]->IsRealDependency(t)) continue;
            size_t k = static_cast<size_t>(r);
            if (state[k] == 1)
                return Fail(err, L"the references of " + ObjectLabel(k) + L" loop back to it");
            if (state[k] == 0) {
                state[k] = 1;
                stack.emplace_back(k, 0);
            }
        }
    }
    return true;
}

void DeleteByHandles(const std::vector<AnimHandle>& handles) {
    for (AnimHandle h : handles) {
        auto* m = dynamic_cast<ReferenceMaker*>(Animatable::GetAnimByHandle(h));
        if (m && !m->TestAFlag(A_IS_DELETED)) m->DeleteMe();
    }
}

// The hold stays off while a file is read: no part of a load may be undone on its own.
struct HoldSuspended {
    HoldSuspended() { theHold.Suspend(); }
    ~HoldSuspended() { theHold.Resume(); }
};

}  // namespace

LoadedObjectFile::LoadedObjectFile() : impl(std::make_unique<Impl>()) {}

LoadedObjectFile::~LoadedObjectFile() {
    if (!impl->done) DeleteAll();
}

const std::vector<ReferenceTarget*>& LoadedObjectFile::Roots() const { return impl->roots; }
const SceneSettings& LoadedObjectFile::Settings() const { return impl->settings; }
DWORD LoadedObjectFile::FileVersion() const { return impl->version; }
bool LoadedObjectFile::Obsolete() const { return impl->obsolete; }

const uint8_t* LoadedObjectFile::TopChunk(USHORT id, size_t* size, size_t* fileOffset) const {
    for (const Impl::Top& t : impl->others) {
        if (t.id != id) continue;
        if (size) *size = t.size;
        if (fileOffset) *fileOffset = t.offset;
        return t.data;
    }
    return nullptr;
}

ReferenceTarget* LoadedObjectFile::Object(int i) const { return static_cast<ReferenceTarget*>(impl->Addr(i)); }

void LoadedObjectFile::DeleteAll() {
    HoldSuspended off;
    DeleteByHandles(impl->handles);
    impl->objs.clear();
    impl->handles.clear();
    impl->roots.clear();
    impl->callbacks.clear();
    impl->done = true;
}

void LoadedObjectFile::Finish(const ExtraLinksFn& links) {
    if (impl->done) return;
    impl->done = true;
    {
        HoldSuspended off;
        SceneLoad in(nullptr, 0, 0, impl.get());
        // Callbacks may register more; each runs once, lower priorities first.
        size_t ran = 0;
        while (ran < impl->callbacks.size()) {
            std::vector<PostLoadCallback*> batch(impl->callbacks.begin() + static_cast<std::ptrdiff_t>(ran),
                                                 impl->callbacks.end());
            ran = impl->callbacks.size();
            std::stable_sort(batch.begin(), batch.end(),
                             [](PostLoadCallback* a, PostLoadCallback* b) { return a->Priority() < b->Priority(); });
            // The scene is being replaced when callbacks run, so one that throws cannot undo
            // the load any more: it is reported and the others still run.
            for (PostLoadCallback* cb : batch) {
                try {
                    cb->proc(&in);
                } catch (const std::exception& e) {
                    Listener::WriteLine(L"A post-load callback failed: " + FromUtf8(e.what()));
                } catch (...) {
                    Listener::WriteLine(L"A post-load callback failed.");
                }
            }
        }
        impl->callbacks.clear();

        // A file may hold objects nothing reachable needs; keep what is reachable locked
        // while the rest goes, so that a node held only by its parent is not released with it.
        std::vector<ReferenceTarget*> keep = Reachable(impl->roots, links);
        std::unordered_set<ReferenceTarget*> keepSet(keep.begin(), keep.end());
        std::vector<ReferenceTarget*> locked;
        for (ReferenceTarget* t : keep)
            if (!t->TestAFlag(A_LOCK_TARGET)) {
                t->SetAFlag(A_LOCK_TARGET);
                locked.push_back(t);
            }
        std::vector<AnimHandle> drop;
        for (size_t i = 0; i < impl->objs.size(); ++i)
            if (!keepSet.count(impl->objs[i])) drop.push_back(impl->handles[i]);
        DeleteByHandles(drop);
        for (ReferenceTarget* t : locked) t->ClearAFlag(A_LOCK_TARGET);
    }
    impl->objs.clear();
    impl->handles.clear();
}

bool ReadObjectFile(const uint8_t* data, size_t size, LoadedObjectFile& out, std::wstring* error) {
    out.DeleteAll();
    out.impl = std::make_unique<LoadedObjectFile::Impl>();
    std::wstring err;
    bool ok;
    {
        HoldSuspended off;
        Reader reader(data, size, *out.impl);
        ok = reader.Run(err);
    }
    if (!ok) {
        out.DeleteAll();
        SetError(error, err);
    }
    return ok;
}

}  // namespace host
