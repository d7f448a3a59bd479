// Math built-ins. Angles are degrees, as the language has them.
#include <cmath>

#include "runtime.h"

namespace host::script {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDeg = kPi / 180.0;

using Unary = double (*)(double);

// Sine and cosine of degrees, exact at the quarter turns so that rotations by 90 degrees give
// clean matrices.
void SinCosDeg(double deg, double& s, double& c) {
    double r = std::fmod(deg, 360.0);
    if (r < 0) r += 360.0;
    if (r == 0) { s = 0; c = 1; return; }
    if (r == 90) { s = 1; c = 0; return; }
    if (r == 180) { s = 0; c = -1; return; }
    if (r == 270) { s = -1; c = 0; return; }
    s = std::sin(deg * kDeg);
    c = std::cos(deg * kDeg);
}

double SinDeg(double d) {
    double s, c;
    SinCosDeg(d, s, c);
    return s;
}

double CosDeg(double d) {
    double s, c;
    SinCosDeg(d, s, c);
    return c;
}

void Fn1(Interpreter& in, const char* name, Unary f) {
    std::string n = name;
    in.RegisterPrimitive(name, [n, f](Interpreter&, const CallArgs& a) {
        CheckArgCount(n, a, 1);
        return Value::Float(static_cast<float>(f(a[0].ToFloat())));
    });
}

void Vec3(const Value& v, double out[3]) {
    float p[3];
    v.ToPoint3(p);
    for (int i = 0; i < 3; ++i) out[i] = p[i];
}

double Len(const Value& v) {
    if (v.tag() == Tag::Quat) {
        const float* q = v.RawVec();
        return std::sqrt(double(q[0]) * q[0] + double(q[1]) * q[1] + double(q[2]) * q[2] + double(q[3]) * q[3]);
    }
    if (v.tag() == Tag::Point2) {
        const float* p = v.RawVec();
        return std::sqrt(double(p[0]) * p[0] + double(p[1]) * p[1]);
    }
    double p[3];
    Vec3(v, p);
    return std::sqrt(p[0] * p[0] + p[1] * p[1] + p[2] * p[2]);
}

Value RandomBetween(Interpreter& in, const Value& lo, const Value& hi) {
    if (lo.IsInt() && hi.IsInt()) {
        int64_t a = lo.RawInt(), b = hi.RawInt();
        if (a > b) std::swap(a, b);
        uint64_t span = static_cast<uint64_t>(b - a) + 1;
        return Value::Int(static_cast<int32_t>(a + static_cast<int64_t>(in.NextRandom() % span)));
    }
    double u = in.NextRandom() / 4294967296.0;
    if (lo.tag() == Tag::Point3 && hi.tag() == Tag::Point3) {
        float r[3];
        for (int i = 0; i < 3; ++i) {
            double ui = i == 0 ? u : in.NextRandom() / 4294967296.0;
            r[i] = static_cast<float>(lo.RawVec()[i] + ui * (hi.RawVec()[i] - lo.RawVec()[i]));
        }
        return Value::Point3(r[0], r[1], r[2]);
    }
    double a = lo.ToFloat(), b = hi.ToFloat();
    return Value::Float(static_cast<float>(a + u * (b - a)));
}

Value Rotation(int axis, const Value& angle) {
    float m[12];
    vmath::Identity(m);
    double sd, cd;
    SinCosDeg(angle.ToFloat(), sd, cd);
    float c = static_cast<float>(cd), s = static_cast<float>(sd);
    // right-handed rotations on row vectors
    int i = (axis + 1) % 3, j = (axis + 2) % 3;
    m[i * 3 + i] = c;
    m[i * 3 + j] = s;
    m[j * 3 + i] = -s;
    m[j * 3 + j] = c;
    return Value::Matrix3(m);
}

}  // namespace

