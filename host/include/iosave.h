// ISave and ILoad: the chunk streams of scene files.
//
// A stream is a list of chunks. Each chunk has a 16-bit id and either holds data or a
// list of sub-chunks, nested to any depth; never both. An object's Save writes its own
// state as chunks (BeginChunk first, then Write inside it); its Load reads them back with
// OpenChunk / Read / CloseChunk and skips what it does not know by closing it.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>
#include "ref.h"

class ILoad;

// Chunk ids below this are the classes' own; the scene file keeps its bookkeeping above.
constexpr USHORT CHUNK_ID_RESERVED = 0xF000;

enum ChunkType { UNKNOWN_CHUNK = 0, DATA_CHUNK = 1, CONTAINER_CHUNK = 2 };

class ISave {
public:
    virtual ~ISave() = default;

    // Opens a chunk inside the current one. Its kind is fixed by what comes next:
    // Write makes it a data chunk, BeginChunk a container.
    virtual void BeginChunk(USHORT id) = 0;
    // Closes the innermost open chunk; unbalanced calls fail the save.
    virtual void EndChunk() = 0;
    // Number of chunks open now (0 at the top of the stream).
    virtual int CurChunkDepth() = 0;

    // Appends raw bytes to the open data chunk. Writing into a container or outside any
    // chunk fails the save and answers IO_ERROR. nwritten may be null.
    virtual IOResult Write(const void* buf, ULONG nbytes, ULONG* nwritten) = 0;
    // A string written in the current data chunk: UTF-8 with a terminating zero byte.
    virtual IOResult WriteWString(const MCHAR* str) = 0;
    virtual IOResult WriteCString(const char* str) = 0;

    // The file index of an object being saved, or -1 when ptr is null or not in the file.
    virtual int GetRefID(void* ptr) = 0;
    // The format version the file is written in (host::SCENE_FILE_VERSION).
    virtual DWORD SavingVersion() = 0;
};

// Runs once every object of a file is loaded and every reference restored.
// The host does not delete the callback; one made with new deletes itself in proc.
class PostLoadCallback {
public:
    virtual ~PostLoadCallback() = default;
    virtual void proc(ILoad* iload) = 0;
    // Lower priorities run first; equal ones in registration order.
    virtual int Priority() { return 5; }
};

class ILoad {
public:
    virtual ~ILoad() = default;

    // Opens the next chunk of the current list: IO_OK, IO_END when the list is done (an empty
    // chunk counts as an empty list), or IO_ERROR (inside a data chunk, or a damaged header).
    virtual IOResult OpenChunk() = 0;
    // Leaves the open chunk, skipping whatever in it was not read.
    virtual IOResult CloseChunk() = 0;
    // Id, payload length in bytes and kind of the open chunk; 0 / UNKNOWN_CHUNK when none is open.
    virtual USHORT CurChunkID() = 0;
    virtual ULONG CurChunkLength() = 0;
    virtual ChunkType CurChunkType() = 0;
    virtual int CurChunkDepth() = 0;
    // Id of the chunk OpenChunk would open next, or 0 at the end of the list.
    virtual USHORT PeekNextChunkID() = 0;

    // Reads exactly nbytes of the open data chunk, or nothing and IO_ERROR when fewer remain.
    // nread may be null.
    virtual IOResult Read(void* buf, ULONG nbytes, ULONG* nread) = 0;
    // One string written by WriteWString / WriteCString: up to its terminating zero, which
    // must lie inside the chunk. The buffer stays valid as long as this ILoad.
    virtual IOResult ReadWString(MCHAR*& buf) = 0;
    virtual IOResult ReadCString(char*& buf) = 0;
    // The rest of the open data chunk as one string (a terminating zero is dropped).
    virtual IOResult ReadWStringChunk(MCHAR*& buf) = 0;
    virtual IOResult ReadCStringChunk(char*& buf) = 0;
    IOResult ReadWStringChunk(MSTR& str) {
        MCHAR* p = nullptr;
        IOResult r = ReadWStringChunk(p);
        if (r == IO_OK) str = p;
        return r;
    }
    IOResult ReadWString(MSTR& str) {
        MCHAR* p = nullptr;
        IOResult r = ReadWString(p);
        if (r == IO_OK) str = p;
        return r;
    }

    // The object with file index refIndex, or null (-1, out of range, or not a scene load).
    // Every object of the file exists while objects load, but its references are not yet set.
    virtual void* GetAddr(int refIndex) = 0;
    // Writes the object's address into *patchThis once every object is loaded.
    virtual void RecordBackpatch(int refIndex, void** patchThis, DWORD flags = 0) = 0;
    virtual void RegisterPostLoadCallback(PostLoadCallback* cb) = 0;
    // Marks the file as written by an older form of a class; the host may say so to the user.
    virtual void SetObsolete() = 0;
    // The format version of the file being read.
    virtual DWORD GetFileVersion() = 0;
};

