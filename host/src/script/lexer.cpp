#include "lexer.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <unordered_map>

namespace host::script {

namespace {

bool IsIdentStart(unsigned char c) { return std::isalpha(c) || c == '_' || c >= 0x80; }
bool IsIdentChar(unsigned char c) { return std::isalnum(c) || c == '_' || c >= 0x80; }

const std::unordered_map<std::string, Kw>& Keywords() {
    static const std::unordered_map<std::string, Kw> k = {
        {"and", Kw::And},         {"as", Kw::As},
        {"at", Kw::At},           {"by", Kw::By},
        {"case", Kw::Case},       {"catch", Kw::Catch},
        {"collect", Kw::Collect}, {"continue", Kw::Continue},
        {"do", Kw::Do},           {"else", Kw::Else},
        {"exit", Kw::Exit},       {"fn", Kw::Fn},
        {"for", Kw::For},         {"function", Kw::Function},
        {"global", Kw::Global},   {"if", Kw::If},
        {"in", Kw::In},           {"local", Kw::Local},
        {"mapped", Kw::Mapped},   {"max", Kw::Max},
        {"not", Kw::Not},         {"of", Kw::Of},
        {"off", Kw::Off},         {"on", Kw::On},
        {"or", Kw::Or},           {"persistent", Kw::Persistent},
        {"return", Kw::Return},   {"struct", Kw::Struct},
        {"then", Kw::Then},       {"throw", Kw::Throw},
        {"to", Kw::To},           {"try", Kw::Try},
        {"undo", Kw::Undo},       {"where", Kw::Where},
        {"while", Kw::While},     {"with", Kw::With},
        {"animate", Kw::Animate}, {"true", Kw::True},
        {"false", Kw::False},     {"undefined", Kw::Undefined},
        {"ok", Kw::OkKw},         {"unsupplied", Kw::Unsupplied},
        {"coordsys", Kw::Coordsys}, {"about", Kw::About},
        {"dontcollect", Kw::DontCollect},
    };
    return k;
}

std::string Lower(std::string_view s) {
    std::string r(s);
    for (char& c : r) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return r;
}

class Lexer {
public:
    explicit Lexer(std::string_view s) : s_(s) {}

    std::vector<Token> Run() {
        std::vector<Token> out;
        bool space = true;
        while (true) {
            bool sawNewline = SkipSpace(space);
            if (sawNewline) {
                if (!out.empty() && out.back().type != Tok::Newline) {
                    Token nl;
                    nl.type = Tok::Newline;
                    nl.line = nlLine_;
                    nl.col = nlCol_;
                    nl.text = "<end of line>";
                    out.back().spaceAfter = true;
                    out.push_back(nl);
                }
                space = true;
            }
            if (pos_ >= s_.size()) break;
            Token t;
            t.spaceBefore = space || out.empty();
            t.line = line_;
            t.col = col_;
            size_t start = pos_;
            Next(t);
            if (t.text.empty() && t.type != Tok::String && t.type != Tok::Path)
                t.text = std::string(s_.substr(start, pos_ - start));
            if (!out.empty() && space) out.back().spaceAfter = true;
            out.push_back(std::move(t));
            space = false;
        }
        if (!out.empty()) out.back().spaceAfter = true;
        Token end;
        end.type = Tok::End;
        end.line = line_;
        end.col = col_;
        end.text = "<end of script>";
        end.spaceBefore = true;
        out.push_back(end);
        return out;
    }

private:
    char Peek(size_t k = 0) const { return pos_ + k < s_.size() ? s_[pos_ + k] : '\0'; }
    void Advance() {
        unsigned char c = static_cast<unsigned char>(s_[pos_++]);
        if (c == '\n') {
            ++line_;
            col_ = 1;
        } else if ((c & 0xC0) != 0x80) {
            // continuation bytes of UTF-8 do not start a new character
            ++col_;
        }
    }
    [[noreturn]] void Fail(const std::string& msg, int line, int col) { throw SyntaxError(msg, line, col); }

