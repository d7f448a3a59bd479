// String built-ins. Positions are 1-based and count bytes of the UTF-8 text.
#include <cctype>

#include "runtime.h"

namespace host::script {

namespace {

char Lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

std::string Lowered(std::string s) {
    for (char& c : s) c = Lower(c);
    return s;
}

bool KeyBool(const CallArgs& a, const char* key, bool def) {
    const Value* v = a.Key(key);
    return v ? v->ToBool() : def;
}

}  // namespace

bool MatchPattern(const char* s, const char* p, bool ignoreCase) {
    const char* star = nullptr;
    const char* retry = nullptr;
    while (*s) {
        char sc = ignoreCase ? Lower(*s) : *s;
        char pc = ignoreCase ? Lower(*p) : *p;
        if (*p == '*') {
            star = p++;
            retry = s;
        } else if (*p && (*p == '?' || pc == sc)) {
            ++p;
            ++s;
        } else if (star) {
            p = star + 1;
            s = ++retry;
        } else {
            return false;
        }
    }
    while (*p == '*') ++p;
    return *p == 0;
}

void RegisterStringBuiltins(Interpreter& in) {
    in.RegisterPrimitive("substring", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("substring", a, 3);
        const std::string& s = a[0].ToStringRef();
        int32_t start = a[1].ToInt(), count = a[2].ToInt();
        if (start < 1) start = 1;
        if (static_cast<size_t>(start) > s.size()) return Value::String("");
        size_t b = static_cast<size_t>(start - 1);
        size_t n = count < 0 ? std::string::npos : static_cast<size_t>(count);
        return Value::String(s.substr(b, n));
    });
    in.RegisterPrimitive("findString", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("findString", a, 2);
        std::string s = Lowered(a[0].ToStringRef());
        std::string t = Lowered(a[1].ToStringRef());
        size_t p = s.find(t);
        return p == std::string::npos ? Value() : Value::Int(static_cast<int32_t>(p + 1));
    });
    in.RegisterPrimitive("filterString", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("filterString", a, 2);
        const std::string& s = a[0].ToStringRef();
        const std::string& d = a[1].ToStringRef();
        bool keepEmpty = KeyBool(a, "splitEmptyTokens", false);
        std::vector<Value> out;
        std::string cur;
        for (char c : s) {
            if (d.find(c) != std::string::npos) {
                if (!cur.empty() || keepEmpty) out.push_back(Value::String(cur));
                cur.clear();
            } else {
                cur += c;
            }
        }
        if (!cur.empty()) out.push_back(Value::String(cur));
        return Value::NewArray(std::move(out));
    });
    in.RegisterPrimitive("toUpper", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("toUpper", a, 1);
        std::string s = a[0].ToStringRef();
        for (char& c : s) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        return Value::String(std::move(s));
    });
    in.RegisterPrimitive("toLower", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("toLower", a, 1);
        return Value::String(Lowered(a[0].ToStringRef()));
    });
    in.RegisterPrimitive("matchPattern", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("matchPattern", a, 1);
        const Value* p = a.Key("pattern");
        if (!p) throw RuntimeError("matchPattern needs pattern:");
        return Value::Bool(MatchPattern(a[0].ToStringRef().c_str(), p->ToStringRef().c_str(), KeyBool(a, "ignoreCase", true)));
    });
    in.RegisterPrimitive("replace", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("replace", a, 4);
        std::string s = a[0].ToStringRef();
        int32_t start = a[1].ToInt(), count = a[2].ToInt();
        if (start < 1 || static_cast<size_t>(start - 1) > s.size() || count < 0)
            throw RuntimeError("replace: position out of range: " + std::to_string(start));
        s.replace(static_cast<size_t>(start - 1), static_cast<size_t>(count), a[3].ToStringRef());
        return Value::String(std::move(s));
    });
    in.RegisterPrimitive("substituteString", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("substituteString", a, 3);
        std::string s = a[0].ToStringRef();
        const std::string& from = a[1].ToStringRef();
        const std::string& to = a[2].ToStringRef();
        if (from.empty()) return Value::String(s);
        std::string out;
        size_t b = 0, p;
        while ((p = s.find(from, b)) != std::string::npos) {
            out += s.substr(b, p - b);
            out += to;
            b = p + from.size();
        }
        out += s.substr(b);
        return Value::String(std::move(out));
    });
    auto trim = [](bool left) {
        return [left](Interpreter&, const CallArgs& a) {
            CheckArgCountRange(left ? "trimLeft" : "trimRight", a, 1, 2);
            std::string s = a[0].ToStringRef();
            std::string chars = a.Count() == 2 ? a[1].ToStringRef() : std::string(" \t\r\n");
            if (left) {
                size_t b = s.find_first_not_of(chars);
                s = b == std::string::npos ? std::string() : s.substr(b);
            } else {
                size_t e = s.find_last_not_of(chars);
                s = e == std::string::npos ? std::string() : s.substr(0, e + 1);
            }
            return Value::String(std::move(s));
        };
    };
    in.RegisterPrimitive("trimLeft", trim(true));
    in.RegisterPrimitive("trimRight", trim(false));
    in.RegisterPrimitive("stricmp", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("stricmp", a, 2);
        int c = Lowered(a[0].ToStringRef()).compare(Lowered(a[1].ToStringRef()));
        return Value::Int(c < 0 ? -1 : (c > 0 ? 1 : 0));
    });
}

}  // namespace host::script
