#include <algorithm>
#include <cctype>

#include "ast.h"
#include "lexer.h"

namespace host::script {

namespace {

// A variable visible in a block: a slot of the function's frame, or a global declared there.
struct ScopeVar {
    Name name;
    uint32_t slot;
    GlobalCell* global;  // non-null for `global x` inside a block
};

struct BlockScope {
    std::vector<ScopeVar> vars;
    bool implicitTarget;  // undeclared names first used here become its locals
};

struct LoopInfo {
    bool* catchesExit;
    bool* catchesContinue;
};

struct FnScope {
    FnScope* parent = nullptr;
    std::vector<BlockScope> blocks;
    uint32_t slots = 0;
    bool top = false;
    bool* hasReturn = nullptr;
    std::vector<LoopInfo> loops;
};

bool IsLiteralKw(Kw k) {
    return k == Kw::True || k == Kw::False || k == Kw::On || k == Kw::Off || k == Kw::Undefined ||
           k == Kw::OkKw || k == Kw::Unsupplied;
}

class Parser {
public:
    Parser(Interpreter& in, ScriptUnit& unit, std::vector<Token> toks)
        : in_(in), unit_(unit), toks_(std::move(toks)) {}

    void ParseProgram() {
        FnScope top;
        top.top = true;
        bool topReturn = false;
        top.hasReturn = &topReturn;
        fn_ = &top;
        while (true) {
            SkipSeparators();
            if (Is(Tok::End)) break;
            unit_.top.push_back(ParseExpr());
            EndStatement(Tok::End);
        }
        unit_.topSlots = top.slots;
    }

private:
    // ---- tokens -------------------------------------------------------------------------
    const Token& Cur() const { return toks_[p_]; }
    const Token& Ahead(size_t k = 1) const { return toks_[std::min(p_ + k, toks_.size() - 1)]; }
    bool Is(Tok t) const { return Cur().type == t; }
    bool IsKw(Kw k) const { return Cur().type == Tok::Keyword && Cur().kw == k; }
    bool IsIdent(const char* lower) const {
        if (Cur().type != Tok::Ident) return false;
        const std::string& s = Cur().text;
        size_t n = std::char_traits<char>::length(lower);
        if (s.size() != n) return false;
        for (size_t i = 0; i < n; ++i)
            if (std::tolower(static_cast<unsigned char>(s[i])) != lower[i]) return false;
        return true;
    }
    const Token& Take() {
        const Token& t = toks_[p_];
        if (p_ + 1 < toks_.size()) ++p_;
        return t;
    }
    void SkipNewlines() {
        while (Is(Tok::Newline)) Take();
    }
    void SkipSeparators() {
        while (Is(Tok::Newline) || Is(Tok::Semicolon)) Take();
    }
    // Answers whether the next token after any line breaks is the keyword; does not consume.
    bool NextKwPastNewlines(Kw k) const {
        size_t q = p_;
        while (toks_[q].type == Tok::Newline && q + 1 < toks_.size()) ++q;
        return toks_[q].type == Tok::Keyword && toks_[q].kw == k;
    }

    [[noreturn]] void Fail(const Token& at, const std::string& expected) {
        SyntaxError e("at " + Describe(at) + ", expected " + expected, at.line, at.col);
        e.atEnd = at.type == Tok::End;
        throw e;
    }
    void Expect(Tok t, const char* what) {
        if (!Is(t)) Fail(Cur(), what);
        Take();
    }
    void ExpectKw(Kw k, const char* what) {
        if (!IsKw(k)) Fail(Cur(), what);
        Take();
    }
    // A keyword that may stand on a line of its own.
    void ExpectKwAcrossLines(Kw k, const char* what) {
        SkipNewlines();
        ExpectKw(k, what);
        SkipNewlines();
    }
    void EndStatement(Tok closer) {
        if (Is(Tok::Newline) || Is(Tok::Semicolon) || Is(closer) || Is(Tok::End)) return;
        Fail(Cur(), "<end of line>");
    }

    template <class T>
    T* Make(const Token& at) {
        T* n = unit_.Make<T>();
        n->line = at.line;
        n->col = at.col;
        return n;
    }

    // ---- scopes -------------------------------------------------------------------------
    Name Intern(const std::string& s) { return Name::Intern(s); }