    // Skips blanks and comments; answers whether a line break was passed (not one escaped by '\').
    bool SkipSpace(bool& space) {
        bool nl = false;
        while (pos_ < s_.size()) {
            char c = Peek();
            if (c == ' ' || c == '\t' || c == '\r' || c == '\f' || c == '\v') {
                Advance();
                space = true;
            } else if (c == '\n') {
                if (!nl) {
                    nlLine_ = line_;
                    nlCol_ = col_;
                }
                nl = true;
                Advance();
                space = true;
            } else if (c == '-' && Peek(1) == '-') {
                while (pos_ < s_.size() && Peek() != '\n') Advance();
                space = true;
            } else if (c == '/' && Peek(1) == '*') {
                int l = line_, co = col_;
                Advance();
                Advance();
                while (pos_ < s_.size() && !(Peek() == '*' && Peek(1) == '/')) Advance();
                if (pos_ >= s_.size()) {
                    SyntaxError e("at <end of script>, expected */", l, co);
                    e.atEnd = true;
                    throw e;
                }
                Advance();
                Advance();
                space = true;
            } else if (c == '\\' && ContinuesLine()) {
                // a backslash at the end of a line joins it to the next
                Advance();
                while (Peek() != '\n') Advance();
                Advance();
                space = true;
            } else {
                break;
            }
        }
        return nl;
    }

    bool ContinuesLine() const {
        size_t p = pos_ + 1;
        while (p < s_.size() && (s_[p] == ' ' || s_[p] == '\t' || s_[p] == '\r')) ++p;
        if (p + 1 < s_.size() && s_[p] == '-' && s_[p + 1] == '-') {
            while (p < s_.size() && s_[p] != '\n') ++p;
        }
        return p < s_.size() && s_[p] == '\n';
    }

    void Next(Token& t) {
        char c = Peek();
        unsigned char uc = static_cast<unsigned char>(c);
        if (std::isdigit(uc) || (c == '.' && std::isdigit(static_cast<unsigned char>(Peek(1))))) {
            Number(t);
            return;
        }
        if (IsIdentStart(uc)) {
            Ident(t);
            return;
        }
        switch (c) {
        case '"': String(t, false); return;
        case '@':
            if (Peek(1) == '"') {
                Advance();
                String(t, true);
                return;
            }
            break;
        case '\'': {
            // a quoted identifier: 'name with spaces'
            t.type = Tok::Ident;
            t.text = Quoted(t);
            GlueKey(t);
            return;
        }
        case '#':
            Advance();
            if (Peek() == '(') {
                Advance();
                t.type = Tok::HashParen;
                return;
            }
            if (Peek() == '\'') {
                t.type = Tok::NameLit;
                t.text = Quoted(t);
                return;
            }
            if (IsIdentStart(static_cast<unsigned char>(Peek())) || std::isdigit(static_cast<unsigned char>(Peek()))) {
                size_t b = pos_;
                while (IsIdentChar(static_cast<unsigned char>(Peek()))) Advance();
                t.type = Tok::NameLit;
                t.text = std::string(s_.substr(b, pos_ - b));
                return;
            }
            Fail(std::string("at #") + (Peek() ? std::string(1, Peek()) : std::string()) + ", expected <name>",
                 t.line, t.col);
        case '$': {
            Advance();
            t.type = Tok::Path;
            if (Peek() == '\'') {
                t.text = Quoted(t);
                return;
            }
            size_t b = pos_;
            while (IsIdentChar(static_cast<unsigned char>(Peek())) || Peek() == '*' || Peek() == '?' ||
                   Peek() == '/')
                Advance();
            t.text = std::string(s_.substr(b, pos_ - b));
            return;
        }
        case '(': Advance(); t.type = Tok::LParen; return;
        case ')': Advance(); t.type = Tok::RParen; return;
        case '[': Advance(); t.type = Tok::LBracket; return;
        case ']': Advance(); t.type = Tok::RBracket; return;
        case ',': Advance(); t.type = Tok::Comma; return;
        case ';': Advance(); t.type = Tok::Semicolon; return;
        case '.': Advance(); t.type = Tok::Dot; return;
        case '?': Advance(); t.type = Tok::Question; return;
        case '&': Advance(); t.type = Tok::Amp; return;
        case '^': Advance(); t.type = Tok::Caret; return;
        case ':':
            Advance();
            if (Peek() == ':') {
                Advance();
                t.type = Tok::DoubleColon;
            } else {
                t.type = Tok::Colon;
            }
            return;
        case '+': Op(t, Tok::Plus, Tok::PlusAssign); return;
        case '-': Op(t, Tok::Minus, Tok::MinusAssign); return;
        case '*': Op(t, Tok::Star, Tok::StarAssign); return;
        case '/': Op(t, Tok::Slash, Tok::SlashAssign); return;
        case '=': Op(t, Tok::Assign, Tok::Eq); return;
        case '<': Op(t, Tok::Lt, Tok::Le); return;
        case '>': Op(t, Tok::Gt, Tok::Ge); return;
        case '!':
            if (Peek(1) == '=') {
                Advance();
                Advance();
                t.type = Tok::Ne;
                return;
            }
            break;
        default: break;
        }
        std::string bad(1, c);
        if (uc >= 0x80) bad = "<character>";
        Fail("at " + bad + ", unexpected character", t.line, t.col);
    }

