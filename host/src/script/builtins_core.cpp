// print, format, prompts, classes, arrays, execute, constructors of the value classes.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "lexer.h"
#include "runtime.h"

namespace host::script {

namespace {

// `stringStream ""`: a text buffer that format and print can write to.
class StringStreamObj final : public ScriptObject {
public:
    explicit StringStreamObj(std::string s) : text(std::move(s)) {}
    ScriptClass* Class() const override { return classes::StringStream(); }
    void Print(std::string& out) const override {
        out += "StringStream:";
        QuoteString(text, out);
    }
    void ToDisplay(std::string& out) const override { out += text; }
    std::string text;
};

// Where output of print and format goes: `to:` a string stream, else the listener.
void Emit(Interpreter& in, const CallArgs& args, const std::string& text) {
    if (const Value* to = args.Key("to")) {
        if (auto* ss = to->As<StringStreamObj>()) {
            ss->text += text;
            return;
        }
        if (!to->IsUndefined() && !(to->IsName() && to->RawName() == Name::Intern("listener")))
            throw RuntimeError("format to: needs a stream, got: " + to->Print());
    }
    in.Write(text);
}

std::string TitleOf(const CallArgs& args) {
    const Value* t = args.Key("title");
    return t ? t->ToDisplay() : std::string("Script");
}

Value MakeClassValue(ScriptClass* c) { return Value::Object(c); }

float Num(const Value& v) { return v.ToFloat(); }

void Constructor(ScriptClass* c, std::function<Value(Interpreter&, const CallArgs&)> f) { c->SetConstructor(std::move(f)); }

int32_t ItemIndex(const Value& v, const char* fn) {
    int32_t i = v.ToInt();
    if (i < 1) throw RuntimeError(std::string(fn) + ": index must be positive, got: " + std::to_string(i));
    return i;
}

bool LessThan(Interpreter& in, const Value& a, const Value& b) {
    if (a.IsName() && b.IsName()) {
        std::string sa(a.RawName().Str()), sb(b.RawName().Str());
        for (char& c : sa) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        for (char& c : sb) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        return sa < sb;
    }
    return Arith(in, BinOp::Lt, a, b).RawBool();
}

Value DeepCopy(const Value& v, int depth) {
    if (!v.IsArray() || depth > 64) return v;
    std::vector<Value> items;
    for (const Value& i : v.RawArray()->items) items.push_back(DeepCopy(i, depth + 1));
    return Value::NewArray(std::move(items));
}

}  // namespace

void RegisterCoreBuiltins(Interpreter& in) {
    // ---- value classes as globals, with their constructors ----
    ScriptClass* all[] = {classes::ValueClass(), classes::Number(),      classes::Integer(),
                          classes::Float(),      classes::Time(),        classes::Boolean(),
                          classes::UndefinedClass(), classes::UnsuppliedClass(), classes::OkClass(),
                          classes::NameClass(),  classes::String(),      classes::Array(),
                          classes::Point2(),     classes::Point3(),      classes::Quat(),
                          classes::EulerAngles(), classes::Color(),      classes::Matrix3(),
                          classes::Interval(),   classes::Function(),    classes::Primitive(),
                          classes::StringStream()};
    for (ScriptClass* c : all) in.SetGlobal(c->ClassName(), MakeClassValue(c));

    Constructor(classes::Point3(), [](Interpreter&, const CallArgs& a) {
        CheckArgCount("Point3", a, 3);
        return Value::Point3(Num(a[0]), Num(a[1]), Num(a[2]));
    });
    Constructor(classes::Point2(), [](Interpreter&, const CallArgs& a) {
        CheckArgCount("Point2", a, 2);
        return Value::Point2(Num(a[0]), Num(a[1]));
    });
    Constructor(classes::Color(), [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("Color", a, 3, 4);
        return Value::Color(Num(a[0]), Num(a[1]), Num(a[2]), a.Count() == 4 ? Num(a[3]) : 255.f);
    });
    Constructor(classes::Quat(), [](Interpreter&, const CallArgs& a) {
        if (a.Count() == 2) {
            // quat <angle degrees> <axis>: the host's left-handed angle-axis form
            float axis[3];
            a[1].ToPoint3(axis);
            float ang = Num(a[0]) * 3.14159265358979323846f / 180.f;
            float len = std::sqrt(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2]);
            if (len > 0) {
                for (float& c : axis) c /= len;
            }
            float s = std::sin(ang / 2);
            return Value::Quat(axis[0] * s, axis[1] * s, axis[2] * s, std::cos(ang / 2));
        }
        CheckArgCount("Quat", a, 4);
        return Value::Quat(Num(a[0]), Num(a[1]), Num(a[2]), Num(a[3]));
    });
    Constructor(classes::EulerAngles(), [](Interpreter&, const CallArgs& a) {
        CheckArgCount("EulerAngles", a, 3);
        return Value::Euler(Num(a[0]), Num(a[1]), Num(a[2]));
    });
    Constructor(classes::Matrix3(), [](Interpreter&, const CallArgs& a) {
        float m[12];
        if (a.Count() == 1) {
            int32_t k = a[0].ToInt();
            if (k) {
                vmath::Identity(m);
            } else {
                std::fill(m, m + 12, 0.f);
            }
            return Value::Matrix3(m);
        }
        CheckArgCount("Matrix3", a, 4);
        for (int r = 0; r < 4; ++r) a[static_cast<size_t>(r)].ToPoint3(m + r * 3);
        return Value::Matrix3(m);
    });
    Constructor(classes::Interval(), [](Interpreter&, const CallArgs& a) {
        CheckArgCount("Interval", a, 2);
        return Value::Interval(TimeOf(a[0]), TimeOf(a[1]));
    });
    Constructor(classes::StringStream(), [](Interpreter&, const CallArgs& a) {
        CheckArgCount("StringStream", a, 1);
        return Value::Object(new StringStreamObj(a[0].ToDisplay()));
    });
    Constructor(classes::Array(), [](Interpreter&, const CallArgs& a) {
        return Value::NewArray(std::vector<Value>(a.pos.begin(), a.pos.end()));
    });