    Node* VarNode(const Token& at, const ScopeVar& v, uint32_t depth) {
        if (v.global) {
            auto* g = Make<GlobalVar>(at);
            g->cell = v.global;
            return g;
        }
        if (depth == 0) {
            auto* l = Make<LocalVar>(at);
            l->slot = v.slot;
            l->name = v.name;
            return l;
        }
        auto* o = Make<OuterVar>(at);
        o->depth = depth;
        o->slot = v.slot;
        o->name = v.name;
        return o;
    }

    const ScopeVar* FindIn(FnScope* f, Name n) {
        for (auto b = f->blocks.rbegin(); b != f->blocks.rend(); ++b)
            for (auto v = b->vars.rbegin(); v != b->vars.rend(); ++v)
                if (v->name == n) return &*v;
        return nullptr;
    }

    ScopeVar DeclareLocal(BlockScope& b, Name n) {
        for (ScopeVar& v : b.vars)
            if (v.name == n && !v.global) return v;
        ScopeVar v{n, fn_->slots++, nullptr};
        b.vars.push_back(v);
        return v;
    }

    BlockScope* ImplicitBlock() {
        for (auto b = fn_->blocks.rbegin(); b != fn_->blocks.rend(); ++b)
            if (b->implicitTarget) return &*b;
        return nullptr;
    }

    Node* GlobalNode(const Token& at, GlobalCell* c) {
        auto* g = Make<GlobalVar>(at);
        g->cell = c;
        return g;
    }

    // Locals innermost first, then enclosing functions, then globals and host names; an unknown
    // name becomes a global at top level and a local of the innermost block elsewhere.
    Node* Resolve(const Token& at, const std::string& text) {
        Name n = Intern(text);
        uint32_t depth = 0;
        for (FnScope* f = fn_; f; f = f->parent, ++depth)
            if (const ScopeVar* v = FindIn(f, n)) return VarNode(at, *v, depth);
        if (GlobalCell* c = in_.impl().Find(n)) return GlobalNode(at, c);
        Value hostValue;
        if (in_.Host().ResolveGlobal(in_, n, hostValue)) {
            GlobalCell* c = in_.impl().DefinePending(n);
            c->value = hostValue;
            c->builtin = true;
            return GlobalNode(at, c);
        }
        BlockScope* b = ImplicitBlock();
        if (!b && fn_->top) return GlobalNode(at, in_.impl().DefinePending(n));
        if (!b) b = &fn_->blocks.front();
        return VarNode(at, DeclareLocal(*b, n), 0);
    }

    // `length = 5` inside a block makes a local `length` rather than replacing the host's
    // function for every script that runs later; a name declared `global` stays global.
    Node* ShadowBuiltin(Node* target) {
        auto* g = dynamic_cast<GlobalVar*>(target);
        if (!g || !g->cell->builtin || g->cell->system) return target;
        BlockScope* b = ImplicitBlock();
        if (!b) return target;
        for (FnScope* f = fn_; f; f = f->parent)
            for (const BlockScope& bs : f->blocks)
                for (const ScopeVar& v : bs.vars)
                    if (v.global == g->cell) return target;
        const Token& at = toks_[p_ > 0 ? p_ - 1 : 0];
        Node* local = VarNode(at, DeclareLocal(*b, g->cell->name), 0);
        local->line = target->line;
        local->col = target->col;
        return local;
    }

    // ---- statements ---------------------------------------------------------------------
    Node* ParseExpr() {
        in_.CheckStack();
        const Token& t = Cur();
        if (t.type == Tok::Keyword) {
            switch (t.kw) {
            case Kw::If: return ParseIf();
            case Kw::While: return ParseWhile();
            case Kw::Do: return ParseDoWhile();
            case Kw::For: return ParseFor();
            case Kw::Case: return ParseCase();
            case Kw::Try: return ParseTry();
            case Kw::Fn:
            case Kw::Function:
            case Kw::Mapped: return ParseFunction();
            case Kw::Local:
            case Kw::Global:
            case Kw::Persistent: return ParseDecl();
            case Kw::Return: return ParseReturn();
            case Kw::Exit: return ParseExit();
            case Kw::Continue: return ParseContinue();
            case Kw::Throw: return ParseThrow();
            case Kw::At:
            case Kw::Animate:
            case Kw::Undo:
            case Kw::With: return ParseContext();
            case Kw::Max: return ParseMax();
            case Kw::Struct: Fail(t, "<expression> (struct definitions are not supported)");
            default: break;
            }
        }
        if (IsIdent("macroscript") && Ahead().type == Tok::Ident) return ParseMacroScript();
        const Token& start = Cur();
        Node* e = ParseOr();
        Tok op = Cur().type;
        if (op == Tok::Assign || op == Tok::PlusAssign || op == Tok::MinusAssign || op == Tok::StarAssign ||
            op == Tok::SlashAssign) {
            if (!e->Assignable()) Fail(Cur(), "<end of line>");
            e = ShadowBuiltin(e);
            const Token& opTok = Take();
            SkipNewlines();
            auto* a = Make<Assign>(opTok);
            a->line = start.line;
            a->col = start.col;
            a->target = e;
            a->value = ParseExpr();
            a->compound = op != Tok::Assign;
            a->op = op == Tok::PlusAssign    ? BinOp::Add
                    : op == Tok::MinusAssign ? BinOp::Sub
                    : op == Tok::StarAssign  ? BinOp::Mul
                                             : BinOp::Div;
            return a;
        }
        return e;
    }

