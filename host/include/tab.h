// Tab<T>: the SDK's counted array, and the range exceptions it throws.
#pragma once

#include <vector>
#include <algorithm>
#include <exception>
#include <string>
#include "maxtypes.h"

namespace MaxSDK::Util {

class MaxException : public std::exception {
public:
    explicit MaxException(const wchar_t* message) : message_(message), narrow_(message, message + wcslen(message)) {}
    const wchar_t* GetMessage() const { return message_.c_str(); }
    const char* what() const noexcept override { return narrow_.c_str(); }

private:
    static size_t wcslen(const wchar_t* s) { size_t n = 0; while (s[n]) ++n; return n; }
    std::wstring message_;
    std::string narrow_;
};

// Thrown by array range checks; its text is part of the script interface.
class OutOfRangeException : public MaxException {
public:
    OutOfRangeException() : MaxException(L"Argument index out of bounds, passed into a MaxSDK::Array::operator[]") {}
    explicit OutOfRangeException(const wchar_t* message) : MaxException(message) {}
};

class TabOutOfRangeException : public OutOfRangeException {
public:
    TabOutOfRangeException() : OutOfRangeException(L"Invalid index passed into a Max SDK Tab::operator[]") {}
};

}  // namespace MaxSDK::Util

typedef int (*CompareFnc)(const void* elem1, const void* elem2);

template <class T>
class Tab {
public:
    Tab() = default;
    int Count() const { return static_cast<int>(v_.size()); }
    int Length() const { return Count(); }
    bool empty() const { return v_.empty(); }
    // Grows or shrinks; new entries are value-initialised.
    int SetCount(int n, BOOL resize = TRUE) {
        (void)resize;
        v_.resize(n < 0 ? 0 : static_cast<size_t>(n));
        return n;
    }
    void ZeroCount() { v_.clear(); }
    void Init() { v_.clear(); }
    void Resize(int n) { v_.reserve(n < 0 ? 0 : static_cast<size_t>(n)); }
    void Shrink() { v_.shrink_to_fit(); }
    // Appends num entries copied from el; returns the index of the first.
    int Append(int num, const T* el, int allocExtra = 0) {
        (void)allocExtra;
        int at = Count();
        v_.insert(v_.end(), el, el + num);
        return at;
    }
    int Insert(int at, int num, const T* el) {
        if (at < 0) at = 0;
        if (at > Count()) at = Count();
        v_.insert(v_.begin() + at, el, el + num);
        return at;
    }
    // Deletes num entries from start; returns the new count.
    int Delete(int start, int num) {
        if (start < 0 || start >= Count() || num <= 0) return Count();
        int end = std::min(Count(), start + num);
        v_.erase(v_.begin() + start, v_.begin() + end);
        return Count();
    }
    void RemoveItem(const T& t) { v_.erase(std::remove(v_.begin(), v_.end(), t), v_.end()); }
    int Find(const T& t) const {
        auto it = std::find(v_.begin(), v_.end(), t);
        return it == v_.end() ? -1 : static_cast<int>(it - v_.begin());
    }
    T& operator[](int i) { check(i); return v_[static_cast<size_t>(i)]; }
    const T& operator[](int i) const { check(i); return v_[static_cast<size_t>(i)]; }
    T* Addr(int i) { check(i); return &v_[static_cast<size_t>(i)]; }
    const T* Addr(int i) const { check(i); return &v_[static_cast<size_t>(i)]; }
    void Sort(CompareFnc cmp) {
        std::sort(v_.begin(), v_.end(), [cmp](const T& a, const T& b) { return cmp(&a, &b) < 0; });
    }
    T* begin() { return v_.data(); }
    T* end() { return v_.data() + v_.size(); }
    const T* begin() const { return v_.data(); }
    const T* end() const { return v_.data() + v_.size(); }
    void push_back(const T& t) { v_.push_back(t); }

private:
    void check(int i) const {
        if (i < 0 || i >= Count()) throw MaxSDK::Util::TabOutOfRangeException();
    }
    std::vector<T> v_;
};

class INode;
typedef Tab<INode*> INodeTab;