    void Op(Token& t, Tok plain, Tok withEq) {
        Advance();
        if (Peek() == '=') {
            Advance();
            t.type = withEq;
        } else {
            t.type = plain;
        }
    }

    std::string Quoted(const Token& t) {
        Advance();  // opening quote
        size_t b = pos_;
        while (pos_ < s_.size() && Peek() != '\'' && Peek() != '\n') Advance();
        if (Peek() != '\'') Fail("at <end of line>, expected '", t.line, t.col);
        std::string r(s_.substr(b, pos_ - b));
        Advance();
        return r;
    }

    void GlueKey(Token& t) {
        if (Peek() == ':' && Peek(1) != ':') {
            Advance();
            t.type = Tok::KeyArg;
        }
    }

    void Ident(Token& t) {
        size_t b = pos_;
        while (IsIdentChar(static_cast<unsigned char>(Peek()))) Advance();
        t.text = std::string(s_.substr(b, pos_ - b));
        if (Peek() == ':' && Peek(1) != ':') {
            Advance();
            t.type = Tok::KeyArg;
            return;
        }
        auto it = Keywords().find(Lower(t.text));
        if (it != Keywords().end()) {
            t.type = Tok::Keyword;
            t.kw = it->second;
        } else {
            t.type = Tok::Ident;
        }
    }

    void String(Token& t, bool verbatim) {
        Advance();  // opening quote
        std::string r;
        while (true) {
            if (pos_ >= s_.size()) {
                SyntaxError e("at <end of script>, expected \"", t.line, t.col);
                e.atEnd = true;
                throw e;
            }
            char c = Peek();
            if (c == '"') {
                Advance();
                break;
            }
            if (c == '\\' && !verbatim) {
                Advance();
                char e = Peek();
                if (pos_ >= s_.size()) continue;
                Advance();
                switch (e) {
                case 'n': r += '\n'; break;
                case 'r': r += '\r'; break;
                case 't': r += '\t'; break;
                case '"': r += '"'; break;
                case '\\': r += '\\'; break;
                case '%': r += '%'; break;
                case '*': r += '*'; break;
                case '?': r += '?'; break;
                case 'x': {
                    int v = 0, n = 0;
                    while (n < 4 && std::isxdigit(static_cast<unsigned char>(Peek()))) {
                        char h = Peek();
                        v = v * 16 + (std::isdigit(static_cast<unsigned char>(h)) ? h - '0' : (std::tolower(h) - 'a' + 10));
                        Advance();
                        ++n;
                    }
                    AppendUtf8(r, static_cast<uint32_t>(v));
                    break;
                }
                default:
                    // unknown escapes stay as written, so Windows-style paths survive
                    r += '\\';
                    r += e;
                    break;
                }
                continue;
            }
            r += c;
            Advance();
        }
        t.type = Tok::String;
        t.text = std::move(r);
    }

    static void AppendUtf8(std::string& out, uint32_t cp) {
        if (cp < 0x80) {
            out += static_cast<char>(cp);
        } else if (cp < 0x800) {
            out += static_cast<char>(0xC0 | (cp >> 6));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        } else {
            out += static_cast<char>(0xE0 | (cp >> 12));
            out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (cp & 0x3F));
        }
    }