    Node* ParseIf() {
        const Token& at = Take();
        auto* n = Make<IfExpr>(at);
        SkipNewlines();
        n->cond = ParseExpr();
        SkipNewlines();
        if (IsKw(Kw::Then)) {
            Take();
            SkipNewlines();
            n->then = ParseExpr();
            if (NextKwPastNewlines(Kw::Else)) {
                SkipNewlines();
                Take();
                SkipNewlines();
                n->otherwise = ParseExpr();
            }
        } else if (IsKw(Kw::Do)) {
            Take();
            SkipNewlines();
            n->then = ParseExpr();
        } else {
            Fail(Cur(), "then or do");
        }
        return n;
    }

    Node* ParseWhile() {
        const Token& at = Take();
        auto* n = Make<WhileExpr>(at);
        SkipNewlines();
        n->cond = ParseExpr();
        ExpectKwAcrossLines(Kw::Do, "do");
        fn_->loops.push_back({&n->catchesExit, &n->catchesContinue});
        n->body = ParseExpr();
        fn_->loops.pop_back();
        return n;
    }

    Node* ParseDoWhile() {
        const Token& at = Take();
        auto* n = Make<WhileExpr>(at);
        n->doWhile = true;
        SkipNewlines();
        fn_->loops.push_back({&n->catchesExit, &n->catchesContinue});
        n->body = ParseExpr();
        fn_->loops.pop_back();
        ExpectKwAcrossLines(Kw::While, "while");
        n->cond = ParseExpr();
        return n;
    }

    Node* ParseFor() {
        const Token& at = Take();
        auto* n = Make<ForExpr>(at);
        SkipNewlines();
        if (!Is(Tok::Ident)) Fail(Cur(), "<loop variable>");
        const Token& varTok = Take();
        // The loop variable is local to the loop, whatever surrounds it.
        fn_->blocks.push_back({{}, false});
        n->var = VarNode(varTok, DeclareLocal(fn_->blocks.back(), Intern(varTok.text)), 0);
        SkipNewlines();
        if (Is(Tok::Assign)) {
            Take();
            SkipNewlines();
            n->from = ParseExpr();
            ExpectKwAcrossLines(Kw::To, "to");
            n->limit = ParseExpr();
            SkipNewlines();
            if (IsKw(Kw::By)) {
                Take();
                SkipNewlines();
                n->step = ParseExpr();
                SkipNewlines();
            }
        } else if (IsKw(Kw::In)) {
            Take();
            SkipNewlines();
            n->coll = ParseExpr();
            SkipNewlines();
        } else {
            Fail(Cur(), "= or in");
        }
        for (int i = 0; i < 2; ++i) {
            if (IsKw(Kw::While) && !n->whileCond) {
                Take();
                SkipNewlines();
                n->whileCond = ParseExpr();
                SkipNewlines();
            } else if (IsKw(Kw::Where) && !n->where) {
                Take();
                SkipNewlines();
                n->where = ParseExpr();
                SkipNewlines();
            }
        }
        if (IsKw(Kw::Collect)) {
            n->collect = true;
        } else if (!IsKw(Kw::Do)) {
            Fail(Cur(), "do or collect");
        }
        Take();
        SkipNewlines();
        fn_->loops.push_back({&n->catchesExit, &n->catchesContinue});
        n->body = ParseExpr();
        fn_->loops.pop_back();
        fn_->blocks.pop_back();
        return n;
    }