    // ---- constants ----
    in.SetGlobal("pi", Value::Float(3.14159265358979323846f));
    in.SetGlobal("e", Value::Float(2.71828182845904523536f));
    in.SetGlobal("red", Value::Color(255, 0, 0));
    in.SetGlobal("green", Value::Color(0, 255, 0));
    in.SetGlobal("blue", Value::Color(0, 0, 255));
    in.SetGlobal("white", Value::Color(255, 255, 255));
    in.SetGlobal("black", Value::Color(0, 0, 0));
    in.SetGlobal("yellow", Value::Color(255, 255, 0));
    in.SetGlobal("orange", Value::Color(255, 128, 0));
    in.SetGlobal("gray", Value::Color(128, 128, 128));
    in.SetGlobal("x_axis", Value::Point3(1, 0, 0));
    in.SetGlobal("y_axis", Value::Point3(0, 1, 0));
    in.SetGlobal("z_axis", Value::Point3(0, 0, 1));
    in.SetGlobal("listener", Value::FromName(Name::Intern("listener")));

    // ---- output ----
    in.RegisterPrimitive("print", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("print", a, 1);
        Emit(in, a, a[0].Print() + "\n");
        return a[0];
    });
    in.RegisterPrimitive("format", [](Interpreter& in, const CallArgs& a) {
        if (a.Count() < 1) throw ArgCountError("format", "1+", 0);
        const std::string& f = a[0].ToStringRef();
        std::string out;
        size_t next = 1;
        for (char c : f) {
            // a % with no argument left prints as itself
            if (c == '%' && next < a.Count()) a[next++].ToDisplay(out);
            else out += c;
        }
        Emit(in, a, out);
        return Value::Ok();
    });

    // ---- prompts ----
    in.RegisterPrimitive("messageBox", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("messageBox", a, 1);
        in.Prompts().Ask(PromptKind::Message, TitleOf(a), a[0].ToDisplay(), PromptAnswer::Ok);
        return Value::Ok();
    });
    in.RegisterPrimitive("queryBox", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("queryBox", a, 1);
        PromptAnswer r = in.Prompts().Ask(PromptKind::YesNo, TitleOf(a), a[0].ToDisplay(), PromptAnswer::Yes);
        return Value::Bool(r == PromptAnswer::Yes || r == PromptAnswer::Ok);
    });
    in.RegisterPrimitive("yesNoCancelBox", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("yesNoCancelBox", a, 1);
        PromptAnswer r = in.Prompts().Ask(PromptKind::YesNoCancel, TitleOf(a), a[0].ToDisplay(), PromptAnswer::Yes);
        const char* n = r == PromptAnswer::No ? "no" : r == PromptAnswer::Cancel ? "cancel" : "yes";
        return Value::FromName(Name::Intern(n));
    });

    // ---- classes ----
    in.RegisterPrimitive("classOf", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("classOf", a, 1);
        return Value::Object(ClassOf(a[0]));
    });
    in.RegisterPrimitive("superClassOf", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("superClassOf", a, 1);
        ScriptClass* c = a[0].As<ScriptClass>();
        ScriptClass* s = c ? c->Super() : ClassOf(a[0])->Super();
        return s ? Value::Object(s) : Value();
    });
    in.RegisterPrimitive("isKindOf", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("isKindOf", a, 2);
        ScriptClass* c = a[1].As<ScriptClass>();
        if (!c) throw TypeError("isKindOf needs a class, got: " + a[1].Print());
        return Value::Bool(ClassOf(a[0])->IsKindOf(c));
    });
    in.RegisterPrimitive("isValidObj", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("isValidObj", a, 1);
        if (a[0].IsUndefined()) return Value::Bool(false);
        return Value::Bool(!(a[0].IsObject() && a[0].RawObject()->IsDead()));
    });
    in.RegisterPrimitive("isDeleted", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("isDeleted", a, 1);
        return Value::Bool(a[0].IsObject() && a[0].RawObject()->IsDead());
    });

    // ---- exceptions and execution ----
    in.RegisterPrimitive("getCurrentException", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("getCurrentException", a, 0);
        std::string e = in.CurrentException();
        return e.empty() ? Value() : Value::String(e);
    });
    in.RegisterPrimitive("execute", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("execute", a, 1);
        Ref<ScriptUnit> unit;
        try {
            unit = Parse(in, a[0].ToStringRef(), "");
        } catch (SyntaxError& e) {
            throw ScriptError("Syntax error: " + e.message);
        }
        return RunUnit(in, *unit, false);
    });
    in.RegisterPrimitive("timeStamp", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("timeStamp", a, 0);
        auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                      std::chrono::steady_clock::now().time_since_epoch())
                      .count();
        return Value::Int(static_cast<int32_t>(ms & 0x7FFFFFFF));
    });
    in.RegisterPrimitive("gc", [](Interpreter&, const CallArgs&) { return Value::Ok(); });

    // ---- arrays ----
    in.RegisterPrimitive("append", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("append", a, 2);
        if (a[0].IsString()) return Value::String(a[0].RawString()->str + a[1].ToDisplay());
        a[0].ToArray().items.push_back(a[1]);
        return a[0];
    });
    in.RegisterPrimitive("appendIfUnique", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("appendIfUnique", a, 2);
        auto& items = a[0].ToArray().items;
        for (const Value& v : items)
            if (ValuesEqual(v, a[1])) return Value::Bool(false);
        items.push_back(a[1]);
        return Value::Bool(true);
    });
    in.RegisterPrimitive("deleteItem", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("deleteItem", a, 2);
        auto& items = a[0].ToArray().items;
        int32_t i = ItemIndex(a[1], "deleteItem");
        if (static_cast<size_t>(i) <= items.size()) items.erase(items.begin() + (i - 1));
        return a[0];
    });
    in.RegisterPrimitive("insertItem", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("insertItem", a, 3);
        auto& items = a[1].ToArray().items;
        int32_t i = ItemIndex(a[2], "insertItem");
        if (static_cast<size_t>(i) > items.size()) items.resize(static_cast<size_t>(i - 1));
        items.insert(items.begin() + (i - 1), a[0]);
        return a[1];
    });
    in.RegisterPrimitive("findItem", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("findItem", a, 2);
        const auto& items = a[0].ToArray().items;
        for (size_t i = 0; i < items.size(); ++i)
            if (ValuesEqual(items[i], a[1])) return Value::Int(static_cast<int32_t>(i + 1));
        return Value::Int(0);
    });
    in.RegisterPrimitive("join", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("join", a, 2);
        auto& items = a[0].ToArray().items;
        std::vector<Value> more = Items(in, a[1]);
        items.insert(items.end(), more.begin(), more.end());
        return a[0];
    });
    in.RegisterPrimitive("sort", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("sort", a, 1);
        auto& items = a[0].ToArray().items;
        std::stable_sort(items.begin(), items.end(), [&](const Value& x, const Value& y) { return LessThan(in, x, y); });
        return a[0];
    });
    in.RegisterPrimitive("qsort", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("qsort", a, 2);
        auto& items = a[0].ToArray().items;
        Value fn = a[1];
        std::stable_sort(items.begin(), items.end(), [&](const Value& x, const Value& y) {
            Value pair[2] = {x, y};
            return in.Call(fn, CallArgs{std::span<const Value>(pair, 2), a.keys}).ToInt() < 0;
        });
        return Value::Ok();
    });
    auto extreme = [](bool max) {
        return [max](Interpreter& in, const CallArgs& a) {
            std::vector<Value> items;
            if (a.Count() == 1 && (a[0].IsArray() || a[0].IsObject())) items = Items(in, a[0]);
            else items.assign(a.pos.begin(), a.pos.end());
            if (items.empty()) return Value();
            Value best = items[0];
            for (size_t i = 1; i < items.size(); ++i)
                if (max ? LessThan(in, best, items[i]) : LessThan(in, items[i], best)) best = items[i];
            return best;
        };
    };
    in.RegisterPrimitive("amax", extreme(true));
    in.RegisterPrimitive("amin", extreme(false));
    in.RegisterPrimitive("copy", [](Interpreter&, const CallArgs& a) {
        CheckArgCountRange("copy", a, 1, 1);
        if (a[0].IsArray()) return Value::NewArray(a[0].RawArray()->items);
        return a[0];
    });
    in.RegisterPrimitive("deepCopy", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("deepCopy", a, 1);
        return DeepCopy(a[0], 0);
    });
    in.RegisterPrimitive("makeUniqueArray", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("makeUniqueArray", a, 1);
        std::vector<Value> out;
        for (const Value& v : a[0].ToArray().items) {
            bool seen = false;
            for (const Value& o : out)
                if (ValuesEqual(o, v)) seen = true;
            if (!seen) out.push_back(v);
        }
        return Value::NewArray(std::move(out));
    });
}

}  // namespace host::script
