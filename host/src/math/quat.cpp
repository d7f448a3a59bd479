#include "quat.h"

#include <algorithm>
#include <cmath>

#include "euler.h"
#include "gfloat.h"

namespace {

constexpr double kPi = 3.14159265358979323846;

Quat FromRotationRows(const double r[3][3]) {
    double x, y, z, w;
    double tr = r[0][0] + r[1][1] + r[2][2];
    if (tr > 0.0) {
        double s = std::sqrt(tr + 1.0) * 2.0; // 4w
        w = 0.25 * s;
        x = (r[2][1] - r[1][2]) / s;
        y = (r[0][2] - r[2][0]) / s;
        z = (r[1][0] - r[0][1]) / s;
    } else if (r[0][0] >= r[1][1] && r[0][0] >= r[2][2]) {
        double s = std::sqrt(std::max(1.0 + r[0][0] - r[1][1] - r[2][2], 0.0)) * 2.0; // 4x
        x = 0.25 * s;
        w = (r[2][1] - r[1][2]) / s;
        y = (r[0][1] + r[1][0]) / s;
        z = (r[0][2] + r[2][0]) / s;
    } else if (r[1][1] >= r[2][2]) {
        double s = std::sqrt(std::max(1.0 - r[0][0] + r[1][1] - r[2][2], 0.0)) * 2.0; // 4y
        y = 0.25 * s;
        w = (r[0][2] - r[2][0]) / s;
        x = (r[0][1] + r[1][0]) / s;
        z = (r[1][2] + r[2][1]) / s;
    } else {
        double s = std::sqrt(std::max(1.0 - r[0][0] - r[1][1] + r[2][2], 0.0)) * 2.0; // 4z
        z = 0.25 * s;
        w = (r[1][0] - r[0][1]) / s;
        x = (r[0][2] + r[2][0]) / s;
        y = (r[1][2] + r[2][1]) / s;
    }
    if (w < 0.0) {
        x = -x;
        y = -y;
        z = -z;
        w = -w;
    }
    double l = std::sqrt(x * x + y * y + z * z + w * w);
    if (!(l > 0.0) || !std::isfinite(l)) return Quat();
    return Quat(x / l, y / l, z / l, w / l);
}

} // namespace

Quat::Quat(const Matrix3& m) {
    double r[3][3];
    for (int i = 0; i < 3; ++i) {
        Point3 row = m[i];
        double l = std::sqrt(double(row.x) * row.x + double(row.y) * row.y + double(row.z) * row.z);
        if (!(l > 0.0)) l = 1.0;
        r[i][0] = row.x / l;
        r[i][1] = row.y / l;
        r[i][2] = row.z / l;
    }
    *this = FromRotationRows(r);
}

Quat::Quat(const AngAxis& aa) { *this = QFromAngAxis(aa.angle, aa.axis); }

Quat::Quat(const Point3& axis, float angle) {
    *this = QFromAngAxis(angle, axis.Normalize());
    Normalize();
}

Quat Quat::Inverse() const {
    double n = double(x) * x + double(y) * y + double(z) * z + double(w) * w;
    if (!(n > 0.0)) return Quat();
    return Quat(-x / n, -y / n, -z / n, w / n);
}

Quat Quat::LogN() const {
    double v = std::sqrt(double(x) * x + double(y) * y + double(z) * z);
    if (v < 1e-12) return Quat(0.0f, 0.0f, 0.0f, 0.0f);
    double theta = std::atan2(v, double(w));
    double k = theta / v;
    return Quat(x * k, y * k, z * k, 0.0);
}

Quat Quat::Exp() const {
    double theta = std::sqrt(double(x) * x + double(y) * y + double(z) * z);
    if (theta < 1e-12) return Quat();
    double k = std::sin(theta) / theta;
    return Quat(x * k, y * k, z * k, std::cos(theta));
}

Quat& Quat::operator*=(const Quat& q) { return *this = *this * q; }