    Node* ParseCase() {
        const Token& at = Take();
        auto* n = Make<CaseExpr>(at);
        SkipNewlines();
        if (!IsKw(Kw::Of)) {
            n->subject = ParseExpr();
            SkipNewlines();
        }
        ExpectKw(Kw::Of, "of");
        SkipNewlines();
        Expect(Tok::LParen, "(");
        while (true) {
            SkipSeparators();
            if (Is(Tok::RParen)) {
                Take();
                break;
            }
            CaseClause c{nullptr, nullptr};
            const Token& lt = Cur();
            if (lt.type == Tok::KeyArg) {
                Take();
                if (!EqualsLower(lt.text, "default")) c.label = Resolve(lt, lt.text);
            } else if (lt.type == Tok::Ident && EqualsLower(lt.text, "default") && Ahead().type == Tok::Colon) {
                Take();
                Take();
            } else {
                c.label = ParseArgument();
                Expect(Tok::Colon, ":");
            }
            SkipNewlines();
            c.body = ParseExpr();
            n->clauses.push_back(c);
            EndStatement(Tok::RParen);
        }
        return n;
    }

    static bool EqualsLower(const std::string& s, const char* lower) {
        size_t n = std::char_traits<char>::length(lower);
        if (s.size() != n) return false;
        for (size_t i = 0; i < n; ++i)
            if (std::tolower(static_cast<unsigned char>(s[i])) != lower[i]) return false;
        return true;
    }

    Node* ParseTry() {
        const Token& at = Take();
        auto* n = Make<TryExpr>(at);
        SkipNewlines();
        n->body = ParseExpr();
        ExpectKwAcrossLines(Kw::Catch, "catch");
        n->handler = ParseExpr();
        return n;
    }

    Node* ParseFunction() {
        const Token& at = Cur();
        bool mapped = false;
        if (IsKw(Kw::Mapped)) {
            Take();
            mapped = true;
            if (!IsKw(Kw::Fn) && !IsKw(Kw::Function)) Fail(Cur(), "fn");
        }
        Take();
        if (!Is(Tok::Ident)) Fail(Cur(), "<function name>");
        const Token& nameTok = Take();
        auto* def = Make<FunctionDef>(at);
        def->unit = &unit_;
        def->target = ShadowBuiltin(Resolve(nameTok, nameTok.text));
        auto proto = std::make_unique<FunctionProto>();
        proto->name = nameTok.text;
        proto->mapped = mapped;
        FunctionProto* fp = proto.get();
        unit_.functions.push_back(std::move(proto));

        FnScope scope;
        scope.parent = fn_;
        scope.hasReturn = &fp->hasReturn;
        scope.blocks.push_back({{}, true});
        fn_ = &scope;
        while (true) {
            if (Is(Tok::Ident)) {
                fp->params.push_back(DeclareLocal(scope.blocks.back(), Intern(Take().text)).slot);
            } else if (Is(Tok::Amp) && Ahead().type == Tok::Ident) {
                Take();
                fp->params.push_back(DeclareLocal(scope.blocks.back(), Intern(Take().text)).slot);
            } else if (Is(Tok::KeyArg)) {
                const Token& k = Take();
                KeyParam kp{Intern(k.text), DeclareLocal(scope.blocks.back(), Intern(k.text)).slot, nullptr};
                if (!Is(Tok::Assign) && !Is(Tok::Ident) && !Is(Tok::KeyArg)) kp.def = ParseArgument();
                fp->keys.push_back(kp);
            } else {
                break;
            }
        }
        if (!Is(Tok::Assign)) {
            fn_ = scope.parent;
            Fail(Cur(), "=");
        }
        Take();
        SkipNewlines();
        fp->body = ParseExpr();
        fp->slots = scope.slots;
        fn_ = scope.parent;
        def->proto = fp;
        return def;
    }