namespace host {

// Scene file format version: major in the high 16 bits, minor in the low. A reader refuses a
// major it does not know; a newer minor only adds chunks that older readers skip.
constexpr DWORD SCENE_FILE_VERSION = 0x00010000;
constexpr DWORD SceneFileMajor(DWORD v) { return v >> 16; }

// A chunk writer into memory. The scene saver derives from it for GetRefID.
class ChunkWriter : public ISave {
public:
    ChunkWriter() = default;
    void BeginChunk(USHORT id) override;
    void EndChunk() override;
    int CurChunkDepth() override { return static_cast<int>(open_.size()); }
    IOResult Write(const void* buf, ULONG nbytes, ULONG* nwritten) override;
    IOResult WriteWString(const MCHAR* str) override;
    IOResult WriteCString(const char* str) override;
    int GetRefID(void* ptr) override { (void)ptr; return -1; }
    DWORD SavingVersion() override;

    // Appends bytes outside any chunk (a file header); only valid at depth 0.
    void WriteRaw(const void* buf, size_t nbytes);
    // False once a call was misused; Error() says which and where.
    bool Ok() const { return error_.empty(); }
    const std::wstring& Error() const { return error_; }
    void Fail(const std::wstring& message);
    const std::vector<uint8_t>& Bytes() const { return bytes_; }
    std::vector<uint8_t>& Bytes() { return bytes_; }

private:
    struct Open {
        size_t header;
        USHORT id;
        int kind;  // 0 undecided, DATA_CHUNK, CONTAINER_CHUNK
    };
    std::vector<uint8_t> bytes_;
    std::vector<Open> open_;
    std::wstring error_;
};

// A chunk reader over bytes it does not own. Every header is checked as it is opened; the
// first damage found stops the reader (every later call answers IO_ERROR) and Error() tells it.
// The scene loader derives from it for GetAddr, back-patches and callbacks.
class ChunkReader : public ILoad {
public:
    // data[0, size) is a chunk list; baseOffset is where it starts in the file, for messages.
    ChunkReader(const uint8_t* data, size_t size, size_t baseOffset = 0, DWORD fileVersion = 0);
    IOResult OpenChunk() override;
    IOResult CloseChunk() override;
    USHORT CurChunkID() override;
    ULONG CurChunkLength() override;
    ChunkType CurChunkType() override;
    int CurChunkDepth() override { return static_cast<int>(frames_.size()) - 1; }
    USHORT PeekNextChunkID() override;
    IOResult Read(void* buf, ULONG nbytes, ULONG* nread) override;
    IOResult ReadWString(MCHAR*& buf) override;
    IOResult ReadCString(char*& buf) override;
    IOResult ReadWStringChunk(MCHAR*& buf) override;
    IOResult ReadCStringChunk(char*& buf) override;
    using ILoad::ReadWString;
    using ILoad::ReadWStringChunk;
    void* GetAddr(int refIndex) override { (void)refIndex; return nullptr; }
    void RecordBackpatch(int refIndex, void** patchThis, DWORD flags = 0) override {
        (void)refIndex; (void)patchThis; (void)flags;
    }
    void RegisterPostLoadCallback(PostLoadCallback* cb) override { (void)cb; }
    void SetObsolete() override { obsolete_ = true; }
    DWORD GetFileVersion() override { return fileVersion_; }

    bool Obsolete() const { return obsolete_; }
    bool Ok() const { return error_.empty(); }
    const std::wstring& Error() const { return error_; }
    // Stops the reader with a message (first one wins).
    void Fail(const std::wstring& message);
    // Offset in the file of the open chunk's payload and of the read position.
    size_t CurChunkOffset() const;
    // Bytes of the open data chunk not read yet.
    size_t Remaining() const;

private:
    struct Frame {
        USHORT id;
        bool container;
        size_t start, end, pos;  // payload [start, end); pos: read position or next child header
    };
    bool ReadTerminated(std::string& out, bool wholeChunk);

    const uint8_t* data_;
    size_t baseOffset_;
    DWORD fileVersion_;
    std::vector<Frame> frames_;
    std::deque<std::wstring> wstrings_;
    std::deque<std::string> cstrings_;
    std::wstring error_;
    bool obsolete_ = false;
};

// Size of a chunk header: 16-bit id, then a 32-bit word of the payload length whose top bit
// marks a container. Little-endian.
constexpr size_t CHUNK_HEADER_SIZE = 6;
constexpr uint32_t CHUNK_CONTAINER_BIT = 0x80000000u;

// Checks that data[0, size) is a well-formed chunk list down to every leaf: each header
// complete, each chunk inside its parent, each container exactly filled by its children.
// On failure answers false and a message naming the chunk and its offset.
bool VerifyChunkList(const uint8_t* data, size_t size, size_t baseOffset, std::wstring* error);

}  // namespace host