Quat& Quat::operator*=(float f) {
    x *= f;
    y *= f;
    z *= f;
    w *= f;
    return *this;
}

Quat& Quat::operator/=(float f) {
    x /= f;
    y /= f;
    z /= f;
    w /= f;
    return *this;
}

Quat& Quat::SetEuler(float X, float Y, float Z) {
    float a[3] = {X, Y, Z};
    EulerToQuat(a, *this, EULERTYPE_XYZ);
    return *this;
}

void Quat::GetEuler(float* X, float* Y, float* Z) const {
    float a[3];
    QuatToEuler(*this, a, EULERTYPE_XYZ);
    *X = a[0];
    *Y = a[1];
    *Z = a[2];
}

Quat& Quat::MakeClosest(const Quat& qto) {
    if (*this % qto < 0.0f) *this = -*this;
    return *this;
}

bool Quat::Equals(const Quat& q, float epsilon) const {
    return std::fabs(x - q.x) <= epsilon && std::fabs(y - q.y) <= epsilon && std::fabs(z - q.z) <= epsilon &&
           std::fabs(w - q.w) <= epsilon;
}

bool Quat::IsIdentity() const { return x == 0.0f && y == 0.0f && z == 0.0f && std::fabs(w) == 1.0f; }

void Quat::Normalize() {
    double l = std::sqrt(double(x) * x + double(y) * y + double(z) * z + double(w) * w);
    if (!(l > 0.0) || !std::isfinite(l)) {
        Identity();
        return;
    }
    x = float(x / l);
    y = float(y / l);
    z = float(z / l);
    w = float(w / l);
}

void Quat::MakeMatrix(Matrix3& mat, bool flag) const {
    double n = double(x) * x + double(y) * y + double(z) * z + double(w) * w;
    double s = n > 0.0 ? 2.0 / n : 0.0;
    double xs = x * s, ys = y * s, zs = z * s;
    double wx = w * xs, wy = w * ys, wz = w * zs;
    double xx = x * xs, xy = x * ys, xz = x * zs;
    double yy = y * ys, yz = y * zs, zz = z * zs;
    double r[3][3] = {{1.0 - (yy + zz), xy - wz, xz + wy},
                      {xy + wz, 1.0 - (xx + zz), yz - wx},
                      {xz - wy, yz + wx, 1.0 - (xx + yy)}};
    for (int i = 0; i < 3; ++i)
        mat.SetRow(i, flag ? Point3(r[0][i], r[1][i], r[2][i]) : Point3(r[i][0], r[i][1], r[i][2]));
    mat.NoTrans();
}

Quat Quat::operator*(const Quat& b) const {
    double ax = x, ay = y, az = z, aw = w;
    return Quat(aw * b.x + ax * b.w + ay * b.z - az * b.y, aw * b.y - ax * b.z + ay * b.w + az * b.x,
                aw * b.z + ax * b.y - ay * b.x + az * b.w, aw * b.w - ax * b.x - ay * b.y - az * b.z);
}

Quat operator*(float f, const Quat& q) { return Quat(q.x * f, q.y * f, q.z * f, q.w * f); }
Quat operator*(const Quat& q, float f) { return Quat(q.x * f, q.y * f, q.z * f, q.w * f); }
Quat operator/(const Quat& q, float f) { return Quat(q.x / f, q.y / f, q.z / f, q.w / f); }