    Node* ParseDecl() {
        const Token& at = Cur();
        bool global = false;
        if (IsKw(Kw::Persistent)) {
            Take();
            if (!IsKw(Kw::Global)) Fail(Cur(), "global");
        }
        global = IsKw(Kw::Global);
        Take();
        auto* n = Make<DeclExpr>(at);
        n->global = global;
        while (true) {
            SkipNewlines();
            if (!Is(Tok::Ident)) Fail(Cur(), "<variable name>");
            const Token& vt = Take();
            Node* init = nullptr;
            if (Is(Tok::Assign)) {
                Take();
                SkipNewlines();
                init = ParseExpr();
            }
            Name name = Intern(vt.text);
            Node* target;
            if (global) {
                GlobalCell* c = in_.impl().DefinePending(name);
                if (!fn_->blocks.empty()) fn_->blocks.back().vars.push_back({name, 0, c});
                target = GlobalNode(vt, c);
            } else if (fn_->blocks.empty()) {
                // a local at top level outside any block is a global
                target = GlobalNode(vt, in_.impl().DefinePending(name));
            } else {
                target = VarNode(vt, DeclareLocal(fn_->blocks.back(), name), 0);
            }
            n->vars.push_back({target, init});
            if (!Is(Tok::Comma)) break;
            Take();
        }
        return n;
    }

    bool StatementEnds() const {
        return Is(Tok::Newline) || Is(Tok::Semicolon) || Is(Tok::RParen) || Is(Tok::End) ||
               (Is(Tok::Keyword) && (Cur().kw == Kw::Else || Cur().kw == Kw::Catch));
    }

    Node* ParseReturn() {
        const Token& at = Take();
        auto* n = Make<ReturnExpr>(at);
        if (!StatementEnds()) n->value = ParseExpr();
        *fn_->hasReturn = true;
        return n;
    }

    Node* ParseExit() {
        const Token& at = Take();
        if (fn_->loops.empty()) Fail(at, "<loop> (exit outside of a loop)");
        *fn_->loops.back().catchesExit = true;
        auto* n = Make<ExitExpr>(at);
        if (IsKw(Kw::With)) {
            Take();
            SkipNewlines();
            n->value = ParseExpr();
        }
        return n;
    }

    Node* ParseContinue() {
        const Token& at = Take();
        if (fn_->loops.empty()) Fail(at, "<loop> (continue outside of a loop)");
        *fn_->loops.back().catchesContinue = true;
        return Make<ContinueExpr>(at);
    }

    Node* ParseThrow() {
        const Token& at = Take();
        auto* n = Make<ThrowExpr>(at);
        if (Is(Tok::LParen) && Ahead().type == Tok::RParen) {
            // throw(): rethrow the exception being handled
            Take();
            Take();
            return n;
        }
        if (!StatementEnds()) {
            n->message = ParseArgument();
            if (!StatementEnds()) n->value = ParseArgument();
        }
        return n;
    }

    bool IsBoolWord() const {
        return IsKw(Kw::On) || IsKw(Kw::Off) || IsKw(Kw::True) || IsKw(Kw::False);
    }

    Node* ParseContext() {
        const Token& at = Cur();
        auto* n = Make<ContextExpr>(at);
        bool with = false;
        if (IsKw(Kw::With)) {
            Take();
            with = true;
        }
        while (true) {
            SkipNewlines();
            ContextClause c{ContextKind::AtTime, nullptr, nullptr};
            if (IsKw(Kw::At)) {
                Take();
                if (!IsIdent("time")) Fail(Cur(), "time");
                Take();
                c.kind = ContextKind::AtTime;
                c.arg = ParseArgument();
            } else if (IsKw(Kw::Animate)) {
                Take();
                c.kind = ContextKind::Animate;
                c.arg = ParseArgument();
            } else if (IsKw(Kw::Undo)) {
                Take();
                c.kind = ContextKind::Undo;
                bool labelFirst = Is(Tok::String);
                Node* first = ParseArgument();
                if (labelFirst || IsBoolWord()) {
                    c.label = first;
                    c.arg = ParseArgument();
                } else {
                    c.arg = first;
                }
            } else if (with && IsIdent("redraw")) {
                Take();
                c.kind = ContextKind::Redraw;
                c.arg = ParseArgument();
            } else if (with && IsIdent("quiet")) {
                Take();
                c.kind = ContextKind::Quiet;
                c.arg = ParseArgument();
            } else {
                Fail(Cur(), "<context>");
            }
            n->contexts.push_back(c);
            if (!Is(Tok::Comma)) break;
            Take();
        }
        SkipNewlines();
        n->body = ParseExpr();
        return n;
    }

