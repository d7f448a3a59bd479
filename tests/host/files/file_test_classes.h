// Small classes that save and load through chunks, and helpers to find chunks in a file.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <vector>
#include "max.h"
#include "object.h"
#include "scenefile.h"

namespace filetest {

constexpr Class_ID GADGET_CLASS_ID(0x7E570001, 0x1);
constexpr Class_ID TAG_CLASS_ID(0x7E570002, 0x2);
constexpr Class_ID GHOST_CLASS_ID(0x7E570003, 0x3);
constexpr Class_ID MARKER_CLASS_ID(0x7E570004, 0x4);

// What Gadget::Save does, to test how the saver copes with classes that misbehave.
enum class SaveMode { Normal, LeaveChunkOpen, DataOutsideChunk, Throw };

// A reference target with a value, a label and a reference table whose size is saved in a
// chunk (so Load must size it before references are restored).
class Gadget : public ReferenceTarget {
public:
    float value = 0.0f;
    MSTR label;
    std::vector<ReferenceTarget*> refs;
    int refAddedCount = 0;
    // Values that make Load fail, one way or the other.
    static constexpr float kFailLoad = -999.0f;
    static constexpr float kThrowOnLoad = -998.0f;
    // Sum of the values of the gadgets referred to, as a post-load callback saw it.
    float seenAfterLoad = -1.0f;
    static SaveMode saveMode;
    static bool registerCallback;
    static bool throwingCallback;  // also registers one that throws, ahead of the others

    SClass_ID SuperClassID() override { return REF_TARGET_CLASS_ID; }
    Class_ID ClassID() override { return GADGET_CLASS_ID; }
    int NumRefs() override { return static_cast<int>(refs.size()); }
    RefTargetHandle GetReference(int i) override {
        return i >= 0 && i < NumRefs() ? refs[static_cast<size_t>(i)] : nullptr;
    }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    void RefAdded(RefMakerHandle) override { ++refAddedCount; }

    float RefSum() {
        float s = 0.0f;
        for (ReferenceTarget* t : refs)
            if (auto* g = dynamic_cast<Gadget*>(t)) s += g->value;
        return s;
    }

    IOResult Save(ISave* isave) override {
        ULONG n = 0;
        if (saveMode == SaveMode::Throw) throw MaxSDK::Util::TabOutOfRangeException();
        if (saveMode == SaveMode::DataOutsideChunk) return isave->Write(&value, sizeof value, &n);
        isave->BeginChunk(0);
        isave->Write(&value, sizeof value, &n);
        isave->EndChunk();
        isave->BeginChunk(1);
        isave->WriteWString(label);
        isave->EndChunk();
        isave->BeginChunk(2);
        int32_t count = NumRefs();
        isave->Write(&count, sizeof count, &n);
        isave->EndChunk();
        isave->BeginChunk(3);  // a nested chunk the loader only skips
        isave->BeginChunk(30);
        isave->WriteCString("skip me");
        isave->EndChunk();
        isave->EndChunk();
        if (saveMode == SaveMode::LeaveChunkOpen) isave->BeginChunk(4);
        return IO_OK;
    }

    IOResult Load(ILoad* iload) override {
        ULONG n = 0;
        IOResult res;
        while ((res = iload->OpenChunk()) == IO_OK) {
            switch (iload->CurChunkID()) {
                case 0: res = iload->Read(&value, sizeof value, &n); break;
                case 1: res = iload->ReadWStringChunk(label); break;
                case 2: {
                    int32_t count = 0;
                    res = iload->Read(&count, sizeof count, &n);
                    if (res == IO_OK && (count < 0 || count > 1000)) res = IO_ERROR;
                    if (res == IO_OK) refs.assign(static_cast<size_t>(count), nullptr);
                    break;
                }
                default: break;
            }
            iload->CloseChunk();
            if (res != IO_OK) return IO_ERROR;
        }
        if (value == kThrowOnLoad) throw MaxSDK::Util::TabOutOfRangeException();
        if (res == IO_ERROR || value == kFailLoad) return IO_ERROR;
        if (registerCallback) iload->RegisterPostLoadCallback(new SumCallback(this));
        if (throwingCallback) iload->RegisterPostLoadCallback(new ThrowingCallback);
        return IO_OK;
    }

    void SetRef(int i, ReferenceTarget* t) {
        if (i >= NumRefs()) refs.resize(static_cast<size_t>(i) + 1, nullptr);
        ReplaceReference(i, t);
    }

protected:
    void SetReference(int i, RefTargetHandle t) override {
        if (i >= 0 && i < NumRefs()) refs[static_cast<size_t>(i)] = t;
    }

private:
    class SumCallback : public PostLoadCallback {
    public:
        explicit SumCallback(Gadget* g) : g_(g) {}
        void proc(ILoad*) override {
            g_->seenAfterLoad = g_->RefSum();
            delete this;
        }