    void Number(Token& t) {
        size_t b = pos_;
        bool isFloat = false;
        if (Peek() == '0' && (Peek(1) == 'x' || Peek(1) == 'X') && std::isxdigit(static_cast<unsigned char>(Peek(2)))) {
            Advance();
            Advance();
            size_t hb = pos_;
            while (std::isxdigit(static_cast<unsigned char>(Peek()))) Advance();
            unsigned long long v = std::strtoull(std::string(s_.substr(hb, pos_ - hb)).c_str(), nullptr, 16);
            t.type = Tok::Int;
            t.ival = static_cast<int32_t>(static_cast<uint32_t>(v));
            CheckTrailing(t);
            return;
        }
        while (std::isdigit(static_cast<unsigned char>(Peek()))) Advance();
        if (Peek() == '.' && !IsIdentStart(static_cast<unsigned char>(Peek(1))) && Peek(1) != '.') {
            isFloat = true;
            Advance();
            while (std::isdigit(static_cast<unsigned char>(Peek()))) Advance();
        }
        if ((Peek() == 'e' || Peek() == 'E') &&
            (std::isdigit(static_cast<unsigned char>(Peek(1))) ||
             ((Peek(1) == '+' || Peek(1) == '-') && std::isdigit(static_cast<unsigned char>(Peek(2)))))) {
            isFloat = true;
            Advance();
            if (Peek() == '+' || Peek() == '-') Advance();
            while (std::isdigit(static_cast<unsigned char>(Peek()))) Advance();
        }
        std::string num(s_.substr(b, pos_ - b));
        double v = std::strtod(num.c_str(), nullptr);
        char sfx = static_cast<char>(std::tolower(static_cast<unsigned char>(Peek())));
        if ((sfx == 'f' || sfx == 't' || sfx == 's' || sfx == 'm') && !IsIdentChar(static_cast<unsigned char>(Peek(1)))) {
            Advance();
            t.type = Tok::Time;
            if (sfx == 'f') t.frames = v;
            else if (sfx == 't') t.fval = v;
            else if (sfx == 's') t.fval = v * 4800.0;
            else t.fval = v * 4800.0 * 60.0;
            return;
        }
        if (sfx == 'm' && std::isdigit(static_cast<unsigned char>(Peek(1)))) {
            // minutes and seconds: 1m30s
            Advance();
            size_t sb = pos_;
            while (std::isdigit(static_cast<unsigned char>(Peek())) || Peek() == '.') Advance();
            double secs = std::strtod(std::string(s_.substr(sb, pos_ - sb)).c_str(), nullptr);
            if (std::tolower(static_cast<unsigned char>(Peek())) != 's') Fail("at " + num + ", expected <time>", t.line, t.col);
            Advance();
            t.type = Tok::Time;
            t.fval = v * 4800.0 * 60.0 + secs * 4800.0;
            CheckTrailing(t);
            return;
        }
        if (isFloat || v > 2147483647.0) {
            t.type = Tok::Float;
            t.fval = v;
        } else {
            t.type = Tok::Int;
            t.ival = static_cast<int32_t>(v);
        }
        CheckTrailing(t);
    }

    void CheckTrailing(const Token& t) {
        if (IsIdentChar(static_cast<unsigned char>(Peek())))
            Fail("at " + std::string(1, Peek()) + ", expected <number>", t.line, t.col);
    }

    std::string_view s_;
    size_t pos_ = 0;
    int line_ = 1;
    int col_ = 1;
    int nlLine_ = 1;
    int nlCol_ = 1;
};

}  // namespace

std::vector<Token> Lex(std::string_view text) { return Lexer(text).Run(); }

std::string Describe(const Token& t) {
    switch (t.type) {
    case Tok::End: return "<end of script>";
    case Tok::Newline: return "<end of line>";
    case Tok::String: return "\"" + t.text + "\"";
    case Tok::NameLit: return "#" + t.text;
    case Tok::Path: return "$" + t.text;
    case Tok::KeyArg: return t.text + ":";
    case Tok::HashParen: return "#(";
    default: return t.text;
    }
}

}  // namespace host::script
