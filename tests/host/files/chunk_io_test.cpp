#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include "iosave.h"

namespace {

template <class T>
void Put(ISave& s, const T& v) {
    ULONG n = 0;
    ASSERT_EQ(s.Write(&v, sizeof(T), &n), IO_OK);
    ASSERT_EQ(n, sizeof(T));
}

template <class T>
T Get(ILoad& l) {
    T v{};
    ULONG n = 0;
    EXPECT_EQ(l.Read(&v, sizeof(T), &n), IO_OK);
    EXPECT_EQ(n, sizeof(T));
    return v;
}

// Three chunks at the top: 1 (data), 2 (a container of 20 and 21, 21 a container of 210), 3 (data).
std::vector<uint8_t> NestedStream() {
    host::ChunkWriter w;
    w.BeginChunk(1);
    Put<int32_t>(w, 11);
    w.EndChunk();
    w.BeginChunk(2);
    w.BeginChunk(20);
    Put<float>(w, 2.5f);
    Put<double>(w, -7.25);
    w.EndChunk();
    w.BeginChunk(21);
    w.BeginChunk(210);
    Put<uint16_t>(w, 0xBEEF);
    w.EndChunk();
    w.EndChunk();
    w.EndChunk();
    w.BeginChunk(3);
    Put<int32_t>(w, 33);
    w.EndChunk();
    EXPECT_TRUE(w.Ok()) << std::string(w.Error().begin(), w.Error().end());
    EXPECT_EQ(w.CurChunkDepth(), 0);
    return w.Bytes();
}

}  // namespace

TEST(ChunkStreams, NestedChunksReadBackWithTheirIdsKindsAndLengths) {
    std::vector<uint8_t> bytes = NestedStream();
    ASSERT_TRUE(host::VerifyChunkList(bytes.data(), bytes.size(), 0, nullptr));
    host::ChunkReader r(bytes.data(), bytes.size());

    ASSERT_EQ(r.PeekNextChunkID(), 1);
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.CurChunkID(), 1);
    EXPECT_EQ(r.CurChunkType(), DATA_CHUNK);
    EXPECT_EQ(r.CurChunkLength(), 4u);
    EXPECT_EQ(r.CurChunkDepth(), 1);
    EXPECT_EQ(Get<int32_t>(r), 11);
    ASSERT_EQ(r.CloseChunk(), IO_OK);

    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.CurChunkID(), 2);
    EXPECT_EQ(r.CurChunkType(), CONTAINER_CHUNK);
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.CurChunkID(), 20);
    EXPECT_EQ(r.CurChunkLength(), 12u);
    EXPECT_EQ(Get<float>(r), 2.5f);
    EXPECT_EQ(Get<double>(r), -7.25);
    ASSERT_EQ(r.CloseChunk(), IO_OK);
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.CurChunkID(), 21);
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.CurChunkID(), 210);
    EXPECT_EQ(r.CurChunkDepth(), 3);
    EXPECT_EQ(Get<uint16_t>(r), 0xBEEF);
    EXPECT_EQ(r.OpenChunk(), IO_ERROR) << "a data chunk has no sub-chunks";
    ASSERT_EQ(r.CloseChunk(), IO_OK);
    EXPECT_EQ(r.OpenChunk(), IO_END);
    ASSERT_EQ(r.CloseChunk(), IO_OK);
    EXPECT_EQ(r.OpenChunk(), IO_END);
    ASSERT_EQ(r.CloseChunk(), IO_OK);

    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.CurChunkID(), 3);
    EXPECT_EQ(Get<int32_t>(r), 33);
    ASSERT_EQ(r.CloseChunk(), IO_OK);
    EXPECT_EQ(r.PeekNextChunkID(), 0);
    EXPECT_EQ(r.OpenChunk(), IO_END);
    EXPECT_EQ(r.OpenChunk(), IO_END) << "the end stays the end";
    EXPECT_EQ(r.CloseChunk(), IO_ERROR) << "nothing is open at the top";
    EXPECT_TRUE(r.Ok());

    // Deep nesting: every level opens, the leaf reads, every level closes.
    host::ChunkWriter w;
    for (int i = 0; i < 2000; ++i) w.BeginChunk(static_cast<USHORT>(i));
    Put<int32_t>(w, 7);
    for (int i = 0; i < 2000; ++i) w.EndChunk();
    ASSERT_TRUE(w.Ok());
    ASSERT_TRUE(host::VerifyChunkList(w.Bytes().data(), w.Bytes().size(), 0, nullptr));
    host::ChunkReader deep(w.Bytes().data(), w.Bytes().size());
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(deep.OpenChunk(), IO_OK);
        ASSERT_EQ(deep.CurChunkID(), i);
    }
    EXPECT_EQ(Get<int32_t>(deep), 7);
    for (int i = 0; i < 2000; ++i) ASSERT_EQ(deep.CloseChunk(), IO_OK);
    EXPECT_EQ(deep.OpenChunk(), IO_END);
}