    // The body runs as a function without parameters: its `on execute do` handler when it has
    // one, the whole body otherwise. Other handlers (isEnabled, isChecked) are accepted and ignored.
    Node* ParseMacroScript() {
        const Token& at = Take();
        auto* m = Make<MacroDef>(at);
        m->name = Take().text;
        while (Is(Tok::KeyArg)) {
            const Token& k = Take();
            m->keys.push_back({Intern(k.text), ParseArgument()});
        }
        SkipNewlines();
        auto proto = std::make_unique<FunctionProto>();
        proto->name = m->name;
        FunctionProto* fp = proto.get();
        unit_.functions.push_back(std::move(proto));
        FnScope scope;
        scope.parent = fn_;
        scope.hasReturn = &fp->hasReturn;
        scope.blocks.push_back({{}, true});
        fn_ = &scope;
        const Token& open = Cur();
        Expect(Tok::LParen, "(");
        std::vector<Node*> body;
        Node* execute = nullptr;
        while (true) {
            SkipSeparators();
            if (Is(Tok::RParen)) {
                Take();
                break;
            }
            if (Is(Tok::End)) Fail(Cur(), ")");
            if (IsKw(Kw::On) && Ahead().type == Tok::Ident &&
                (Ahead(2).type == Tok::Keyword && (Ahead(2).kw == Kw::Do || Ahead(2).kw == Kw::Return))) {
                Take();
                bool isExecute = EqualsLower(Take().text, "execute");
                Take();
                SkipNewlines();
                Node* h = ParseExpr();
                if (isExecute) execute = h;
            } else {
                body.push_back(ParseExpr());
            }
            EndStatement(Tok::RParen);
        }
        if (execute) {
            fp->body = execute;
        } else {
            auto* b = Make<Block>(open);
            b->body = std::move(body);
            fp->body = b;
        }
        fp->slots = scope.slots;
        fn_ = scope.parent;
        auto* def = Make<FunctionDef>(at);
        def->unit = &unit_;
        def->proto = fp;
        m->execute = def;
        return m;
    }

    Node* ParseMax() {
        const Token& at = Take();
        auto* n = Make<MaxCommand>(at);
        while (Is(Tok::Ident) || Is(Tok::Keyword)) {
            if (!n->command.empty()) n->command += ' ';
            n->command += Take().text;
        }
        if (n->command.empty()) Fail(Cur(), "<max command>");
        return n;
    }

    // ---- expressions ----------------------------------------------------------------------
    Node* ParseOr() { return ParseLogical(Kw::Or, &Parser::ParseAnd); }
    Node* ParseAnd() { return ParseLogical(Kw::And, &Parser::ParseNot); }

    Node* ParseLogical(Kw kw, Node* (Parser::*next)()) {
        Node* l = (this->*next)();
        while (IsKw(kw)) {
            const Token& op = Take();
            SkipNewlines();
            auto* n = Make<Logical>(op);
            n->isAnd = kw == Kw::And;
            n->lhs = l;
            n->rhs = (this->*next)();
            l = n;
        }
        return l;
    }

    Node* ParseNot() {
        if (IsKw(Kw::Not)) {
            in_.CheckStack();
            const Token& op = Take();
            SkipNewlines();
            auto* n = Make<Not>(op);
            n->operand = ParseNot();
            return n;
        }
        return ParseCompare();
    }

    Node* ParseCompare() {
        Node* l = ParseSum();
        while (true) {
            BinOp op;
            switch (Cur().type) {
            case Tok::Eq: op = BinOp::Eq; break;
            case Tok::Ne: op = BinOp::Ne; break;
            case Tok::Lt: op = BinOp::Lt; break;
            case Tok::Gt: op = BinOp::Gt; break;
            case Tok::Le: op = BinOp::Le; break;
            case Tok::Ge: op = BinOp::Ge; break;
            default: return l;
            }
            l = MakeBinary(op, l, &Parser::ParseSum);
        }
    }

    Node* MakeBinary(BinOp op, Node* l, Node* (Parser::*next)()) {
        const Token& t = Take();
        SkipNewlines();
        auto* n = Make<Binary>(t);
        n->op = op;
        n->lhs = l;
        n->rhs = (this->*next)();
        return n;
    }

    Node* ParseSum() {
        Node* l = ParseProduct();
        while (true) {
            if (Is(Tok::Plus)) l = MakeBinary(BinOp::Add, l, &Parser::ParseProduct);
            else if (Is(Tok::Minus)) l = MakeBinary(BinOp::Sub, l, &Parser::ParseProduct);
            else return l;
        }
    }

    Node* ParseProduct() {
        Node* l = ParsePower();
        while (true) {
            if (Is(Tok::Star)) l = MakeBinary(BinOp::Mul, l, &Parser::ParsePower);
            else if (Is(Tok::Slash)) l = MakeBinary(BinOp::Div, l, &Parser::ParsePower);
            else return l;
        }
    }

