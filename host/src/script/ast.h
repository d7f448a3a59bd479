// Syntax tree of the script language. Variables are resolved to slots while parsing: a local is a
// slot of the current frame, an outer local a slot some frames up, a global a cell.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "runtime.h"

namespace host::script {

struct Exec {
    Interpreter& in;
    Frame* frame;
};

struct Node {
    int line = 0;
    int col = 0;
    virtual ~Node() = default;
    virtual Value Eval(Exec& x) = 0;
    // Assignable nodes store a value; others refuse (the parser never asks them).
    virtual void Store(Exec& x, const Value& v) {
        (void)x;
        (void)v;
    }
    virtual bool Assignable() const { return false; }
    // Stamps an error with this node's position when it has none yet.
    void Stamp(ScriptError& e) const {
        if (!e.HasPosition()) e.SetPosition(line, col);
    }
};

struct Literal final : Node {
    Value value;
    Value Eval(Exec&) override { return value; }
};

// 10f: the frame part follows the frame rate of the moment.
struct TimeLiteral final : Node {
    double ticks = 0;
    double frames = 0;
    Value Eval(Exec& x) override;
};

struct LocalVar final : Node {
    uint32_t slot = 0;
    Name name;
    Value Eval(Exec& x) override { return x.frame->slots[slot]; }
    void Store(Exec& x, const Value& v) override { x.frame->slots[slot] = v; }
    bool Assignable() const override { return true; }
};

struct OuterVar final : Node {
    uint32_t depth = 1;
    uint32_t slot = 0;
    Name name;
    Frame* Target(Exec& x) const {
        Frame* f = x.frame;
        for (uint32_t i = 0; i < depth; ++i) f = f->parent.get();
        return f;
    }
    Value Eval(Exec& x) override { return Target(x)->slots[slot]; }
    void Store(Exec& x, const Value& v) override { Target(x)->slots[slot] = v; }
    bool Assignable() const override { return true; }
};

struct GlobalVar final : Node {
    GlobalCell* cell = nullptr;
    Value Eval(Exec& x) override;
    void Store(Exec& x, const Value& v) override;
    bool Assignable() const override { return true; }
};

struct PathExpr final : Node {
    std::string path;
    Value Eval(Exec& x) override;
};

struct Block final : Node {
    std::vector<Node*> body;
    Value Eval(Exec& x) override;
};

struct ArrayExpr final : Node {
    std::vector<Node*> items;
    Value Eval(Exec& x) override;
};

// [x,y] and [x,y,z]
struct VectorExpr final : Node {
    std::vector<Node*> items;
    Value Eval(Exec& x) override;
};

struct Unary final : Node {
    Node* operand = nullptr;
    Value Eval(Exec& x) override;
};

struct Binary final : Node {
    BinOp op = BinOp::Add;
    Node* lhs = nullptr;
    Node* rhs = nullptr;
    Value Eval(Exec& x) override;
};

struct Logical final : Node {
    bool isAnd = true;
    Node* lhs = nullptr;
    Node* rhs = nullptr;
    Value Eval(Exec& x) override;
};

struct Not final : Node {
    Node* operand = nullptr;
    Value Eval(Exec& x) override;
};

struct AsExpr final : Node {
    Node* operand = nullptr;
    Node* cls = nullptr;
    Value Eval(Exec& x) override;
};

struct PropertyExpr final : Node {
    Node* target = nullptr;
    Name prop;
    Value Eval(Exec& x) override;
    void Store(Exec& x, const Value& v) override;
    bool Assignable() const override { return true; }
};

struct IndexExpr final : Node {
    Node* target = nullptr;
    Node* index = nullptr;
    Value Eval(Exec& x) override;
    void Store(Exec& x, const Value& v) override;
    bool Assignable() const override { return true; }
};

// ::name
struct GlobalScopeVar final : Node {
    GlobalCell* cell = nullptr;
    Value Eval(Exec& x) override;
    void Store(Exec& x, const Value& v) override;
    bool Assignable() const override { return true; }
};

struct Assign final : Node {
    Node* target = nullptr;
    Node* value = nullptr;
    bool compound = false;
    BinOp op = BinOp::Add;
    Value Eval(Exec& x) override;
};

struct KeyArgNode {
    Name key;
    Node* value;
};

struct CallExpr final : Node {
    Node* callee = nullptr;
    std::vector<Node*> args;
    std::vector<KeyArgNode> keys;
    Value Eval(Exec& x) override;
};

struct IfExpr final : Node {
    Node* cond = nullptr;
    Node* then = nullptr;
    Node* otherwise = nullptr;
    Value Eval(Exec& x) override;
};

struct WhileExpr final : Node {
    Node* cond = nullptr;
    Node* body = nullptr;
    bool doWhile = false;
    bool catchesExit = false;
    bool catchesContinue = false;
    Value Eval(Exec& x) override;
};

struct ForExpr final : Node {
    Node* var = nullptr;  // assignable
    // for i = from to limit by step
    Node* from = nullptr;
    Node* limit = nullptr;
    Node* step = nullptr;
    // for x in coll
    Node* coll = nullptr;
    Node* where = nullptr;
    Node* whileCond = nullptr;
    Node* body = nullptr;
    bool collect = false;
    bool catchesExit = false;
    bool catchesContinue = false;
    Value Eval(Exec& x) override;
};

struct ExitExpr final : Node {
    Node* value = nullptr;
    Value Eval(Exec& x) override;
};

struct ContinueExpr final : Node {
    Value Eval(Exec& x) override;
};

struct ReturnExpr final : Node {
    Node* value = nullptr;
    Value Eval(Exec& x) override;
};

struct CaseClause {
    Node* label;  // null: default
    Node* body;
};

struct CaseExpr final : Node {
    Node* subject = nullptr;  // null: `case of`, labels are tests
    std::vector<CaseClause> clauses;
    Value Eval(Exec& x) override;
};

struct TryExpr final : Node {
    Node* body = nullptr;
    Node* handler = nullptr;
    Value Eval(Exec& x) override;
};

struct ThrowExpr final : Node {
    Node* message = nullptr;  // null: rethrow the current exception
    Node* value = nullptr;
    Value Eval(Exec& x) override;
};

struct FunctionDef final : Node {
    FunctionProto* proto = nullptr;
    ScriptUnit* unit = nullptr;
    Node* target = nullptr;  // where the function is stored, or null
    Value Eval(Exec& x) override;
};

struct LocalInit {
    Node* target;
    Node* init;  // null: undefined (locals) or unchanged (globals)
};

struct DeclExpr final : Node {
    std::vector<LocalInit> vars;
    bool global = false;
    Value Eval(Exec& x) override;
};

enum class ContextKind : uint8_t { AtTime, Animate, Undo, Redraw, Quiet };

struct ContextClause {
    ContextKind kind;
    Node* arg;    // time, switch
    Node* label;  // undo label or null
};

struct ContextExpr final : Node {
    std::vector<ContextClause> contexts;
    Node* body = nullptr;
    Value Eval(Exec& x) override;
};

struct MaxCommand final : Node {
    std::string command;
    Value Eval(Exec& x) override;
};

// macroScript Name category:"…" … ( [on execute do] … ): registers an action that
// `macros.run category name` runs.
struct MacroDef final : Node {
    std::string name;
    std::vector<KeyArgNode> keys;
    FunctionDef* execute = nullptr;  // the body, or its `on execute do` handler
    Value Eval(Exec& x) override;
};

}  // namespace host::script
