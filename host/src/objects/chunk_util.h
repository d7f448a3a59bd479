// Small helpers for the objects' scene file chunks: fixed-size values and counted arrays.
#pragma once

#include <cstdint>
#include <vector>

#include "iosave.h"

namespace host::objio {

template <class T>
void WriteChunk(ISave* s, USHORT id, const T& v) {
    s->BeginChunk(id);
    s->Write(&v, sizeof(T), nullptr);
    s->EndChunk();
}

template <class T>
bool ReadValue(ILoad* l, T& v) {
    return l->CurChunkLength() == sizeof(T) && l->Read(&v, sizeof(T), nullptr) == IO_OK;
}

// A count (int32) then count elements of trivially copyable T.
template <class T>
void WriteArray(ISave* s, USHORT id, const T* data, int n) {
    s->BeginChunk(id);
    int32_t c = n;
    s->Write(&c, sizeof c, nullptr);
    if (n > 0) s->Write(data, static_cast<ULONG>(sizeof(T) * static_cast<size_t>(n)), nullptr);
    s->EndChunk();
}

// Refuses a chunk whose length does not match its count.
template <class T>
bool ReadArray(ILoad* l, std::vector<T>& out) {
    int32_t c = 0;
    if (l->CurChunkLength() < sizeof c || l->Read(&c, sizeof c, nullptr) != IO_OK || c < 0) return false;
    if (l->CurChunkLength() != sizeof c + sizeof(T) * static_cast<uint64_t>(c)) return false;
    out.resize(static_cast<size_t>(c));
    if (c > 0 && l->Read(out.data(), static_cast<ULONG>(sizeof(T) * static_cast<size_t>(c)), nullptr) != IO_OK)
        return false;
    return true;
}

}  // namespace host::objio
