#include "bitarray.h"

#include <algorithm>
#include <bit>
#include <cassert>

namespace {
constexpr std::uint64_t kOne = 1;
}

void BitArray::SetSize(int n, int keep) {
    if (n < 0) n = 0;
    if (!keep) words_.assign(words_.size(), 0);
    words_.resize((std::size_t(n) + 63) / 64, 0);
    size_ = n;
    ClearTail();
}

// Keeps the unused bits of the last word zero, so counts and comparisons can work on words.
void BitArray::ClearTail() {
    if (size_ % 64 && !words_.empty()) words_.back() &= (kOne << (size_ % 64)) - 1;
}

void BitArray::Set(int i) {
    assert(i >= 0 && i < size_);
    if (i < 0 || i >= size_) return;
    words_[i / 64] |= kOne << (i % 64);
}

void BitArray::Clear(int i) {
    assert(i >= 0 && i < size_);
    if (i < 0 || i >= size_) return;
    words_[i / 64] &= ~(kOne << (i % 64));
}

void BitArray::SetAll() {
    std::fill(words_.begin(), words_.end(), ~std::uint64_t(0));
    ClearTail();
}

void BitArray::ClearAll() { std::fill(words_.begin(), words_.end(), 0); }

int BitArray::operator[](int i) const {
    assert(i >= 0 && i < size_);
    if (i < 0 || i >= size_) return 0;
    return int((words_[i / 64] >> (i % 64)) & 1);
}

int BitArray::NumberSet() const {
    int n = 0;
    for (std::uint64_t w : words_)
        n += std::popcount(w);
    return n;
}

bool BitArray::AnyBitSet() const {
    return std::any_of(words_.begin(), words_.end(), [](std::uint64_t w) { return w != 0; });
}

void BitArray::Reverse() {
    for (std::uint64_t& w : words_)
        w = ~w;
    ClearTail();
}

bool BitArray::operator==(const BitArray& b) const { return size_ == b.size_ && words_ == b.words_; }

BitArray& BitArray::operator|=(const BitArray& b) {
    std::size_t n = std::min(words_.size(), b.words_.size());
    for (std::size_t i = 0; i < n; ++i)
        words_[i] |= b.words_[i];
    ClearTail();
    return *this;
}

BitArray& BitArray::operator&=(const BitArray& b) {
    for (std::size_t i = 0; i < words_.size(); ++i)
        words_[i] &= i < b.words_.size() ? b.words_[i] : 0;
    return *this;
}

BitArray& BitArray::operator^=(const BitArray& b) {
    std::size_t n = std::min(words_.size(), b.words_.size());
    for (std::size_t i = 0; i < n; ++i)
        words_[i] ^= b.words_[i];
    ClearTail();
    return *this;
}

BitArray BitArray::operator~() const {
    BitArray r(*this);
    r.Reverse();
    return r;
}
