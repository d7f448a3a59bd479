// BitArray: a resizable array of bits (selections, flags per vertex or per key).
//
// Indexes are 0-based; an index outside [0, GetSize()) reads as 0 and is ignored by writes
// (asserted in debug builds), never undefined behaviour.
#pragma once

#include <cstdint>
#include <vector>

class BitArray {
  public:
    BitArray() = default;
    explicit BitArray(int n) { SetSize(n); }

    // New size n (negative counts as 0); new bits are 0. With keep false (the default, as in
    // the SDK's save = 0) all bits are cleared; with keep true the first min(old, n) are kept.
    void SetSize(int n, int keep = 0);
    int GetSize() const { return size_; }

    void Set(int i);
    void Set(int i, int value) { value ? Set(i) : Clear(i); }
    void Clear(int i);
    void SetAll();
    void ClearAll();
    // The bit as 0 or 1.
    int operator[](int i) const;

    int NumberSet() const;
    bool AnyBitSet() const;
    bool IsEmpty() const { return !AnyBitSet(); }
    // Each bit turned over.
    void Reverse();

    // Same size and same bits.
    bool operator==(const BitArray& b) const;
    bool operator!=(const BitArray& b) const { return !(*this == b); }
    // Bitwise with b over the common length; bits past b's size count as 0 (so &= clears
    // them, |= and ^= keep them). The size stays this array's.
    BitArray& operator|=(const BitArray& b);
    BitArray& operator&=(const BitArray& b);
    BitArray& operator^=(const BitArray& b);
    BitArray operator~() const;
    BitArray operator|(const BitArray& b) const {
        BitArray r(*this);
        return r |= b;
    }
    BitArray operator&(const BitArray& b) const {
        BitArray r(*this);
        return r &= b;
    }
    BitArray operator^(const BitArray& b) const {
        BitArray r(*this);
        return r ^= b;
    }

  private:
    void ClearTail();
    int size_ = 0;
    std::vector<std::uint64_t> words_;
};
