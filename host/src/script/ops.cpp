#include <cmath>
#include <cstdlib>

#include "euler.h"
#include "matrix3.h"
#include "quat.h"
#include "runtime.h"
#include "script_time.h"

namespace host::script {

// ---- math on plain floats, through the host's types ---------------------------------------------

namespace vmath {

namespace {
constexpr float kDeg = 3.14159265358979323846f / 180.f;
::Matrix3 ToM(const float m[12]) {
    return ::Matrix3(::Point3(m[0], m[1], m[2]), ::Point3(m[3], m[4], m[5]), ::Point3(m[6], m[7], m[8]),
                     ::Point3(m[9], m[10], m[11]));
}
void FromM(const ::Matrix3& mm, float out[12]) {
    for (int r = 0; r < 4; ++r)
        for (int c = 0; c < 3; ++c) out[r * 3 + c] = mm[r][c];
}
void FromQ(const ::Quat& q, float out[4]) {
    out[0] = q.x;
    out[1] = q.y;
    out[2] = q.z;
    out[3] = q.w;
}
}  // namespace

void QuatMul(const float a[4], const float b[4], float out[4]) { FromQ(::Quat(a) * ::Quat(b), out); }
void QuatInverse(const float q[4], float out[4]) { FromQ(::Quat(q).Inverse(), out); }
void QuatNormalize(float q[4]) {
    ::Quat t(q);
    t.Normalize();
    FromQ(t, q);
}
void EulerToQuat(const float deg[3], float out[4]) {
    float ang[3] = {deg[0] * kDeg, deg[1] * kDeg, deg[2] * kDeg};
    ::Quat q;
    ::EulerToQuat(ang, q, EULERTYPE_XYZ);
    FromQ(q, out);
}
void QuatToEuler(const float q[4], float deg[3]) {
    float ang[3];
    ::QuatToEuler(::Quat(q), ang, EULERTYPE_XYZ);
    for (int i = 0; i < 3; ++i) deg[i] = ang[i] / kDeg;
}
void QuatToMatrix(const float q[4], float m[12]) {
    ::Matrix3 mm;
    ::Quat(q).MakeMatrix(mm);
    FromM(mm, m);
}
void MatrixToQuat(const float m[12], float q[4]) { FromQ(::Quat(ToM(m)), q); }
void MatrixMul(const float a[12], const float b[12], float out[12]) { FromM(ToM(a) * ToM(b), out); }
bool MatrixInverse(const float m[12], float out[12]) {
    ::Matrix3 mm = ToM(m);
    ::Point3 r0 = mm[0], r1 = mm[1], r2 = mm[2];
    float det = r0 % (r1 ^ r2);
    if (det == 0.f) return false;
    FromM(::Inverse(mm), out);
    return true;
}
void TransformPoint(const float p[3], const float m[12], float out[3]) {
    ::Point3 r = ::Point3(p[0], p[1], p[2]) * ToM(m);
    out[0] = r.x;
    out[1] = r.y;
    out[2] = r.z;
}
void RotateVector(const float v[3], const float q[4], float out[3]) {
    ::Point3 r = ::TransformVector(::Quat(q), ::Point3(v[0], v[1], v[2]));
    out[0] = r.x;
    out[1] = r.y;
    out[2] = r.z;
}
void Identity(float m[12]) { FromM(::Matrix3(), m); }

}  // namespace vmath

// ---- operators ----------------------------------------------------------------------------------

const char* OpSymbol(BinOp op) {
    switch (op) {
    case BinOp::Add: return "+";
    case BinOp::Sub: return "-";
    case BinOp::Mul: return "*";
    case BinOp::Div: return "/";
    case BinOp::Pow: return "^";
    case BinOp::Eq: return "==";
    case BinOp::Ne: return "!=";
    case BinOp::Lt: return "<";
    case BinOp::Gt: return ">";
    case BinOp::Le: return "<=";
    case BinOp::Ge: return ">=";
    }
    return "?";
}

int32_t TimeOf(const Value& v) {
    if (v.IsTime()) return v.RawTime();
    if (v.IsNumber()) return v.ToTime();
    throw ConversionError(v, "Time");
}

namespace {

Value Compare(BinOp op, int c) {
    switch (op) {
    case BinOp::Lt: return Value::Bool(c < 0);
    case BinOp::Gt: return Value::Bool(c > 0);
    case BinOp::Le: return Value::Bool(c <= 0);
    case BinOp::Ge: return Value::Bool(c >= 0);
    default: return Value::Bool(false);
    }
}

template <class T>
int Cmp(T a, T b) {
    return a < b ? -1 : (b < a ? 1 : 0);
}

Value IntArith(BinOp op, int32_t a, int32_t b) {
    uint32_t ua = static_cast<uint32_t>(a), ub = static_cast<uint32_t>(b);
    switch (op) {
    case BinOp::Add: return Value::Int(static_cast<int32_t>(ua + ub));
    case BinOp::Sub: return Value::Int(static_cast<int32_t>(ua - ub));
    case BinOp::Mul: return Value::Int(static_cast<int32_t>(ua * ub));
    case BinOp::Div:
        if (b == 0) throw RuntimeError("Integer divide by zero");
        if (a == INT32_MIN && b == -1) return Value::Int(INT32_MIN);
        return Value::Int(a / b);
    case BinOp::Pow: {
        if (b < 0) return Value::Float(std::pow(static_cast<float>(a), static_cast<float>(b)));
        uint32_t r = 1, base = ua;
        for (int32_t e = b; e > 0; e >>= 1) {
            if (e & 1) r *= base;
            base *= base;
        }
        return Value::Int(static_cast<int32_t>(r));
    }
    default: return Compare(op, Cmp(a, b));
    }
}

Value FloatArith(BinOp op, float a, float b) {
    switch (op) {
    case BinOp::Add: return Value::Float(a + b);
    case BinOp::Sub: return Value::Float(a - b);
    case BinOp::Mul: return Value::Float(a * b);
    case BinOp::Div: return Value::Float(a / b);
    case BinOp::Pow: return Value::Float(std::pow(a, b));
    default: return Compare(op, Cmp(a, b));
    }
}

Value TimeArith(BinOp op, const Value& a, const Value& b) {
    auto ticks = [](double t) { return Value::Time(static_cast<int32_t>(std::llround(t))); };
    bool at = a.IsTime(), bt = b.IsTime();
    switch (op) {
    case BinOp::Add: return Value::Time(TimeOf(a) + TimeOf(b));
    case BinOp::Sub: return Value::Time(TimeOf(a) - TimeOf(b));
    case BinOp::Mul:
        if (at && bt) return ticks(static_cast<double>(a.RawTime()) * b.RawTime() / TicksPerFrame());
        return ticks(static_cast<double>(at ? a.RawTime() : b.RawTime()) * (at ? b.ToFloat() : a.ToFloat()));
    case BinOp::Div:
        if (at && bt) {
            if (b.RawTime() == 0) throw RuntimeError("Integer divide by zero");
            return Value::Float(static_cast<float>(static_cast<double>(a.RawTime()) / b.RawTime()));
        }
        if (at) {
            float d = b.ToFloat();
            if (d == 0.f) throw RuntimeError("Integer divide by zero");
            return ticks(a.RawTime() / static_cast<double>(d));
        }
        return Value::Float(a.ToFloat() / (static_cast<float>(b.RawTime()) / TicksPerFrame()));
    case BinOp::Pow: throw NoFunctionError("^", a);
    default: return Compare(op, Cmp(TimeOf(a), TimeOf(b)));
    }
}

bool IsVecTag(Tag t) { return t == Tag::Point3 || t == Tag::Point2 || t == Tag::Color; }

int Width(Tag t) { return t == Tag::Point2 ? 2 : (t == Tag::Color ? 4 : 3); }

Value MakeVec(Tag t, const float v[4]) {
    switch (t) {
    case Tag::Point2: return Value::Point2(v[0], v[1]);
    case Tag::Color: return Value::Color(v[0], v[1], v[2], v[3]);
    default: return Value::Point3(v[0], v[1], v[2]);
    }
}

float ApplyF(BinOp op, float a, float b) {
    switch (op) {
    case BinOp::Add: return a + b;
    case BinOp::Sub: return a - b;
    case BinOp::Mul: return a * b;
    default: return a / b;
    }
}

Value VecArith(BinOp op, const Value& a, const Value& b) {
    Tag t = IsVecTag(a.tag()) ? a.tag() : b.tag();
    int n = Width(t);
    float r[4] = {0, 0, 0, 255.f};
    if (IsVecTag(a.tag()) && IsVecTag(b.tag())) {
        if (a.tag() != b.tag()) throw NoFunctionError(OpSymbol(op), a);
        for (int i = 0; i < n; ++i) r[i] = ApplyF(op, a.RawVec()[i], b.RawVec()[i]);
        if (t == Tag::Color && n == 4 && op != BinOp::Add && op != BinOp::Sub) r[3] = a.RawVec()[3];
        return MakeVec(t, r);
    }
    if (IsVecTag(a.tag())) {
        float s = b.ToFloat();
        int m = t == Tag::Color ? 3 : n;
        for (int i = 0; i < m; ++i) r[i] = ApplyF(op, a.RawVec()[i], s);
        if (t == Tag::Color) r[3] = a.RawVec()[3];
        return MakeVec(t, r);
    }
    // number op vector: only + and * commute
    if (op != BinOp::Add && op != BinOp::Mul) throw NoFunctionError(OpSymbol(op), a);
    float s = a.ToFloat();
    int m = t == Tag::Color ? 3 : n;
    for (int i = 0; i < m; ++i) r[i] = ApplyF(op, s, b.RawVec()[i]);
    if (t == Tag::Color) r[3] = b.RawVec()[3];
    return MakeVec(t, r);
}

}  // namespace

Value Arith(Interpreter&, BinOp op, const Value& a, const Value& b) {
    if (op == BinOp::Eq) return Value::Bool(ValuesEqual(a, b));
    if (op == BinOp::Ne) return Value::Bool(!ValuesEqual(a, b));
    const char* sym = OpSymbol(op);
    Tag ta = a.tag(), tb = b.tag();
    if (a.IsNumber() && b.IsNumber()) {
        if (ta == Tag::Int && tb == Tag::Int) return IntArith(op, a.RawInt(), b.RawInt());
        return FloatArith(op, a.ToFloat(), b.ToFloat());
    }
    if ((a.IsTime() || a.IsNumber()) && (b.IsTime() || b.IsNumber())) return TimeArith(op, a, b);
    if (ta == Tag::String) {
        if (tb != Tag::String) throw ConversionError(b, "String");
        const std::string& sa = a.RawString()->str;
        const std::string& sb = b.RawString()->str;
        if (op == BinOp::Add) return Value::String(sa + sb);
        if (op == BinOp::Lt || op == BinOp::Gt || op == BinOp::Le || op == BinOp::Ge)
            return Compare(op, sa.compare(sb));
        throw NoFunctionError(sym, a);
    }
    if (IsVecTag(ta) || (a.IsNumber() && IsVecTag(tb))) {
        if (ta == Tag::Point3 && tb == Tag::Matrix3 && op == BinOp::Mul) {
            float r[3];
            vmath::TransformPoint(a.RawVec(), b.RawMatrix3()->m, r);
            return Value::Point3(r[0], r[1], r[2]);
        }
        if (ta == Tag::Point3 && tb == Tag::Quat && op == BinOp::Mul) {
            float r[3];
            vmath::RotateVector(a.RawVec(), b.RawVec(), r);
            return Value::Point3(r[0], r[1], r[2]);
        }
        if (op == BinOp::Pow || op == BinOp::Lt || op == BinOp::Gt || op == BinOp::Le || op == BinOp::Ge)
            throw NoFunctionError(sym, a);
        if (!IsVecTag(tb) && !b.IsNumber()) {
            if (a.IsNumber()) throw NoFunctionError(sym, a);
            throw ConversionError(b, ClassOf(a)->ClassName());
        }
        return VecArith(op, a, b);
    }
    if ((ta == Tag::Quat || ta == Tag::Euler) && op == BinOp::Mul && (tb == Tag::Quat || tb == Tag::Euler)) {
        float qa[4], qb[4], r[4];
        a.ToQuat(qa);
        b.ToQuat(qb);
        vmath::QuatMul(qa, qb, r);
        return Value::Quat(r[0], r[1], r[2], r[3]);
    }
    if (ta == Tag::Quat && (op == BinOp::Mul || op == BinOp::Div) && b.IsNumber()) {
        float s = b.ToFloat();
        const float* q = a.RawVec();
        if (op == BinOp::Div) s = 1.f / s;
        return Value::Quat(q[0] * s, q[1] * s, q[2] * s, q[3] * s);
    }
    if (ta == Tag::Quat && (op == BinOp::Add || op == BinOp::Sub) && tb == Tag::Quat) {
        const float *p = a.RawVec(), *q = b.RawVec();
        float s = op == BinOp::Add ? 1.f : -1.f;
        return Value::Quat(p[0] + s * q[0], p[1] + s * q[1], p[2] + s * q[2], p[3] + s * q[3]);
    }
    if (ta == Tag::Matrix3 && op == BinOp::Mul && (tb == Tag::Matrix3 || tb == Tag::Quat || tb == Tag::Euler)) {
        float mb[12], r[12];
        b.ToMatrix3(mb);
        vmath::MatrixMul(a.RawMatrix3()->m, mb, r);
        return Value::Matrix3(r);
    }
    if (a.IsNumber()) throw ConversionError(b, ta == Tag::Int ? "Integer" : "Float");
    if (ta == Tag::Time) throw ConversionError(b, "Time");
    throw NoFunctionError(sym, a);
}

Value Negate(const Value& v) {
    switch (v.tag()) {
    case Tag::Int: return Value::Int(static_cast<int32_t>(0u - static_cast<uint32_t>(v.RawInt())));
    case Tag::Float: return Value::Float(-v.RawFloat());
    case Tag::Time: return Value::Time(-v.RawTime());
    case Tag::Point2: return Value::Point2(-v.RawVec()[0], -v.RawVec()[1]);
    case Tag::Point3: return Value::Point3(-v.RawVec()[0], -v.RawVec()[1], -v.RawVec()[2]);
    case Tag::Euler: return Value::Euler(-v.RawVec()[0], -v.RawVec()[1], -v.RawVec()[2]);
    case Tag::Quat: {
        float r[4];
        vmath::QuatInverse(v.RawVec(), r);
        return Value::Quat(r[0], r[1], r[2], r[3]);
    }
    default: throw NoFunctionError("-", v);
    }
}

// ---- conversion -----------------------------------------------------------------------------------

namespace {

// Leading number of a string, or undefined when it does not start with one.
Value ParseNumber(const std::string& s, bool wantInt) {
    const char* b = s.c_str();
    while (*b == ' ' || *b == '\t') ++b;
    char* end = nullptr;
    double d = std::strtod(b, &end);
    if (end == b) return Value();
    while (*end == ' ' || *end == '\t' || *end == '\r' || *end == '\n') ++end;
    if (*end) return Value();
    if (wantInt) {
        if (!std::isfinite(d) || std::fabs(d) >= 2147483648.0) return Value();
        return Value::Int(static_cast<int32_t>(d));
    }
    return Value::Float(static_cast<float>(d));
}

}  // namespace

Value Convert(Interpreter& in, const Value& v, const Value& clsValue) {
    ScriptClass* cls = clsValue.As<ScriptClass>();
    if (!cls) throw TypeError("as needs a class, got: " + clsValue.Print());
    if (cls == classes::String()) return v.IsString() ? v : Value::String(v.ToDisplay());
    if (cls == classes::Integer()) {
        if (v.IsString()) return ParseNumber(v.RawString()->str, true);
        if (v.IsBool()) return Value::Int(v.RawBool() ? 1 : 0);
        return Value::Int(v.ToInt());
    }
    if (cls == classes::Float()) {
        if (v.IsString()) return ParseNumber(v.RawString()->str, false);
        if (v.IsBool()) return Value::Float(v.RawBool() ? 1.f : 0.f);
        return Value::Float(v.ToFloat());
    }
    if (cls == classes::Number()) {
        if (v.IsString()) {
            Value f = ParseNumber(v.RawString()->str, false);
            if (f.IsFloat() && std::floor(f.RawFloat()) == f.RawFloat() &&
                v.RawString()->str.find_first_of(".eE") == std::string::npos)
                return Value::Int(static_cast<int32_t>(f.RawFloat()));
            return f;
        }
        if (v.IsNumber()) return v;
        return Value::Float(v.ToFloat());
    }
    if (cls == classes::Time()) return Value::Time(TimeOf(v));
    if (cls == classes::NameClass()) return Value::FromName(v.IsName() ? v.RawName() : Name::Intern(v.ToDisplay()));
    if (cls == classes::Boolean()) {
        if (v.IsBool()) return v;
        if (v.IsString()) {
            std::string s = v.RawString()->str;
            for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            if (s == "true") return Value::Bool(true);
            if (s == "false") return Value::Bool(false);
        }
        throw ConversionError(v, "BooleanClass");
    }
    if (cls == classes::Point3()) {
        if (v.tag() == Tag::Color) return Value::Point3(v.RawVec()[0], v.RawVec()[1], v.RawVec()[2]);
        float p[3];
        v.ToPoint3(p);
        return Value::Point3(p[0], p[1], p[2]);
    }
    if (cls == classes::Point2()) {
        if (v.tag() == Tag::Point2 || v.tag() == Tag::Point3) return Value::Point2(v.RawVec()[0], v.RawVec()[1]);
        throw ConversionError(v, "Point2");
    }
    if (cls == classes::Color()) {
        if (v.tag() == Tag::Color) return v;
        if (v.tag() == Tag::Point3) return Value::Color(v.RawVec()[0], v.RawVec()[1], v.RawVec()[2]);
        throw ConversionError(v, "Color");
    }
    if (cls == classes::Quat()) {
        float q[4];
        v.ToQuat(q);
        return Value::Quat(q[0], q[1], q[2], q[3]);
    }
    if (cls == classes::EulerAngles()) {
        if (v.tag() == Tag::Euler) return v;
        float q[4], e[3];
        v.ToQuat(q);
        vmath::QuatToEuler(q, e);
        return Value::Euler(e[0], e[1], e[2]);
    }
    if (cls == classes::Matrix3()) {
        float m[12];
        v.ToMatrix3(m);
        return Value::Matrix3(m);
    }
    if (cls == classes::Array()) {
        if (v.IsArray()) return v;
        if (v.IsObject()) {
            std::vector<Value> items;
            if (v.RawObject()->Items(in, items)) return Value::NewArray(std::move(items));
        }
        throw ConversionError(v, "Array");
    }
    if (ClassOf(v)->IsKindOf(cls)) return v;
    throw ConversionError(v, cls->ClassName());
}

// ---- properties -----------------------------------------------------------------------------------

namespace {

struct PropNames {
    Name x = Name::Intern("x"), y = Name::Intern("y"), z = Name::Intern("z"), w = Name::Intern("w");
    Name r = Name::Intern("r"), g = Name::Intern("g"), b = Name::Intern("b"), a = Name::Intern("a");
    Name red = Name::Intern("red"), green = Name::Intern("green"), blue = Name::Intern("blue"),
         alpha = Name::Intern("alpha");
    Name count = Name::Intern("count"), start = Name::Intern("start"), end = Name::Intern("end");
    Name frame = Name::Intern("frame"), ticks = Name::Intern("ticks");
    Name row1 = Name::Intern("row1"), row2 = Name::Intern("row2"), row3 = Name::Intern("row3"),
         row4 = Name::Intern("row4");
    Name translation = Name::Intern("translation"), pos = Name::Intern("pos"), position = Name::Intern("position");
    Name rotation = Name::Intern("rotation"), scale = Name::Intern("scale");
    Name angle = Name::Intern("angle"), axis = Name::Intern("axis");
};

const PropNames& P() {
    static const PropNames p;
    return p;
}

// Index of a vector component by property name, or -1.
int Component(Tag t, Name n) {
    const PropNames& p = P();
    switch (t) {
    case Tag::Point2: return n == p.x ? 0 : n == p.y ? 1 : -1;
    case Tag::Point3:
    case Tag::Euler: return n == p.x ? 0 : n == p.y ? 1 : n == p.z ? 2 : -1;
    case Tag::Quat: return n == p.x ? 0 : n == p.y ? 1 : n == p.z ? 2 : n == p.w ? 3 : -1;
    case Tag::Color:
        if (n == p.r || n == p.red) return 0;
        if (n == p.g || n == p.green) return 1;
        if (n == p.b || n == p.blue) return 2;
        if (n == p.a || n == p.alpha) return 3;
        return -1;
    default: return -1;
    }
}

int MatrixRow(Name n) {
    const PropNames& p = P();
    if (n == p.row1) return 0;
    if (n == p.row2) return 1;
    if (n == p.row3) return 2;
    if (n == p.row4 || n == p.translation || n == p.pos || n == p.position) return 3;
    return -1;
}

}  // namespace

bool GetBuiltinProperty(Interpreter&, const Value& v, Name prop, Value& out) {
    const PropNames& p = P();
    int c = Component(v.tag(), prop);
    if (c >= 0) {
        out = Value::Float(v.RawVec()[c]);
        return true;
    }
    switch (v.tag()) {
    case Tag::Array:
        if (prop == p.count) {
            out = Value::Int(static_cast<int32_t>(v.RawArray()->items.size()));
            return true;
        }
        return false;
    case Tag::String:
        if (prop == p.count) {
            out = Value::Int(static_cast<int32_t>(v.RawString()->str.size()));
            return true;
        }
        return false;
    case Tag::Interval:
        if (prop == p.start) out = Value::Time(v.IntervalStart());
        else if (prop == p.end) out = Value::Time(v.IntervalEnd());
        else return false;
        return true;
    case Tag::Time:
        if (prop == p.frame) out = Value::Float(static_cast<float>(v.RawTime()) / TicksPerFrame());
        else if (prop == p.ticks) out = Value::Int(v.RawTime());
        else return false;
        return true;
    case Tag::Quat: {
        if (prop != p.angle && prop != p.axis) return false;
        ::Point3 axis;
        float ang = 0;
        ::AngAxisFromQ(::Quat(v.RawVec()), &ang, axis);
        if (prop == p.angle) out = Value::Float(ang * 180.f / 3.14159265358979323846f);
        else out = Value::Point3(axis.x, axis.y, axis.z);
        return true;
    }
    case Tag::Matrix3: {
        const float* m = v.RawMatrix3()->m;
        int r = MatrixRow(prop);
        if (r >= 0) {
            out = Value::Point3(m[r * 3], m[r * 3 + 1], m[r * 3 + 2]);
            return true;
        }
        if (prop == p.rotation) {
            float q[4];
            vmath::MatrixToQuat(m, q);
            out = Value::Quat(q[0], q[1], q[2], q[3]);
            return true;
        }
        if (prop == p.scale) {
            auto len = [&](int row) {
                return std::sqrt(m[row * 3] * m[row * 3] + m[row * 3 + 1] * m[row * 3 + 1] +
                                 m[row * 3 + 2] * m[row * 3 + 2]);
            };
            out = Value::Point3(len(0), len(1), len(2));
            return true;
        }
        return false;
    }
    default: return false;
    }
}

bool SetBuiltinProperty(Interpreter&, Value& target, Name prop, const Value& v) {
    const PropNames& p = P();
    int c = Component(target.tag(), prop);
    if (c >= 0) {
        target.MutableVec()[c] = v.ToFloat();
        return true;
    }
    if (target.tag() == Tag::Interval) {
        int32_t s = target.IntervalStart(), e = target.IntervalEnd();
        if (prop == p.start) s = TimeOf(v);
        else if (prop == p.end) e = TimeOf(v);
        else return false;
        target = Value::Interval(s, e);
        return true;
    }
    if (target.tag() == Tag::Matrix3) {
        int r = MatrixRow(prop);
        if (r < 0) return false;
        float m[12], row[3];
        target.ToMatrix3(m);
        v.ToPoint3(row);
        for (int i = 0; i < 3; ++i) m[r * 3 + i] = row[i];
        target = Value::Matrix3(m);
        return true;
    }
    return false;
}

// ---- indexing -----------------------------------------------------------------------------------

namespace {

int32_t PositiveIndex(const Value& index) {
    if (!index.IsNumber()) throw ConversionError(index, "Integer");
    int32_t i = index.ToInt();
    if (i < 1) throw RuntimeError("array index must be positive number, got: " + std::to_string(i));
    return i;
}

int VecWidth(Tag t) {
    switch (t) {
    case Tag::Point2: return 2;
    case Tag::Point3:
    case Tag::Euler: return 3;
    case Tag::Quat:
    case Tag::Color: return 4;
    default: return 0;
    }
}

}  // namespace

Value GetIndexed(Interpreter& in, const Value& target, const Value& index) {
    switch (target.tag()) {
    case Tag::Array: {
        int32_t i = PositiveIndex(index);
        const auto& items = target.RawArray()->items;
        return static_cast<size_t>(i) <= items.size() ? items[static_cast<size_t>(i - 1)] : Value();
    }
    case Tag::String: {
        int32_t i = PositiveIndex(index);
        const std::string& s = target.RawString()->str;
        if (static_cast<size_t>(i) > s.size()) return Value();
        return Value::String(std::string(1, s[static_cast<size_t>(i - 1)]));
    }
    case Tag::Matrix3: {
        int32_t i = PositiveIndex(index);
        if (i > 4) throw RuntimeError("matrix3 row index out of range: " + std::to_string(i));
        const float* m = target.RawMatrix3()->m + (i - 1) * 3;
        return Value::Point3(m[0], m[1], m[2]);
    }
    case Tag::Object: {
        Value out;
        if (target.RawObject()->GetIndex(in, index, out)) return out;
        throw NoFunctionError("get", target);
    }
    default: {
        int w = VecWidth(target.tag());
        if (!w) throw NoFunctionError("get", target);
        int32_t i = PositiveIndex(index);
        if (i > w) throw RuntimeError("index out of range: " + std::to_string(i));
        return Value::Float(target.RawVec()[i - 1]);
    }
    }
}

void SetIndexed(Interpreter& in, Value& target, const Value& index, const Value& v) {
    switch (target.tag()) {
    case Tag::Array: {
        int32_t i = PositiveIndex(index);
        auto& items = target.RawArray()->items;
        if (static_cast<size_t>(i) > items.size()) items.resize(static_cast<size_t>(i));
        items[static_cast<size_t>(i - 1)] = v;
        return;
    }
    case Tag::String: {
        int32_t i = PositiveIndex(index);
        std::string s = target.RawString()->str;
        if (static_cast<size_t>(i) > s.size()) throw RuntimeError("string index out of range: " + std::to_string(i));
        s.replace(static_cast<size_t>(i - 1), 1, v.ToStringRef());
        target = Value::String(std::move(s));
        return;
    }
    case Tag::Matrix3: {
        int32_t i = PositiveIndex(index);
        if (i > 4) throw RuntimeError("matrix3 row index out of range: " + std::to_string(i));
        float m[12], row[3];
        target.ToMatrix3(m);
        v.ToPoint3(row);
        for (int k = 0; k < 3; ++k) m[(i - 1) * 3 + k] = row[k];
        target = Value::Matrix3(m);
        return;
    }
    case Tag::Object:
        if (target.RawObject()->SetIndex(in, index, v)) return;
        throw NoFunctionError("put", target);
    default: {
        int w = VecWidth(target.tag());
        if (!w) throw NoFunctionError("put", target);
        int32_t i = PositiveIndex(index);
        if (i > w) throw RuntimeError("index out of range: " + std::to_string(i));
        target.MutableVec()[i - 1] = v.ToFloat();
        return;
    }
    }
}

std::vector<Value> Items(Interpreter& in, const Value& coll) {
    if (coll.IsArray()) return coll.RawArray()->items;
    if (coll.IsObject()) {
        std::vector<Value> items;
        if (coll.RawObject()->Items(in, items)) return items;
    }
    throw NoFunctionError("map", coll);
}

}  // namespace host::script
