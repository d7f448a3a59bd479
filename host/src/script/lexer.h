// Tokens of the script language. The lexer reads a whole text up front; positions are 1-based
// lines and columns (columns count characters, not bytes).
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace host::script {

enum class Tok : uint8_t {
    End,
    Newline,
    Int,
    Float,
    Time,
    String,
    NameLit,  // #foo
    Ident,
    KeyArg,   // foo:  (an identifier glued to a colon)
    Path,     // $foo, $'foo bar', $
    Keyword,
    LParen,
    RParen,
    LBracket,
    RBracket,
    HashParen,  // #(
    Comma,
    Semicolon,
    Colon,
    Dot,
    DoubleColon,
    Question,
    Amp,
    Plus,
    Minus,
    Star,
    Slash,
    Caret,
    Assign,
    PlusAssign,
    MinusAssign,
    StarAssign,
    SlashAssign,
    Eq,
    Ne,
    Lt,
    Gt,
    Le,
    Ge,
};

enum class Kw : uint8_t {
    None,
    And, As, At, By, Case, Catch, Collect, Continue, Do, Else, Exit, Fn, For, Function, Global, If, In,
    Local, Mapped, Max, Not, Of, Off, On, Or, Persistent, Return, Struct, Then, Throw, To, Try, Undo,
    Where, While, With, Animate, True, False, Undefined, OkKw, Unsupplied, Coordsys, About, DontCollect,
};

struct Token {
    Tok type = Tok::End;
    Kw kw = Kw::None;
    bool spaceBefore = false;  // whitespace or a line start precedes the token
    bool spaceAfter = false;   // whitespace follows the token
    int line = 1;
    int col = 1;
    std::string text;      // identifiers, keys, strings, names, paths; the source spelling otherwise
    int32_t ival = 0;      // Int
    double fval = 0;       // Float; Time: the fixed part in ticks
    double frames = 0;     // Time: the frame part, scaled by ticks per frame when evaluated
};

class SyntaxError {
public:
    SyntaxError(std::string msg, int line, int col) : message(std::move(msg)), line(line), col(col) {}
    std::string message;  // "at <token>, expected <what>"
    int line;
    int col;
    bool atEnd = false;   // raised at the end of the text
};

// Throws SyntaxError on a malformed token.
std::vector<Token> Lex(std::string_view text);

// The spelling of a token in a syntax error message.
std::string Describe(const Token& t);

}  // namespace host::script