Quat Slerp(const Quat& p, const Quat& q, float t) {
    double c = double(p.x) * q.x + double(p.y) * q.y + double(p.z) * q.z + double(p.w) * q.w;
    double pv[4] = {p.x, p.y, p.z, p.w}, qv[4] = {q.x, q.y, q.z, q.w}, r[4];
    double sp, sq;
    if (c > 1.0 - 1e-6) {
        // Nearly equal: the arc is a straight line to double precision.
        sp = 1.0 - t;
        sq = t;
    } else if (c < -1.0 + 1e-6) {
        // Opposite: every great circle joins them; turn through the perpendicular (-y, x, -w, z).
        qv[0] = -p.y;
        qv[1] = p.x;
        qv[2] = -p.w;
        qv[3] = p.z;
        sp = std::sin((0.5 - t) * kPi);
        sq = std::sin(t * kPi);
    } else {
        double omega = std::acos(std::clamp(c, -1.0, 1.0));
        double so = std::sin(omega);
        sp = std::sin((1.0 - t) * omega) / so;
        sq = std::sin(t * omega) / so;
    }
    double l = 0.0;
    for (int i = 0; i < 4; ++i) {
        r[i] = sp * pv[i] + sq * qv[i];
        l += r[i] * r[i];
    }
    l = std::sqrt(l);
    if (!(l > 0.0)) return p;
    return Quat(r[0] / l, r[1] / l, r[2] / l, r[3] / l);
}

Quat LnDif(const Quat& p, const Quat& q) { return (Inverse(p) * q).LogN(); }

Quat QCompA(const Quat& qprev, const Quat& q, const Quat& qnext) {
    Quat a = LnDif(q, qnext), b = LnDif(q, qprev);
    Quat s(-(a.x + b.x) * 0.25f, -(a.y + b.y) * 0.25f, -(a.z + b.z) * 0.25f, 0.0f);
    return q * s.Exp();
}

Quat Squad(const Quat& p, const Quat& a, const Quat& b, const Quat& q, float t) {
    return Slerp(Slerp(p, q, t), Slerp(a, b, t), 2.0f * (1.0f - t) * t);
}

void RotateMatrix(Matrix3& mat, const Quat& q) {
    Matrix3 r;
    q.MakeMatrix(r);
    mat = mat * r;
}

void PreRotateMatrix(Matrix3& mat, const Quat& q) {
    Matrix3 r;
    q.MakeMatrix(r);
    mat = r * mat;
}

Point3 TransformVector(const Quat& q, const Point3& v) {
    Matrix3 r;
    q.MakeMatrix(r);
    return r.VectorTransform(v);
}

Quat QFromAngAxis(float ang, const Point3& axis) {
    double half = 0.5 * double(ang);
    double s = std::sin(half);
    return Quat(axis.x * s, axis.y * s, axis.z * s, std::cos(half));
}

void AngAxisFromQ(const Quat& q, float* ang, Point3& axis) {
    double v = std::sqrt(double(q.x) * q.x + double(q.y) * q.y + double(q.z) * q.z);
    double n = std::sqrt(v * v + double(q.w) * q.w);
    if (!(v > 0.0) || !(n > 0.0)) {
        axis = Point3::XAxis;
        *ang = q.w < 0.0f ? TWOPI : 0.0f;
        return;
    }
    // atan2 keeps full precision near both ends, unlike acos.
    *ang = float(2.0 * std::atan2(v, double(q.w)));
    axis = Point3(q.x / v, q.y / v, q.z / v);
}

float QangAxis(const Quat& p, const Quat& q, Point3& axis) {
    Quat r = Inverse(p) * q;
    if (r.w < 0.0f) r = -r;
    float ang;
    AngAxisFromQ(r, &ang, axis);
    return ang;
}

void DecomposeMatrix(const Matrix3& mat, Point3& p, Quat& q, Point3& s) {
    p = mat.GetTrans();
    s = Point3(mat[0].Length(), mat[1].Length(), mat[2].Length());
    Matrix3 r = mat;
    r.Orthogonalize();
    q = Quat(r);
}

AngAxis::AngAxis(const Quat& q) { Set(q); }
AngAxis::AngAxis(const Matrix3& m) { Set(m); }

AngAxis& AngAxis::Set(const Quat& q) {
    AngAxisFromQ(q, &angle, axis);
    return *this;
}

AngAxis& AngAxis::Set(const Matrix3& m) { return Set(Quat(m)); }

int AngAxis::GetNumRevs() const { return int(angle / TWOPI); }

void AngAxis::SetNumRevs(int num) { angle += float(num) * TWOPI; }
