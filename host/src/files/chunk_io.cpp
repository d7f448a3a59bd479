#include "iosave.h"

#include <cstring>
#include <cwchar>

namespace {

void PutU16(std::vector<uint8_t>& b, size_t at, uint16_t v) {
    b[at] = static_cast<uint8_t>(v);
    b[at + 1] = static_cast<uint8_t>(v >> 8);
}

void PutU32(std::vector<uint8_t>& b, size_t at, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + static_cast<size_t>(i)] = static_cast<uint8_t>(v >> (8 * i));
}

uint16_t GetU16(const uint8_t* p) { return static_cast<uint16_t>(p[0] | (p[1] << 8)); }

uint32_t GetU32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) | (static_cast<uint32_t>(p[2]) << 16) |
           (static_cast<uint32_t>(p[3]) << 24);
}

std::wstring Hex(unsigned v, int digits) {
    wchar_t buf[16];
    std::swprintf(buf, 16, L"0x%0*X", digits, v);
    return buf;
}

std::wstring ChunkName(USHORT id, size_t offset) {
    return L"chunk " + Hex(id, 4) + L" at byte " + std::to_wstring(offset);
}

// Payload-free checks of one header at p in a list ending at end.
bool CheckHeader(const uint8_t* data, size_t p, size_t end, size_t base, std::wstring* error, USHORT* id,
                 bool* container, size_t* len) {
    if (end - p < host::CHUNK_HEADER_SIZE) {
        if (error) *error = L"truncated chunk header at byte " + std::to_wstring(base + p);
        return false;
    }
    *id = GetU16(data + p);
    uint32_t word = GetU32(data + p + 2);
    *container = (word & host::CHUNK_CONTAINER_BIT) != 0;
    *len = word & ~host::CHUNK_CONTAINER_BIT;
    if (*len > end - p - host::CHUNK_HEADER_SIZE) {
        if (error)
            *error = ChunkName(*id, base + p) + L" claims " + std::to_wstring(*len) + L" bytes but only " +
                     std::to_wstring(end - p - host::CHUNK_HEADER_SIZE) + L" remain in its parent";
        return false;
    }
    return true;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// ChunkWriter

void host::ChunkWriter::Fail(const std::wstring& message) {
    if (error_.empty()) error_ = message;
}

DWORD host::ChunkWriter::SavingVersion() { return host::SCENE_FILE_VERSION; }

void host::ChunkWriter::WriteRaw(const void* buf, size_t nbytes) {
    if (!open_.empty()) {
        Fail(L"raw bytes written inside a chunk");
        return;
    }
    auto* p = static_cast<const uint8_t*>(buf);
    bytes_.insert(bytes_.end(), p, p + nbytes);
}

void host::ChunkWriter::BeginChunk(USHORT id) {
    if (!open_.empty()) {
        Open& parent = open_.back();
        if (parent.kind == DATA_CHUNK) {
            Fail(L"chunk " + Hex(id, 4) + L" begun inside data chunk " + Hex(parent.id, 4));
            return;
        }
        parent.kind = CONTAINER_CHUNK;
    }
    open_.push_back({bytes_.size(), id, 0});
    bytes_.resize(bytes_.size() + CHUNK_HEADER_SIZE);
    PutU16(bytes_, open_.back().header, id);
}

void host::ChunkWriter::EndChunk() {
    if (open_.empty()) {
        Fail(L"EndChunk without an open chunk");
        return;
    }
    Open o = open_.back();
    open_.pop_back();
    size_t len = bytes_.size() - o.header - CHUNK_HEADER_SIZE;
    if (len >= CHUNK_CONTAINER_BIT) {
        Fail(L"chunk " + Hex(o.id, 4) + L" is larger than a chunk may be");
        return;
    }
    uint32_t word = static_cast<uint32_t>(len) | (o.kind == CONTAINER_CHUNK ? CHUNK_CONTAINER_BIT : 0u);
    PutU32(bytes_, o.header + 2, word);
}

IOResult host::ChunkWriter::Write(const void* buf, ULONG nbytes, ULONG* nwritten) {
    if (nwritten) *nwritten = 0;
    if (open_.empty()) {
        Fail(L"data written outside any chunk");
        return IO_ERROR;
    }
    Open& o = open_.back();
    if (o.kind == CONTAINER_CHUNK) {
        Fail(L"data written into chunk " + Hex(o.id, 4) + L", which holds sub-chunks");
        return IO_ERROR;
    }
    o.kind = DATA_CHUNK;
    if (nbytes > 0) {
        if (!buf) {
            Fail(L"null buffer written");
            return IO_ERROR;
        }
        auto* p = static_cast<const uint8_t*>(buf);
        bytes_.insert(bytes_.end(), p, p + nbytes);
    }
    if (nwritten) *nwritten = nbytes;
    return IO_OK;
}

IOResult host::ChunkWriter::WriteWString(const MCHAR* str) {
    std::string u = host::ToUtf8(str ? std::wstring_view(str) : std::wstring_view());
    return WriteCString(u.c_str());
}

IOResult host::ChunkWriter::WriteCString(const char* str) {
    const char* s = str ? str : "";
    ULONG n = 0;
    return Write(s, static_cast<ULONG>(std::strlen(s) + 1), &n);
}

// ---------------------------------------------------------------------------------------------
// ChunkReader

host::ChunkReader::ChunkReader(const uint8_t* data, size_t size, size_t baseOffset, DWORD fileVersion)
    : data_(data), baseOffset_(baseOffset), fileVersion_(fileVersion) {
    frames_.push_back({0, true, 0, size, 0});
}

void host::ChunkReader::Fail(const std::wstring& message) {
    if (error_.empty()) error_ = message;
}

IOResult host::ChunkReader::OpenChunk() {
    if (!Ok()) return IO_ERROR;
    Frame& top = frames_.back();
    // An empty chunk is both an empty list and empty data: a container written with no
    // sub-chunks has nothing that tells it apart.
    if (!top.container) return top.start == top.end ? IO_END : IO_ERROR;
    if (top.pos == top.end) return IO_END;
    USHORT id;
    bool container;
    size_t len;
    std::wstring err;
    if (!CheckHeader(data_, top.pos, top.end, baseOffset_, &err, &id, &container, &len)) {
        Fail(err);
        return IO_ERROR;
    }
    size_t start = top.pos + CHUNK_HEADER_SIZE;
    top.pos = start + len;
    frames_.push_back({id, container, start, start + len, start});
    return IO_OK;
}

IOResult host::ChunkReader::CloseChunk() {
    if (frames_.size() <= 1) return IO_ERROR;
    frames_.pop_back();
    return Ok() ? IO_OK : IO_ERROR;
}

USHORT host::ChunkReader::CurChunkID() { return frames_.size() > 1 ? frames_.back().id : 0; }

ULONG host::ChunkReader::CurChunkLength() {
    return frames_.size() > 1 ? static_cast<ULONG>(frames_.back().end - frames_.back().start) : 0;
}

ChunkType host::ChunkReader::CurChunkType() {
    if (frames_.size() <= 1) return UNKNOWN_CHUNK;
    return frames_.back().container ? CONTAINER_CHUNK : DATA_CHUNK;
}

USHORT host::ChunkReader::PeekNextChunkID() {
    const Frame& top = frames_.back();
    if (!Ok() || !top.container || top.end - top.pos < CHUNK_HEADER_SIZE) return 0;
    return GetU16(data_ + top.pos);
}

size_t host::ChunkReader::CurChunkOffset() const { return baseOffset_ + frames_.back().start; }

size_t host::ChunkReader::Remaining() const {
    const Frame& top = frames_.back();
    return top.container ? 0 : top.end - top.pos;
}

IOResult host::ChunkReader::Read(void* buf, ULONG nbytes, ULONG* nread) {
    if (nread) *nread = 0;
    if (!Ok()) return IO_ERROR;
    Frame& top = frames_.back();
    if (frames_.size() <= 1 || top.container || nbytes > top.end - top.pos) return IO_ERROR;
    if (nbytes > 0) {
        if (!buf) return IO_ERROR;
        std::memcpy(buf, data_ + top.pos, nbytes);
    }
    top.pos += nbytes;
    if (nread) *nread = nbytes;
    return IO_OK;
}

bool host::ChunkReader::ReadTerminated(std::string& out, bool wholeChunk) {
    if (!Ok() || frames_.size() <= 1) return false;
    Frame& top = frames_.back();
    if (top.container) return false;
    const uint8_t* from = data_ + top.pos;
    size_t avail = top.end - top.pos;
    const void* zero = avail ? std::memchr(from, 0, avail) : nullptr;
    if (wholeChunk) {
        size_t n = zero ? static_cast<size_t>(static_cast<const uint8_t*>(zero) - from) : avail;
        out.assign(reinterpret_cast<const char*>(from), n);
        top.pos = top.end;
        return true;
    }
    if (!zero) return false;
    size_t n = static_cast<size_t>(static_cast<const uint8_t*>(zero) - from);
    out.assign(reinterpret_cast<const char*>(from), n);
    top.pos += n + 1;
    return true;
}

IOResult host::ChunkReader::ReadWString(MCHAR*& buf) {
    std::string s;
    if (!ReadTerminated(s, false)) return IO_ERROR;
    buf = wstrings_.emplace_back(host::FromUtf8(s)).data();
    return IO_OK;
}

IOResult host::ChunkReader::ReadCString(char*& buf) {
    std::string s;
    if (!ReadTerminated(s, false)) return IO_ERROR;
    buf = cstrings_.emplace_back(std::move(s)).data();
    return IO_OK;
}

IOResult host::ChunkReader::ReadWStringChunk(MCHAR*& buf) {
    std::string s;
    if (!ReadTerminated(s, true)) return IO_ERROR;
    buf = wstrings_.emplace_back(host::FromUtf8(s)).data();
    return IO_OK;
}

IOResult host::ChunkReader::ReadCStringChunk(char*& buf) {
    std::string s;
    if (!ReadTerminated(s, true)) return IO_ERROR;
    buf = cstrings_.emplace_back(std::move(s)).data();
    return IO_OK;
}

// ---------------------------------------------------------------------------------------------

bool host::VerifyChunkList(const uint8_t* data, size_t size, size_t baseOffset, std::wstring* error) {
    // Iterative walk: a hostile file may nest as deep as its length allows.
    struct Level {
        size_t pos, end;
    };
    std::vector<Level> stack{{0, size}};
    while (!stack.empty()) {
        Level& lv = stack.back();
        if (lv.pos == lv.end) {
            stack.pop_back();
            continue;
        }
        USHORT id;
        bool container;
        size_t len;
        if (!CheckHeader(data, lv.pos, lv.end, baseOffset, error, &id, &container, &len)) return false;
        size_t start = lv.pos + CHUNK_HEADER_SIZE;
        lv.pos = start + len;
        if (container) stack.push_back({start, start + len});
    }
    return true;
}