    Node* ParsePower() {
        Node* base = ParseAs();
        if (Is(Tok::Caret)) {
            in_.CheckStack();
            return MakeBinary(BinOp::Pow, base, &Parser::ParsePower);
        }
        return base;
    }

    Node* ParseAs() {
        Node* l = ParseUnary();
        while (IsKw(Kw::As)) {
            const Token& t = Take();
            auto* n = Make<AsExpr>(t);
            n->operand = l;
            n->cls = ParseUnary();
            l = n;
        }
        return l;
    }

    Node* ParseUnary() {
        if (Is(Tok::Minus)) {
            in_.CheckStack();
            const Token& t = Take();
            Node* operand = ParseUnary();
            return Negated(t, operand);
        }
        return ParseApplication();
    }

    Node* Negated(const Token& t, Node* operand) {
        if (auto* lit = dynamic_cast<Literal*>(operand)) {
            if (lit->value.IsInt()) {
                lit->value = Value::Int(static_cast<int32_t>(0u - static_cast<uint32_t>(lit->value.RawInt())));
                return lit;
            }
            if (lit->value.IsFloat()) {
                lit->value = Value::Float(-lit->value.RawFloat());
                return lit;
            }
        }
        if (auto* tl = dynamic_cast<TimeLiteral*>(operand)) {
            tl->ticks = -tl->ticks;
            tl->frames = -tl->frames;
            return tl;
        }
        auto* n = Make<Unary>(t);
        n->operand = operand;
        return n;
    }

    bool CanStartArgument() const {
        const Token& t = Cur();
        switch (t.type) {
        case Tok::Int:
        case Tok::Float:
        case Tok::Time:
        case Tok::String:
        case Tok::NameLit:
        case Tok::Ident:
        case Tok::Path:
        case Tok::LParen:
        case Tok::HashParen:
        case Tok::DoubleColon:
        case Tok::KeyArg: return true;
        case Tok::LBracket: return t.spaceBefore;
        case Tok::Minus: return t.spaceBefore && !t.spaceAfter;
        case Tok::Amp: return true;
        case Tok::Keyword: return IsLiteralKw(t.kw);
        default: return false;
        }
    }

    // f a b key:c — arguments are operands on the callee's line.
    Node* ParseApplication() {
        Node* e = ParsePostfix(ParseOperand());
        if (Is(Tok::LParen) && Ahead().type == Tok::RParen) {
            const Token& t = Take();
            Take();
            auto* call = Make<CallExpr>(t);
            call->line = e->line;
            call->col = e->col;
            call->callee = e;
            return ParsePostfix(call);
        }
        if (!CanStartArgument()) return e;
        auto* call = Make<CallExpr>(Cur());
        call->line = e->line;
        call->col = e->col;
        call->callee = e;
        while (CanStartArgument()) {
            if (Is(Tok::KeyArg)) {
                const Token& k = Take();
                call->keys.push_back({Intern(k.text), ParseArgument()});
            } else {
                call->args.push_back(ParseArgument());
            }
        }
        return call;
    }

    // One operand with its property and index suffixes; a glued minus negates it.
    Node* ParseArgument() {
        in_.CheckStack();
        if (Is(Tok::Minus)) {
            const Token& t = Take();
            return Negated(t, ParsePostfix(ParseOperand()));
        }
        if (Is(Tok::Amp)) Take();
        return ParsePostfix(ParseOperand());
    }

    Node* ParsePostfix(Node* e) {
        while (true) {
            if (Is(Tok::Dot)) {
                const Token& dot = Take();
                const Token& name = Cur();
                if (name.type != Tok::Ident && name.type != Tok::Keyword) Fail(name, "<property name>");
                Take();
                auto* p = Make<PropertyExpr>(dot);
                p->line = e->line;
                p->col = e->col;
                p->target = e;
                p->prop = Intern(name.text);
                e = p;
            } else if (Is(Tok::LBracket) && !Cur().spaceBefore) {
                const Token& b = Take();
                SkipNewlines();
                auto* ix = Make<IndexExpr>(b);
                ix->line = e->line;
                ix->col = e->col;
                ix->target = e;
                ix->index = ParseExpr();
                SkipNewlines();
                Expect(Tok::RBracket, "]");
                e = ix;
            } else {
                return e;
            }
        }
    }

