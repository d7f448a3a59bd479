// Wide strings of the SDK (wchar_t is 32-bit here) and UTF-8 conversion.
#pragma once

#include <string>
#include <string_view>
#include <cstdarg>
#include "maxtypes.h"

class CStr;

class WStr {
public:
    WStr() = default;
    WStr(const wchar_t* s) : s_(s ? s : L"") {}
    WStr(const std::wstring& s) : s_(s) {}
    WStr(std::wstring&& s) : s_(std::move(s)) {}
    WStr(std::wstring_view s) : s_(s) {}

    const wchar_t* data() const { return s_.c_str(); }
    operator const wchar_t*() const { return s_.c_str(); }
    int Length() const { return static_cast<int>(s_.size()); }
    int length() const { return Length(); }
    bool isNull() const { return s_.empty(); }
    void Resize(int n) { s_.resize(n < 0 ? 0 : static_cast<size_t>(n)); }
    wchar_t& operator[](int i) { return s_[static_cast<size_t>(i)]; }
    wchar_t operator[](int i) const { return s_[static_cast<size_t>(i)]; }
    WStr& operator=(const wchar_t* s) { s_ = s ? s : L""; return *this; }
    WStr& operator+=(const WStr& o) { s_ += o.s_; return *this; }
    WStr& Append(const WStr& o) { s_ += o.s_; return *this; }
    WStr operator+(const WStr& o) const { return WStr(s_ + o.s_); }
    bool operator==(const WStr& o) const { return s_ == o.s_; }
    bool operator!=(const WStr& o) const { return s_ != o.s_; }
    bool operator<(const WStr& o) const { return s_ < o.s_; }
    bool operator==(const wchar_t* o) const { return s_ == (o ? o : L""); }
    // Returns the first index of c, or -1.
    int first(wchar_t c) const;
    int last(wchar_t c) const;
    WStr Substr(int start, int count) const;
    void toUpper();
    void toLower();
    // Case-insensitive compare: <0, 0, >0.
    int icompare(const WStr& o) const;
    void printf(const wchar_t* fmt, ...);
    void vprintf(const wchar_t* fmt, va_list args);
    CStr ToUTF8() const;
    static WStr FromUTF8(const char* s);
    static WStr FromUTF8(std::string_view s);
    const std::wstring& str() const { return s_; }
    std::wstring& str() { return s_; }

private:
    std::wstring s_;
};

typedef WStr MSTR;
typedef WStr TSTR;

// A narrow (UTF-8) string.
class CStr {
public:
    CStr() = default;
    CStr(const char* s) : s_(s ? s : "") {}
    CStr(std::string s) : s_(std::move(s)) {}
    const char* data() const { return s_.c_str(); }
    operator const char*() const { return s_.c_str(); }
    int Length() const { return static_cast<int>(s_.size()); }
    const std::string& str() const { return s_; }

private:
    std::string s_;
};

namespace host {
// UTF-8 <-> wide, as code page 65001 does: invalid sequences become U+FFFD.
std::string ToUtf8(std::wstring_view w);
std::wstring FromUtf8(std::string_view s);
// Case-insensitive wide compare (simple case folding).
int CompareNoCase(std::wstring_view a, std::wstring_view b);
bool EqualNoCase(std::wstring_view a, std::wstring_view b);
}  // namespace host

namespace MaxSDK::Util::Char {
bool IsDigit(wchar_t c);
}
