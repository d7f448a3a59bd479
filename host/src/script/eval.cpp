#include <cmath>

#include "ast.h"
#include "script_time.h"

namespace host::script {

namespace {

// Runs `f`, turning host C++ exceptions into script runtime errors stamped at `n`.
template <class F>
Value Guarded(const Node* n, F&& f) {
    try {
        return f();
    } catch (ScriptError& e) {
        n->Stamp(e);
        throw;
    } catch (const std::exception& e) {
        ScriptError se = RuntimeError(e.what());
        n->Stamp(se);
        throw se;
    }
}

bool IsValueType(const Value& v) { return v.tag() != Tag::Array && v.tag() != Tag::Object; }

// Arguments of one call: a few inline, more on the heap.
class ArgBuffer {
public:
    explicit ArgBuffer(size_t n) {
        if (n > kInline) heap_.resize(n);
        data_ = n > kInline ? heap_.data() : inline_;
    }
    Value* data() { return data_; }

private:
    static constexpr size_t kInline = 6;
    Value inline_[kInline];
    std::vector<Value> heap_;
    Value* data_;
};

// System globals go through their accessors; errors there are stamped with the node's place.
Value ReadCell(const Node* n, GlobalCell* cell, Exec& x) {
    if (!cell->system) return cell->value;
    return Guarded(n, [&] { return cell->get(x.in); });
}

void WriteCell(const Node* n, GlobalCell* cell, Exec& x, const Value& v) {
    if (!cell->system) {
        cell->value = v;
        return;
    }
    Guarded(n, [&] {
        if (!cell->set) throw RuntimeError("Cannot set the value of " + std::string(cell->name.Str()));
        cell->set(x.in, v);
        return Value();
    });
}

}  // namespace

Value TimeLiteral::Eval(Exec&) {
    return Value::Time(static_cast<int32_t>(std::lround(ticks + frames * TicksPerFrame())));
}

Value GlobalVar::Eval(Exec& x) { return ReadCell(this, cell, x); }
void GlobalVar::Store(Exec& x, const Value& v) { WriteCell(this, cell, x, v); }
Value GlobalScopeVar::Eval(Exec& x) { return ReadCell(this, cell, x); }
void GlobalScopeVar::Store(Exec& x, const Value& v) { WriteCell(this, cell, x, v); }

Value PathExpr::Eval(Exec& x) {
    return Guarded(this, [&] { return x.in.Host().ResolvePath(x.in, path); });
}

Value Block::Eval(Exec& x) {
    x.in.CheckStack();
    Value last;
    for (Node* n : body) last = n->Eval(x);
    return last;
}

Value ArrayExpr::Eval(Exec& x) {
    std::vector<Value> v;
    v.reserve(items.size());
    for (Node* n : items) v.push_back(n->Eval(x));
    return Value::NewArray(std::move(v));
}

Value VectorExpr::Eval(Exec& x) {
    float c[3] = {0, 0, 0};
    for (size_t i = 0; i < items.size(); ++i) {
        Value v = items[i]->Eval(x);
        Guarded(items[i], [&] {
            c[i] = v.ToFloat();
            return Value();
        });
    }
    return items.size() == 2 ? Value::Point2(c[0], c[1]) : Value::Point3(c[0], c[1], c[2]);
}

Value Unary::Eval(Exec& x) {
    Value v = operand->Eval(x);
    return Guarded(this, [&] { return Negate(v); });
}

Value Binary::Eval(Exec& x) {
    x.in.CheckStack();
    Value a = lhs->Eval(x);
    Value b = rhs->Eval(x);
    if (a.tag() == Tag::Int && b.tag() == Tag::Int) {
        // wrap-around as 32-bit integers do, without undefined behaviour
        uint32_t ua = static_cast<uint32_t>(a.RawInt()), ub = static_cast<uint32_t>(b.RawInt());
        switch (op) {
        case BinOp::Add: return Value::Int(static_cast<int32_t>(ua + ub));
        case BinOp::Sub: return Value::Int(static_cast<int32_t>(ua - ub));
        case BinOp::Mul: return Value::Int(static_cast<int32_t>(ua * ub));
        case BinOp::Lt: return Value::Bool(a.RawInt() < b.RawInt());
        case BinOp::Gt: return Value::Bool(a.RawInt() > b.RawInt());
        case BinOp::Le: return Value::Bool(a.RawInt() <= b.RawInt());
        case BinOp::Ge: return Value::Bool(a.RawInt() >= b.RawInt());
        case BinOp::Eq: return Value::Bool(a.RawInt() == b.RawInt());
        case BinOp::Ne: return Value::Bool(a.RawInt() != b.RawInt());
        default: break;
        }
    } else if (a.tag() == Tag::Float && b.tag() == Tag::Float) {
        float fa = a.RawFloat(), fb = b.RawFloat();
        switch (op) {
        case BinOp::Add: return Value::Float(fa + fb);
        case BinOp::Sub: return Value::Float(fa - fb);
        case BinOp::Mul: return Value::Float(fa * fb);
        case BinOp::Div: return Value::Float(fa / fb);
        case BinOp::Lt: return Value::Bool(fa < fb);
        case BinOp::Gt: return Value::Bool(fa > fb);
        default: break;
        }
    }
    return Guarded(this, [&] { return Arith(x.in, op, a, b); });
}

Value Logical::Eval(Exec& x) {
    Value a = lhs->Eval(x);
    bool ba = false;
    Guarded(lhs, [&] {
        ba = a.ToBool();
        return Value();
    });
    if (isAnd ? !ba : ba) return Value::Bool(ba);
    Value b = rhs->Eval(x);
    bool bb = false;
    Guarded(rhs, [&] {
        bb = b.ToBool();
        return Value();
    });
    return Value::Bool(bb);
}

Value Not::Eval(Exec& x) {
    Value v = operand->Eval(x);
    return Guarded(this, [&] { return Value::Bool(!v.ToBool()); });
}

Value AsExpr::Eval(Exec& x) {
    Value v = operand->Eval(x);
    Value c = cls->Eval(x);
    return Guarded(this, [&] { return Convert(x.in, v, c); });
}

Value PropertyExpr::Eval(Exec& x) {
    x.in.CheckStack();
    Value t = target->Eval(x);
    return Guarded(this, [&] { return x.in.GetProperty(t, prop); });
}

void PropertyExpr::Store(Exec& x, const Value& v) {
    Value t = target->Eval(x);
    if (!IsValueType(t)) {
        Guarded(this, [&] {
            x.in.SetProperty(t, prop, v);
            return Value();
        });
        return;
    }
    // A component of a value type: change a copy, then store the copy where it came from.
    Guarded(this, [&] {
        if (!SetBuiltinProperty(x.in, t, prop, v)) throw UnknownPropertyError(prop.Str(), t);
        return Value();
    });
    if (target->Assignable()) target->Store(x, t);
}

Value IndexExpr::Eval(Exec& x) {
    Value t = target->Eval(x);
    Value i = index->Eval(x);
    return Guarded(this, [&] { return GetIndexed(x.in, t, i); });
}

void IndexExpr::Store(Exec& x, const Value& v) {
    Value t = target->Eval(x);
    Value i = index->Eval(x);
    Guarded(this, [&] {
        SetIndexed(x.in, t, i, v);
        return Value();
    });
    if (IsValueType(t) && target->Assignable()) target->Store(x, t);
}

Value Assign::Eval(Exec& x) {
    Value v = value->Eval(x);
    if (compound) {
        Value cur = target->Eval(x);
        if (cur.tag() == Tag::Int && v.tag() == Tag::Int && op != BinOp::Div) {
            uint32_t a = static_cast<uint32_t>(cur.RawInt()), b = static_cast<uint32_t>(v.RawInt());
            v = Value::Int(static_cast<int32_t>(op == BinOp::Add ? a + b : op == BinOp::Sub ? a - b : a * b));
        } else {
            v = Guarded(this, [&] { return Arith(x.in, op, cur, v); });
        }
    }
    target->Store(x, v);
    return v;
}

Value CallExpr::Eval(Exec& x) {
    Interpreter& in = x.in;
    in.CheckStack();
    auto* method = dynamic_cast<PropertyExpr*>(callee);
    Value self, fn;
    if (method) self = method->target->Eval(x);
    else fn = callee->Eval(x);

    ArgBuffer pos(args.size());
    for (size_t i = 0; i < args.size(); ++i) pos.data()[i] = args[i]->Eval(x);
    std::vector<KeyArg> kv;
    if (!keys.empty()) {
        kv.reserve(keys.size());
        for (const KeyArgNode& k : keys) kv.push_back({k.key, k.value->Eval(x)});
    }
    CallArgs ca{std::span<const Value>(pos.data(), args.size()), std::span<const KeyArg>(kv)};
    return Guarded(this, [&] {
        if (method) {
            if (self.IsObject()) {
                Value out;
                if (self.RawObject()->CallMethod(in, method->prop, ca, out)) return out;
                throw UnknownPropertyError(method->prop.Str(), self);
            }
            fn = in.GetProperty(self, method->prop);
        }
        return in.Call(fn, ca);
    });
}

Value IfExpr::Eval(Exec& x) {
    x.in.CheckStack();
    Value c = cond->Eval(x);
    bool b = false;
    Guarded(cond, [&] {
        b = c.ToBool();
        return Value();
    });
    if (b) return then->Eval(x);
    if (otherwise) return otherwise->Eval(x);
    return Value();
}

namespace {

bool TestCondition(Exec& x, Node* n) {
    Value c = n->Eval(x);
    bool b = false;
    Guarded(n, [&] {
        b = c.ToBool();
        return Value();
    });
    return b;
}

// Runs one iteration of a loop body; answers false when `exit` ended the loop.
template <class F>
bool RunBody(bool catchesExit, bool catchesContinue, Value& exitValue, bool& exited, F&& f) {
    if (!catchesExit && !catchesContinue) {
        f();
        return true;
    }
    try {
        f();
    } catch (ContinueSignal&) {
        if (!catchesContinue) throw;
    } catch (ExitSignal& e) {
        if (!catchesExit) throw;
        exitValue = std::move(e.value);
        exited = true;
        return false;
    }
    return true;
}

}  // namespace

Value WhileExpr::Eval(Exec& x) {
    Value last, exitValue;
    bool exited = false;
    if (doWhile) {
        do {
            x.in.CheckInterrupt();
            if (!RunBody(catchesExit, catchesContinue, exitValue, exited, [&] { last = body->Eval(x); })) break;
        } while (TestCondition(x, cond));
    } else {
        while (TestCondition(x, cond)) {
            x.in.CheckInterrupt();
            if (!RunBody(catchesExit, catchesContinue, exitValue, exited, [&] { last = body->Eval(x); })) break;
        }
    }
    if (exited) return exitValue.IsUndefined() ? Value::Ok() : exitValue;
    return last;
}

Value ForExpr::Eval(Exec& x) {
    Interpreter& in = x.in;
    std::vector<Value> collected;
    Value exitValue;
    bool exited = false;
    // One pass with the loop variable set; false ends the loop.
    auto step1 = [&](const Value& v) -> bool {
        in.CheckInterrupt();
        var->Store(x, v);
        if (whileCond && !TestCondition(x, whileCond)) return false;
        if (where && !TestCondition(x, where)) return true;
        return RunBody(catchesExit, catchesContinue, exitValue, exited, [&] {
            Value r = body->Eval(x);
            if (collect) collected.push_back(std::move(r));
        });
    };
    if (from) {
        Value a = from->Eval(x);
        Value b = limit->Eval(x);
        Value s = step ? step->Eval(x) : Value::Int(1);
        if (a.IsInt() && b.IsInt() && s.IsInt()) {
            int64_t i = a.RawInt(), end = b.RawInt(), st = s.RawInt();
            if (st == 0) {
                ScriptError e = RuntimeError("for loop step must not be zero");
                Stamp(e);
                throw e;
            }
            for (; st > 0 ? i <= end : i >= end; i += st)
                if (!step1(Value::Int(static_cast<int32_t>(i)))) break;
        } else if (a.IsTime() || b.IsTime()) {
            int64_t i = 0, end = 0, st = 0;
            Guarded(this, [&] {
                i = TimeOf(a);
                end = TimeOf(b);
                st = s.IsTime() ? s.RawTime() : static_cast<int64_t>(std::lround(s.ToFloat() * TicksPerFrame()));
                if (st == 0) throw RuntimeError("for loop step must not be zero");
                return Value();
            });
            for (; st > 0 ? i <= end : i >= end; i += st)
                if (!step1(Value::Time(static_cast<int32_t>(i)))) break;
        } else {
            double i = 0, end = 0, st = 0;
            Guarded(this, [&] {
                i = a.ToFloat();
                end = b.ToFloat();
                st = s.ToFloat();
                if (st == 0) throw RuntimeError("for loop step must not be zero");
                return Value();
            });
            // count iterations up front so float steps do not drift past the limit
            int64_t n = static_cast<int64_t>(std::floor((end - i) / st + 1e-6));
            for (int64_t k = 0; k <= n; ++k)
                if (!step1(Value::Float(static_cast<float>(i + k * st)))) break;
        }
    } else {
        Value c = coll->Eval(x);
        std::vector<Value> items;
        Guarded(this, [&] {
            items = Items(in, c);
            return Value();
        });
        for (const Value& v : items)
            if (!step1(v)) break;
    }
    if (exited && !exitValue.IsUndefined()) return exitValue;
    if (collect) return Value::NewArray(std::move(collected));
    return Value::Ok();
}

Value ExitExpr::Eval(Exec& x) { throw ExitSignal{value ? value->Eval(x) : Value()}; }

Value ContinueExpr::Eval(Exec&) { throw ContinueSignal{}; }

Value ReturnExpr::Eval(Exec& x) { throw ReturnSignal{value ? value->Eval(x) : Value()}; }

Value CaseExpr::Eval(Exec& x) {
    Value s;
    if (subject) s = subject->Eval(x);
    Node* fallback = nullptr;
    for (const CaseClause& c : clauses) {
        if (!c.label) {
            fallback = c.body;
            continue;
        }
        Value l = c.label->Eval(x);
        bool hit = false;
        Guarded(c.label, [&] {
            hit = subject ? ValuesEqual(s, l) : l.ToBool();
            return Value();
        });
        if (hit) return c.body->Eval(x);
    }
    return fallback ? fallback->Eval(x) : Value();
}

namespace {

// Keeps the error being handled visible to getCurrentException and `throw` while the catch runs.
struct CurrentException {
    Interpreter::Impl& impl;
    CurrentException(Interpreter::Impl& i, const ScriptError& e) : impl(i) { impl.handling.push_back(e); }
    ~CurrentException() { impl.handling.pop_back(); }
};

}  // namespace

Value TryExpr::Eval(Exec& x) {
    ScriptError caught("");
    try {
        return body->Eval(x);
    } catch (ScriptError& e) {
        caught = e;
    } catch (const std::exception& e) {
        caught = RuntimeError(e.what());
        Stamp(caught);
    }
    CurrentException guard(x.in.impl(), caught);
    return handler->Eval(x);
}

Value ThrowExpr::Eval(Exec& x) {
    if (!message) {
        auto& h = x.in.impl().handling;
        if (h.empty()) {
            ScriptError e = RuntimeError("throw without an exception to rethrow");
            Stamp(e);
            throw e;
        }
        throw ScriptError(h.back());
    }
    Value m = message->Eval(x);
    std::string text = m.ToDisplay();
    Value v;
    if (value) {
        v = value->Eval(x);
        text += " " + v.Print();
    }
    ScriptError e = RuntimeError(text);
    e.SetThrown(v);
    Stamp(e);
    throw e;
}

Value FunctionDef::Eval(Exec& x) {
    Value f = Value::Object(new FunctionValue(unit, proto, x.frame));
    if (target) target->Store(x, f);
    return f;
}

Value DeclExpr::Eval(Exec& x) {
    Value last;
    for (const LocalInit& v : vars) {
        if (v.init) {
            last = v.init->Eval(x);
            v.target->Store(x, last);
        } else if (!global) {
            last = Value();
            v.target->Store(x, last);
        } else {
            last = v.target->Eval(x);
        }
    }
    return last;
}

namespace {

struct AtTimeScope {
    Interpreter& in;
    int32_t saved;
    AtTimeScope(Interpreter& i, int32_t t) : in(i), saved(i.atTime_) {
        in.atTime_ = t;
        ++in.atTimeDepth_;
    }
    ~AtTimeScope() {
        in.atTime_ = saved;
        --in.atTimeDepth_;
    }
};

struct AnimateScope {
    ScriptHost& host;
    bool saved;
    AnimateScope(ScriptHost& h, bool on) : host(h), saved(h.Animating()) { host.SetAnimating(on); }
    ~AnimateScope() { host.SetAnimating(saved); }
};

struct SuspendScope {
    ScriptHost& host;
    explicit SuspendScope(ScriptHost& h) : host(h) { host.HoldSuspend(); }
    ~SuspendScope() { host.HoldResume(); }
};

struct RedrawScope {
    ScriptHost& host;
    RedrawScope(ScriptHost& h, bool on) : host(h) { host.SetRedraw(on); }
    ~RedrawScope() { host.SetRedraw(true); }
};

bool SwitchOf(Node* n, Exec& x) {
    Value v = n->Eval(x);
    bool b = false;
    Guarded(n, [&] {
        b = v.ToBool();
        return Value();
    });
    return b;
}

}  // namespace

static Value EvalContexts(ContextExpr& c, Exec& x, size_t i) {
    if (i == c.contexts.size()) return c.body->Eval(x);
    const ContextClause& cl = c.contexts[i];
    Interpreter& in = x.in;
    switch (cl.kind) {
    case ContextKind::AtTime: {
        Value t = cl.arg->Eval(x);
        int32_t ticks = 0;
        Guarded(cl.arg, [&] {
            ticks = TimeOf(t);
            return Value();
        });
        AtTimeScope scope(in, ticks);
        return EvalContexts(c, x, i + 1);
    }
    case ContextKind::Animate: {
        AnimateScope scope(in.Host(), SwitchOf(cl.arg, x));
        return EvalContexts(c, x, i + 1);
    }
    case ContextKind::Undo: {
        std::string label = "Script";
        if (cl.label) label = cl.label->Eval(x).ToDisplay();
        if (!SwitchOf(cl.arg, x)) {
            SuspendScope scope(in.Host());
            return EvalContexts(c, x, i + 1);
        }
        // One hold around the body; an error inside still accepts it so the hold never dangles.
        in.Host().HoldBegin();
        Value v;
        try {
            v = EvalContexts(c, x, i + 1);
        } catch (...) {
            in.Host().HoldAccept(label);
            throw;
        }
        in.Host().HoldAccept(label);
        return v;
    }
    case ContextKind::Redraw: {
        RedrawScope scope(in.Host(), SwitchOf(cl.arg, x));
        return EvalContexts(c, x, i + 1);
    }
    case ContextKind::Quiet: SwitchOf(cl.arg, x); return EvalContexts(c, x, i + 1);
    }
    return Value();
}

Value ContextExpr::Eval(Exec& x) { return EvalContexts(*this, x, 0); }

Value MaxCommand::Eval(Exec& x) {
    return Guarded(this, [&] {
        if (!x.in.Host().MaxCommand(x.in, command)) throw RuntimeError("Unknown max command: " + command);
        return Value::Ok();
    });
}

Value MacroDef::Eval(Exec& x) {
    Value fn = execute->Eval(x);
    std::string category;
    static const Name kCategory = Name::Intern("category");
    for (const KeyArgNode& k : keys)
        if (k.key == kCategory) category = k.value->Eval(x).ToDisplay();
    x.in.impl().macros[MacroKey(category, name)] = fn;
    return Value::Ok();
}

std::string MacroKey(std::string_view category, std::string_view name) {
    std::string k = std::string(category) + '\x1F' + std::string(name);
    for (char& c : k) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return k;
}

// ---- user functions -------------------------------------------------------------------------

bool FunctionValue::Call(Interpreter& in, const CallArgs& args, Value& out) {
    in.CheckStack();
    in.CheckInterrupt();
    if (proto_->mapped && !args.pos.empty() && (args[0].IsArray() || args[0].IsObject())) {
        std::vector<Value> items;
        bool collection = args[0].IsArray();
        if (collection) items = args[0].RawArray()->items;
        else collection = args[0].RawObject()->Items(in, items);
        if (collection) {
            std::vector<Value> each(args.pos.begin(), args.pos.end());
            for (const Value& item : items) {
                each[0] = item;
                Invoke(in, CallArgs{std::span<const Value>(each), args.keys});
            }
            out = Value::Ok();
            return true;
        }
    }
    out = Invoke(in, args);
    return true;
}

Value FunctionValue::Invoke(Interpreter& in, const CallArgs& args) {
    const FunctionProto& p = *proto_;
    if (args.Count() != p.params.size())
        throw ArgCountError(p.name, static_cast<int>(p.params.size()), static_cast<int>(args.Count()));
    Ref<Frame> f(new Frame(p.slots, env_.get()));
    for (size_t i = 0; i < p.params.size(); ++i) f->slots[p.params[i]] = args[i];
    Exec x{in, f.get()};
    for (const KeyParam& k : p.keys) {
        if (const Value* v = args.Key(k.name)) f->slots[k.slot] = *v;
        else if (k.def) f->slots[k.slot] = k.def->Eval(x);
        else f->slots[k.slot] = Value::Unsupplied();
    }
    if (!p.hasReturn) return p.body->Eval(x);
    try {
        return p.body->Eval(x);
    } catch (ReturnSignal& r) {
        return std::move(r.value);
    }
}

ScriptUnit::~ScriptUnit() = default;

Value RunUnit(Interpreter& in, ScriptUnit& unit, bool echo) {
    Ref<Frame> top(new Frame(unit.topSlots, nullptr));
    Exec x{in, top.get()};
    Value last;
    try {
        for (Node* n : unit.top) {
            last = n->Eval(x);
            if (echo) in.Write(last.Print() + "\n");
        }
    } catch (ReturnSignal& r) {
        last = std::move(r.value);
    }
    return last;
}

}  // namespace host::script