    private:
        Gadget* g_;
    };
    class ThrowingCallback : public PostLoadCallback {
    public:
        void proc(ILoad*) override {
            delete this;
            throw MaxSDK::Util::TabOutOfRangeException();
        }
        int Priority() override { return 0; }
    };
};

// A custom attribute with one integer.
class Tag : public CustAttrib {
public:
    int32_t number = 0;
    Class_ID ClassID() override { return TAG_CLASS_ID; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage, BOOL) override {
        return REF_SUCCEED;
    }
    IOResult Save(ISave* isave) override {
        isave->BeginChunk(7);
        isave->Write(&number, sizeof number, nullptr);
        isave->EndChunk();
        return IO_OK;
    }
    IOResult Load(ILoad* iload) override {
        while (iload->OpenChunk() == IO_OK) {
            if (iload->CurChunkID() == 7 && iload->Read(&number, sizeof number, nullptr) != IO_OK) return IO_ERROR;
            iload->CloseChunk();
        }
        return IO_OK;
    }
};

// A class the host knows only while its "library" is loaded.
class Ghost : public Gadget {
public:
    Class_ID ClassID() override { return GHOST_CLASS_ID; }
};

// A helper object with a size and a reference to another scene object (a node it aims at).
class Marker : public HelperObject {
public:
    float size = 1.0f;
    ReferenceTarget* aim = nullptr;

    Class_ID ClassID() override { return MARKER_CLASS_ID; }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? aim : nullptr; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage message, BOOL) override {
        if (message == REFMSG_TARGET_DELETED) aim = nullptr;
        return REF_SUCCEED;
    }
    IOResult Save(ISave* isave) override {
        isave->BeginChunk(1);
        isave->Write(&size, sizeof size, nullptr);
        isave->EndChunk();
        return IO_OK;
    }
    IOResult Load(ILoad* iload) override {
        while (iload->OpenChunk() == IO_OK) {
            if (iload->CurChunkID() == 1 && iload->Read(&size, sizeof size, nullptr) != IO_OK) return IO_ERROR;
            iload->CloseChunk();
        }
        return IO_OK;
    }

protected:
    void SetReference(int i, RefTargetHandle t) override {
        if (i == 0) aim = t;
    }
};

template <class T, SClass_ID SC>
class TestDesc : public ClassDesc {
public:
    TestDesc(Class_ID id, const MCHAR* name) : id_(id), name_(name) {}
    int IsPublic() override { return 1; }
    void* Create(BOOL) override { return new T(); }
    const MCHAR* ClassName() override { return name_; }
    SClass_ID SuperClassID() override { return SC; }
    Class_ID ClassID() override { return id_; }
    const MCHAR* Category() override { return L"Tests"; }

private:
    Class_ID id_;
    const MCHAR* name_;
};

inline TestDesc<Gadget, REF_TARGET_CLASS_ID> gadgetDesc(GADGET_CLASS_ID, L"Gadget");
inline TestDesc<Tag, CUST_ATTRIB_CLASS_ID> tagDesc(TAG_CLASS_ID, L"Tag");
inline TestDesc<Ghost, REF_TARGET_CLASS_ID> ghostDesc(GHOST_CLASS_ID, L"Ghost");
inline TestDesc<Marker, HELPER_CLASS_ID> markerDesc(MARKER_CLASS_ID, L"Marker");
inline SaveMode Gadget::saveMode = SaveMode::Normal;
inline bool Gadget::registerCallback = false;
inline bool Gadget::throwingCallback = false;

// Registers the classes (again, after a test unloaded the ghost) and resets the switches.
inline void RegisterClasses() {
    host::ClassDirectory::Get().AddClass(&gadgetDesc, L"filetest");
    host::ClassDirectory::Get().AddClass(&tagDesc, L"filetest");
    host::ClassDirectory::Get().AddClass(&markerDesc, L"filetest");
    host::ClassDirectory::Get().AddClass(&ghostDesc, L"ghostlib");
    Gadget::saveMode = SaveMode::Normal;
    Gadget::registerCallback = false;
    Gadget::throwingCallback = false;
}

// The header offset of a chunk in a scene file, found by (id, occurrence) pairs from the top.
inline size_t ChunkAt(const std::vector<uint8_t>& b, std::vector<std::pair<USHORT, int>> path) {
    constexpr size_t kBody = sizeof host::SCENE_FILE_MAGIC + 4;
    host::ChunkReader r(b.data() + kBody, b.size() - kBody, kBody);
    for (auto [id, nth] : path) {
        int seen = 0;
        bool found = false;
        while (!found && r.OpenChunk() == IO_OK) {
            found = r.CurChunkID() == id && seen++ == nth;
            if (!found) r.CloseChunk();
        }
        if (!found) {
            ADD_FAILURE() << "no chunk " << std::hex << id;
            return 0;
        }
    }
    return r.CurChunkOffset() - host::CHUNK_HEADER_SIZE;
}

inline void PutI32At(std::vector<uint8_t>& b, size_t at, int32_t v) { std::memcpy(b.data() + at, &v, 4); }

inline std::string Narrow(const std::wstring& w) { return host::ToUtf8(w); }

}  // namespace filetest