    Node* ParseOperand() {
        in_.CheckStack();
        const Token& t = Cur();
        switch (t.type) {
        case Tok::Int: {
            Take();
            auto* l = Make<Literal>(t);
            l->value = Value::Int(t.ival);
            return l;
        }
        case Tok::Float: {
            Take();
            auto* l = Make<Literal>(t);
            l->value = Value::Float(static_cast<float>(t.fval));
            return l;
        }
        case Tok::Time: {
            Take();
            auto* l = Make<TimeLiteral>(t);
            l->ticks = t.fval;
            l->frames = t.frames;
            return l;
        }
        case Tok::String: {
            Take();
            auto* l = Make<Literal>(t);
            l->value = Value::String(t.text);
            return l;
        }
        case Tok::NameLit: {
            Take();
            auto* l = Make<Literal>(t);
            l->value = Value::FromName(Intern(t.text));
            return l;
        }
        case Tok::Keyword:
            if (IsLiteralKw(t.kw)) {
                Take();
                auto* l = Make<Literal>(t);
                switch (t.kw) {
                case Kw::True:
                case Kw::On: l->value = Value::Bool(true); break;
                case Kw::False:
                case Kw::Off: l->value = Value::Bool(false); break;
                case Kw::OkKw: l->value = Value::Ok(); break;
                case Kw::Unsupplied: l->value = Value::Unsupplied(); break;
                default: break;
                }
                return l;
            }
            break;
        case Tok::Ident: Take(); return Resolve(t, t.text);
        case Tok::Path: {
            Take();
            auto* pe = Make<PathExpr>(t);
            pe->path = t.text;
            return pe;
        }
        case Tok::DoubleColon: {
            Take();
            if (!Is(Tok::Ident)) Fail(Cur(), "<global name>");
            const Token& nt = Take();
            auto* g = Make<GlobalScopeVar>(nt);
            g->line = t.line;
            g->col = t.col;
            g->cell = in_.impl().DefinePending(Intern(nt.text));
            return g;
        }
        case Tok::LParen: return ParseBlock();
        case Tok::HashParen: return ParseArray();
        case Tok::LBracket: return ParseVector();
        default: break;
        }
        Fail(t, "<factor>");
    }

    Node* ParseBlock() {
        const Token& open = Take();
        fn_->blocks.push_back({{}, true});
        std::vector<Node*> body;
        while (true) {
            SkipSeparators();
            if (Is(Tok::RParen)) {
                Take();
                break;
            }
            if (Is(Tok::End)) Fail(Cur(), ")");
            body.push_back(ParseExpr());
            EndStatement(Tok::RParen);
        }
        fn_->blocks.pop_back();
        if (body.size() == 1) return body[0];
        auto* b = Make<Block>(open);
        b->body = std::move(body);
        return b;
    }

    Node* ParseArray() {
        const Token& open = Take();
        auto* a = Make<ArrayExpr>(open);
        SkipNewlines();
        if (Is(Tok::RParen)) {
            Take();
            return a;
        }
        while (true) {
            SkipNewlines();
            a->items.push_back(ParseExpr());
            SkipNewlines();
            if (Is(Tok::Comma)) {
                Take();
                continue;
            }
            Expect(Tok::RParen, ")");
            return a;
        }
    }

    Node* ParseVector() {
        const Token& open = Take();
        auto* v = Make<VectorExpr>(open);
        while (true) {
            SkipNewlines();
            v->items.push_back(ParseExpr());
            SkipNewlines();
            if (Is(Tok::Comma)) {
                Take();
                continue;
            }
            Expect(Tok::RBracket, "]");
            break;
        }
        if (v->items.size() != 2 && v->items.size() != 3) Fail(open, "[x,y] or [x,y,z]");
        return v;
    }

    Interpreter& in_;
    ScriptUnit& unit_;
    std::vector<Token> toks_;
    size_t p_ = 0;
    FnScope* fn_ = nullptr;
};

}  // namespace

Ref<ScriptUnit> Parse(Interpreter& in, std::string_view text, std::string sourceName) {
    Ref<ScriptUnit> unit(new ScriptUnit);
    unit->sourceName = std::move(sourceName);
    in.impl().pending.clear();
    try {
        Parser p(in, *unit, Lex(text));
        p.ParseProgram();
    } catch (...) {
        in.impl().pending.clear();
        throw;
    }
    in.impl().CommitPending();
    return unit;
}

}  // namespace host::script