TEST(ChunkStreams, UnreadAndUnknownChunksAreSkippedByClosing) {
    std::vector<uint8_t> bytes = NestedStream();
    host::ChunkReader r(bytes.data(), bytes.size());
    // A reader that only knows chunk 3: it closes 1 unread and 2 with its whole subtree.
    std::vector<USHORT> seen;
    int32_t three = 0;
    while (r.OpenChunk() == IO_OK) {
        seen.push_back(r.CurChunkID());
        if (r.CurChunkID() == 3) three = Get<int32_t>(r);
        ASSERT_EQ(r.CloseChunk(), IO_OK);
    }
    EXPECT_EQ(seen, (std::vector<USHORT>{1, 2, 3}));
    EXPECT_EQ(three, 33);
    EXPECT_TRUE(r.Ok());

    // Half of a chunk read, then closed: the next chunk starts where it should.
    host::ChunkReader half(bytes.data(), bytes.size());
    ASSERT_EQ(half.OpenChunk(), IO_OK);
    ASSERT_EQ(half.OpenChunk(), IO_ERROR);  // data, not a list
    ASSERT_EQ(half.CloseChunk(), IO_OK);
    ASSERT_EQ(half.OpenChunk(), IO_OK);
    ASSERT_EQ(half.OpenChunk(), IO_OK);
    EXPECT_EQ(Get<float>(half), 2.5f);
    ASSERT_EQ(half.CloseChunk(), IO_OK);
    ASSERT_EQ(half.OpenChunk(), IO_OK);
    EXPECT_EQ(half.CurChunkID(), 21);

    // An empty chunk is an empty list and empty data alike.
    host::ChunkWriter w;
    w.BeginChunk(9);
    w.EndChunk();
    host::ChunkReader e(w.Bytes().data(), w.Bytes().size());
    ASSERT_EQ(e.OpenChunk(), IO_OK);
    EXPECT_EQ(e.CurChunkLength(), 0u);
    EXPECT_EQ(e.OpenChunk(), IO_END);
    ULONG n = 5;
    EXPECT_EQ(e.Read(&n, 0, &n), IO_OK);
    EXPECT_EQ(n, 0u);
}

TEST(ChunkStreams, ReadsNeverPassTheEndOfTheirChunk) {
    std::vector<uint8_t> bytes = NestedStream();
    host::ChunkReader r(bytes.data(), bytes.size());
    int64_t big = 0;
    ULONG n = 99;
    EXPECT_EQ(r.Read(&big, 4, &n), IO_ERROR) << "no chunk is open";
    ASSERT_EQ(r.OpenChunk(), IO_OK);  // chunk 1: four bytes
    EXPECT_EQ(r.Read(&big, 8, &n), IO_ERROR);
    EXPECT_EQ(n, 0u);
    EXPECT_EQ(big, 0) << "a refused read copies nothing";
    EXPECT_EQ(r.Remaining(), 4u) << "and consumes nothing";
    int32_t v = 0;
    EXPECT_EQ(r.Read(&v, 4, &n), IO_OK);
    EXPECT_EQ(v, 11);
    EXPECT_EQ(r.Read(&v, 1, &n), IO_ERROR) << "the next chunk's header is not this chunk's data";
    ASSERT_EQ(r.CloseChunk(), IO_OK);
    ASSERT_EQ(r.OpenChunk(), IO_OK);  // chunk 2 is a container
    EXPECT_EQ(r.Read(&v, 1, &n), IO_ERROR) << "a container holds no data of its own";
    MCHAR* s = nullptr;
    EXPECT_EQ(r.ReadWStringChunk(s), IO_ERROR);
    EXPECT_TRUE(r.Ok()) << "misuse by a caller is not damage in the stream";
}