void RegisterMathBuiltins(Interpreter& in) {
    Fn1(in, "sin", &SinDeg);
    Fn1(in, "cos", &CosDeg);
    Fn1(in, "tan", [](double d) { return SinDeg(d) / CosDeg(d); });
    Fn1(in, "asin", [](double d) { return std::asin(d) / kDeg; });
    Fn1(in, "acos", [](double d) { return std::acos(d) / kDeg; });
    Fn1(in, "atan", [](double d) { return std::atan(d) / kDeg; });
    Fn1(in, "sqrt", [](double d) { return std::sqrt(d); });
    Fn1(in, "floor", [](double d) { return std::floor(d); });
    Fn1(in, "ceil", [](double d) { return std::ceil(d); });
    Fn1(in, "exp", [](double d) { return std::exp(d); });
    Fn1(in, "log", [](double d) { return std::log(d); });
    Fn1(in, "log10", [](double d) { return std::log10(d); });
    Fn1(in, "degToRad", [](double d) { return d * kDeg; });
    Fn1(in, "radToDeg", [](double d) { return d / kDeg; });

    in.RegisterPrimitive("atan2", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("atan2", a, 2);
        return Value::Float(static_cast<float>(std::atan2(double(a[0].ToFloat()), double(a[1].ToFloat())) / kDeg));
    });
    in.RegisterPrimitive("pow", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("pow", a, 2);
        return Value::Float(static_cast<float>(std::pow(double(a[0].ToFloat()), double(a[1].ToFloat()))));
    });
    in.RegisterPrimitive("mod", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("mod", a, 2);
        double d = a[1].ToFloat();
        if (d == 0) throw RuntimeError("mod by zero");
        return Value::Float(static_cast<float>(std::fmod(double(a[0].ToFloat()), d)));
    });
    in.RegisterPrimitive("abs", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("abs", a, 1);
        if (a[0].IsInt()) return Value::Int(a[0].RawInt() < 0 ? static_cast<int32_t>(0u - static_cast<uint32_t>(a[0].RawInt())) : a[0].RawInt());
        if (a[0].IsTime()) return Value::Time(std::abs(a[0].RawTime()));
        return Value::Float(std::fabs(a[0].ToFloat()));
    });
    in.RegisterPrimitive("random", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("random", a, 2);
        return RandomBetween(in, a[0], a[1]);
    });
    in.RegisterPrimitive("seed", [](Interpreter& in, const CallArgs& a) {
        CheckArgCount("seed", a, 1);
        in.Seed(static_cast<uint32_t>(a[0].ToInt()));
        return Value::Ok();
    });

    // ---- vectors ----
    in.RegisterPrimitive("length", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("length", a, 1);
        return Value::Float(static_cast<float>(Len(a[0])));
    });
    in.RegisterPrimitive("normalize", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("normalize", a, 1);
        if (a[0].tag() == Tag::Quat) {
            float q[4] = {a[0].RawVec()[0], a[0].RawVec()[1], a[0].RawVec()[2], a[0].RawVec()[3]};
            vmath::QuatNormalize(q);
            return Value::Quat(q[0], q[1], q[2], q[3]);
        }
        double l = Len(a[0]);
        double p[3];
        Vec3(a[0], p);
        // the zero vector normalizes to itself
        if (l == 0) return a[0].tag() == Tag::Point2 ? Value::Point2(0, 0) : Value::Point3(0, 0, 0);
        if (a[0].tag() == Tag::Point2) return Value::Point2(static_cast<float>(p[0] / l), static_cast<float>(p[1] / l));
        return Value::Point3(static_cast<float>(p[0] / l), static_cast<float>(p[1] / l), static_cast<float>(p[2] / l));
    });
    in.RegisterPrimitive("cross", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("cross", a, 2);
        double u[3], v[3];
        Vec3(a[0], u);
        Vec3(a[1], v);
        return Value::Point3(static_cast<float>(u[1] * v[2] - u[2] * v[1]), static_cast<float>(u[2] * v[0] - u[0] * v[2]),
                             static_cast<float>(u[0] * v[1] - u[1] * v[0]));
    });
    in.RegisterPrimitive("dot", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("dot", a, 2);
        if (a[0].tag() == Tag::Quat && a[1].tag() == Tag::Quat) {
            double s = 0;
            for (int i = 0; i < 4; ++i) s += double(a[0].RawVec()[i]) * a[1].RawVec()[i];
            return Value::Float(static_cast<float>(s));
        }
        double u[3], v[3];
        Vec3(a[0], u);
        Vec3(a[1], v);
        return Value::Float(static_cast<float>(u[0] * v[0] + u[1] * v[1] + u[2] * v[2]));
    });
    in.RegisterPrimitive("distance", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("distance", a, 2);
        double u[3], v[3];
        Vec3(a[0], u);
        Vec3(a[1], v);
        double d[3] = {u[0] - v[0], u[1] - v[1], u[2] - v[2]};
        return Value::Float(static_cast<float>(std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2])));
    });
    in.RegisterPrimitive("inverse", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("inverse", a, 1);
        if (a[0].tag() == Tag::Quat) {
            float r[4];
            vmath::QuatInverse(a[0].RawVec(), r);
            return Value::Quat(r[0], r[1], r[2], r[3]);
        }
        if (a[0].tag() == Tag::Matrix3) {
            float r[12];
            if (!vmath::MatrixInverse(a[0].RawMatrix3()->m, r)) throw RuntimeError("Matrix3 is not invertible");
            return Value::Matrix3(r);
        }
        throw NoFunctionError("inverse", a[0]);
    });
    in.RegisterPrimitive("eulerToQuat", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("eulerToQuat", a, 1);
        if (a[0].tag() != Tag::Euler) throw ConversionError(a[0], "EulerAngles");
        float q[4];
        vmath::EulerToQuat(a[0].RawVec(), q);
        return Value::Quat(q[0], q[1], q[2], q[3]);
    });
    in.RegisterPrimitive("quatToEuler", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("quatToEuler", a, 1);
        if (a[0].tag() != Tag::Quat) throw ConversionError(a[0], "Quat");
        float e[3];
        vmath::QuatToEuler(a[0].RawVec(), e);
        return Value::Euler(e[0], e[1], e[2]);
    });
    in.RegisterPrimitive("transMatrix", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("transMatrix", a, 1);
        float m[12];
        vmath::Identity(m);
        a[0].ToPoint3(m + 9);
        return Value::Matrix3(m);
    });
    in.RegisterPrimitive("scaleMatrix", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("scaleMatrix", a, 1);
        float s[3], m[12];
        a[0].ToPoint3(s);
        vmath::Identity(m);
        m[0] = s[0];
        m[4] = s[1];
        m[8] = s[2];
        return Value::Matrix3(m);
    });
    in.RegisterPrimitive("rotateXMatrix", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("rotateXMatrix", a, 1);
        return Rotation(0, a[0]);
    });
    in.RegisterPrimitive("rotateYMatrix", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("rotateYMatrix", a, 1);
        return Rotation(1, a[0]);
    });
    in.RegisterPrimitive("rotateZMatrix", [](Interpreter&, const CallArgs& a) {
        CheckArgCount("rotateZMatrix", a, 1);
        return Rotation(2, a[0]);
    });
}

}  // namespace host::script
