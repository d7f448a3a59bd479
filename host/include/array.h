// MaxSDK::Array<T>: a growable array whose operator[] checks its bounds.
//
// A bad index throws MaxSDK::Util::OutOfRangeException with "Argument index out of bounds,
// passed into a MaxSDK::Array::operator[]"; function-published calls read their arguments
// through it, so a call with too few arguments fails with that text.
#pragma once

#include <initializer_list>
#include <utility>
#include <vector>
#include "tab.h"

namespace MaxSDK {

template <class T>
class Array {
public:
    Array() = default;
    Array(std::initializer_list<T> init) : v_(init) {}
    explicit Array(size_t n, const T& init = T()) : v_(n, init) {}

    size_t length() const { return v_.size(); }
    bool isEmpty() const { return v_.empty(); }
    // The SDK's Tab-style spelling, for code that counts arguments.
    int Count() const { return static_cast<int>(v_.size()); }

    T& operator[](size_t i) { check(i); return v_[i]; }
    const T& operator[](size_t i) const { check(i); return v_[i]; }
    T& operator[](int i) { return (*this)[checkedIndex(i)]; }
    const T& operator[](int i) const { return (*this)[checkedIndex(i)]; }

    Array& append(const T& t) { v_.push_back(t); return *this; }
    Array& append(T&& t) { v_.push_back(std::move(t)); return *this; }
    // Inserts before index i (i == length() appends); answers false for a bad index.
    bool insertAt(size_t i, const T& t) {
        if (i > v_.size()) return false;
        v_.insert(v_.begin() + static_cast<std::ptrdiff_t>(i), t);
        return true;
    }
    bool removeAt(size_t i) {
        if (i >= v_.size()) return false;
        v_.erase(v_.begin() + static_cast<std::ptrdiff_t>(i));
        return true;
    }
    void removeAll() { v_.clear(); }
    void setLengthUsed(size_t n) { v_.resize(n); }
    void reserve(size_t n) { v_.reserve(n); }

    T* begin() { return v_.data(); }
    T* end() { return v_.data() + v_.size(); }
    const T* begin() const { return v_.data(); }
    const T* end() const { return v_.data() + v_.size(); }

private:
    static size_t checkedIndex(int i) {
        if (i < 0) throw Util::OutOfRangeException();
        return static_cast<size_t>(i);
    }
    void check(size_t i) const {
        if (i >= v_.size()) throw Util::OutOfRangeException();
    }
    std::vector<T> v_;
};

}  // namespace MaxSDK