TEST(ChunkStreams, StringsRoundTripAndNeedTheirTerminatorInsideTheChunk) {
    const MCHAR* wide = L"Bip\u00e9d \u6839 \U0001F600";
    host::ChunkWriter w;
    w.BeginChunk(1);
    w.WriteWString(wide);
    w.EndChunk();
    w.BeginChunk(2);  // several strings and a float in one chunk
    w.WriteWString(L"first");
    w.WriteWString(L"");
    Put<float>(w, 1.5f);
    w.WriteCString("narrow");
    w.WriteWString(nullptr);
    w.EndChunk();
    w.BeginChunk(3);  // raw bytes without a terminator
    w.Write("abc", 3, nullptr);
    w.EndChunk();
    ASSERT_TRUE(w.Ok());

    host::ChunkReader r(w.Bytes().data(), w.Bytes().size());
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    MSTR whole;
    ASSERT_EQ(r.ReadWStringChunk(whole), IO_OK);
    EXPECT_EQ(whole, wide);
    ASSERT_EQ(r.CloseChunk(), IO_OK);

    ASSERT_EQ(r.OpenChunk(), IO_OK);
    MCHAR* a = nullptr;
    MCHAR* b = nullptr;
    ASSERT_EQ(r.ReadWString(a), IO_OK);
    ASSERT_EQ(r.ReadWString(b), IO_OK);
    EXPECT_EQ(Get<float>(r), 1.5f);
    char* c = nullptr;
    ASSERT_EQ(r.ReadCString(c), IO_OK);
    MSTR d(L"x");
    ASSERT_EQ(r.ReadWString(d), IO_OK);
    EXPECT_STREQ(a, L"first") << "earlier buffers stay valid after later reads";
    EXPECT_STREQ(b, L"");
    EXPECT_STREQ(c, "narrow");
    EXPECT_EQ(d, L"");
    EXPECT_EQ(r.ReadWString(a), IO_ERROR) << "nothing left";
    ASSERT_EQ(r.CloseChunk(), IO_OK);

    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.ReadCString(c), IO_ERROR) << "no terminator before the chunk ends";
    EXPECT_EQ(r.Remaining(), 3u);
    char* rest = nullptr;
    ASSERT_EQ(r.ReadCStringChunk(rest), IO_OK) << "a whole-chunk string may end at the chunk's end";
    EXPECT_STREQ(rest, "abc");
}

TEST(ChunkStreams, WriterRefusesDataAndSubChunksMixedOrUnbalanced) {
    {
        host::ChunkWriter w;
        EXPECT_EQ(w.Write("x", 1, nullptr), IO_ERROR);
        EXPECT_FALSE(w.Ok());
    }
    {
        host::ChunkWriter w;
        w.BeginChunk(1);
        w.Write("x", 1, nullptr);
        w.BeginChunk(2);
        EXPECT_FALSE(w.Ok());
        EXPECT_NE(w.Error().find(L"0x0002"), std::wstring::npos) << "the message names the chunk";
    }
    {
        host::ChunkWriter w;
        w.BeginChunk(1);
        w.BeginChunk(2);
        w.EndChunk();
        ULONG n = 7;
        EXPECT_EQ(w.Write("x", 1, &n), IO_ERROR);
        EXPECT_EQ(n, 0u);
        EXPECT_FALSE(w.Ok());
    }
    {
        host::ChunkWriter w;
        w.BeginChunk(1);
        w.EndChunk();
        EXPECT_TRUE(w.Ok());
        w.EndChunk();
        EXPECT_FALSE(w.Ok());
    }
}

TEST(ChunkStreams, DamagedStreamsAreRefusedAtTheFirstBadHeader) {
    std::vector<uint8_t> bytes = NestedStream();
    // Top-level chunk boundaries: a stream cut there is a shorter but valid list.
    std::vector<size_t> boundaries{0};
    for (size_t p = 0; p < bytes.size();) {
        uint32_t word;
        std::memcpy(&word, bytes.data() + p + 2, 4);
        p += host::CHUNK_HEADER_SIZE + (word & ~host::CHUNK_CONTAINER_BIT);
        boundaries.push_back(p);
    }
    ASSERT_EQ(boundaries.size(), 4u);
    for (size_t len = 0; len < bytes.size(); ++len) {
        bool boundary = std::find(boundaries.begin(), boundaries.end(), len) != boundaries.end();
        std::wstring err;
        EXPECT_EQ(host::VerifyChunkList(bytes.data(), len, 0, &err), boundary) << "cut at " << len;
        if (!boundary) {
            EXPECT_FALSE(err.empty());
        }
    }

    // A child that claims more than its parent holds; the message names it and its offset.
    std::vector<uint8_t> bad = bytes;
    size_t child = boundaries[1] + host::CHUNK_HEADER_SIZE;  // chunk 20 inside chunk 2
    ASSERT_EQ(bad[child], 20);
    bad[child + 2] = 200;
    std::wstring err;
    EXPECT_FALSE(host::VerifyChunkList(bad.data(), bad.size(), 100, &err));
    EXPECT_NE(err.find(L"0x0014"), std::wstring::npos);
    EXPECT_NE(err.find(std::to_wstring(100 + child)), std::wstring::npos);

    // The reader finds the same damage when it gets there, and then stops for good.
    host::ChunkReader r(bad.data(), bad.size());
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    r.CloseChunk();
    ASSERT_EQ(r.OpenChunk(), IO_OK);
    EXPECT_EQ(r.OpenChunk(), IO_ERROR);
    EXPECT_FALSE(r.Ok());
    EXPECT_EQ(r.CloseChunk(), IO_ERROR);
    EXPECT_EQ(r.OpenChunk(), IO_ERROR);

    // A header cut short inside a container.
    std::vector<uint8_t> shortHeader{2, 0, 3, 0, 0, 0x80, 7, 0, 1};
    EXPECT_FALSE(host::VerifyChunkList(shortHeader.data(), shortHeader.size(), 0, &err));
    EXPECT_NE(err.find(L"truncated"), std::wstring::npos);
}
