#include "strclass.h"

#include <cwctype>
#include <cwchar>
#include <vector>

int WStr::first(wchar_t c) const {
    auto p = s_.find(c);
    return p == std::wstring::npos ? -1 : static_cast<int>(p);
}

int WStr::last(wchar_t c) const {
    auto p = s_.rfind(c);
    return p == std::wstring::npos ? -1 : static_cast<int>(p);
}

WStr WStr::Substr(int start, int count) const {
    if (start < 0 || start >= Length() || count <= 0) return WStr();
    return WStr(s_.substr(static_cast<size_t>(start), static_cast<size_t>(count)));
}

void WStr::toUpper() {
    for (auto& c : s_) c = static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c)));
}

void WStr::toLower() {
    for (auto& c : s_) c = static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c)));
}

int WStr::icompare(const WStr& o) const { return host::CompareNoCase(s_, o.s_); }

void WStr::printf(const wchar_t* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    vprintf(fmt, args);
    va_end(args);
}

void WStr::vprintf(const wchar_t* fmt, va_list args) {
    std::vector<wchar_t> buf(256);
    for (;;) {
        va_list copy;
        va_copy(copy, args);
        int n = std::vswprintf(buf.data(), buf.size(), fmt, copy);
        va_end(copy);
        if (n >= 0 && static_cast<size_t>(n) < buf.size()) {
            s_.assign(buf.data(), static_cast<size_t>(n));
            return;
        }
        if (buf.size() > (1u << 24)) {  // a format error, not a short buffer
            s_.clear();
            return;
        }
        buf.resize(buf.size() * 4);
    }
}

CStr WStr::ToUTF8() const { return CStr(host::ToUtf8(s_)); }
WStr WStr::FromUTF8(const char* s) { return WStr(host::FromUtf8(s ? std::string_view(s) : std::string_view())); }
WStr WStr::FromUTF8(std::string_view s) { return WStr(host::FromUtf8(s)); }

namespace host {

std::string ToUtf8(std::wstring_view w) {
    std::string out;
    out.reserve(w.size());
    for (wchar_t wc : w) {
        auto c = static_cast<uint32_t>(wc);
        if (c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) c = 0xFFFD;
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::wstring FromUtf8(std::string_view s) {
    std::wstring out;
    out.reserve(s.size());
    size_t i = 0;
    while (i < s.size()) {
        auto b = static_cast<unsigned char>(s[i]);
        uint32_t c;
        int extra;
        if (b < 0x80) { c = b; extra = 0; }
        else if ((b & 0xE0) == 0xC0) { c = b & 0x1F; extra = 1; }
        else if ((b & 0xF0) == 0xE0) { c = b & 0x0F; extra = 2; }
        else if ((b & 0xF8) == 0xF0) { c = b & 0x07; extra = 3; }
        else { out += L'\uFFFD'; ++i; continue; }
        if (i + static_cast<size_t>(extra) >= s.size()) {  // truncated sequence
            out += L'\uFFFD';
            break;
        }
        bool ok = true;
        for (int k = 1; k <= extra; ++k) {
            auto cb = static_cast<unsigned char>(s[i + static_cast<size_t>(k)]);
            if ((cb & 0xC0) != 0x80) { ok = false; break; }
            c = (c << 6) | (cb & 0x3F);
        }
        static const uint32_t minForLen[4] = {0, 0x80, 0x800, 0x10000};
        if (!ok || c < minForLen[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) {
            out += L'\uFFFD';
            ++i;
            continue;
        }
        out += static_cast<wchar_t>(c);
        i += static_cast<size_t>(extra) + 1;
    }
    return out;
}

int CompareNoCase(std::wstring_view a, std::wstring_view b) {
    size_t n = a.size() < b.size() ? a.size() : b.size();
    for (size_t i = 0; i < n; ++i) {
        auto ca = std::towlower(static_cast<wint_t>(a[i]));
        auto cb = std::towlower(static_cast<wint_t>(b[i]));
        if (ca != cb) return ca < cb ? -1 : 1;
    }
    if (a.size() == b.size()) return 0;
    return a.size() < b.size() ? -1 : 1;
}

bool EqualNoCase(std::wstring_view a, std::wstring_view b) {
    return a.size() == b.size() && CompareNoCase(a, b) == 0;
}

}  // namespace host

namespace MaxSDK::Util::Char {
bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
}  // namespace MaxSDK::Util::Char
