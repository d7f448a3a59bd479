#include "matrix3.h"

#include <cmath>

#include "linalg3.h"
#include "quat.h"

using host::linalg::Mat3d;

Matrix3::Matrix3(const float (*fp)[3]) {
    for (int i = 0; i < 4; ++i)
        m[i] = Point3(fp[i][0], fp[i][1], fp[i][2]);
}

void Matrix3::NoRot() {
    Point3 s(m[0].Length(), m[1].Length(), m[2].Length());
    m[0] = Point3(s.x, 0.0f, 0.0f);
    m[1] = Point3(0.0f, s.y, 0.0f);
    m[2] = Point3(0.0f, 0.0f, s.z);
}

void Matrix3::NoScale() {
    for (int i = 0; i < 3; ++i)
        m[i] = m[i].Normalize();
}

void Matrix3::Orthogonalize() {
    Mat3d a, u, w;
    double sigma[3];
    host::linalg::FromMatrix3(*this, a);
    host::linalg::Svd(a, 1e-9, u, sigma, w);
    // Polar factor u * w^T: the nearest orthogonal matrix, with the handedness of a.
    Mat3d r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r[i][j] = u[i][0] * w[j][0] + u[i][1] * w[j][1] + u[i][2] * w[j][2];
    host::linalg::ToMatrix3(r, *this);
}

void Matrix3::Translate(const Point3& p) { m[3] += p; }

void Matrix3::RotateX(float angle) {
    float c = float(std::cos(double(angle))), s = float(std::sin(double(angle)));
    for (Point3& r : m)
        r = Point3(r.x, r.y * c - r.z * s, r.y * s + r.z * c);
}

void Matrix3::RotateY(float angle) {
    float c = float(std::cos(double(angle))), s = float(std::sin(double(angle)));
    for (Point3& r : m)
        r = Point3(r.x * c + r.z * s, r.y, r.z * c - r.x * s);
}

void Matrix3::RotateZ(float angle) {
    float c = float(std::cos(double(angle))), s = float(std::sin(double(angle)));
    for (Point3& r : m)
        r = Point3(r.x * c - r.y * s, r.x * s + r.y * c, r.z);
}

void Matrix3::Scale(const Point3& s, bool trans) {
    for (int i = 0; i < 3; ++i)
        m[i] *= s;
    if (trans) m[3] *= s;
}

void Matrix3::PreTranslate(const Point3& p) { m[3] += VectorTransform(p); }

void Matrix3::PreRotateX(float angle) {
    float c = float(std::cos(double(angle))), s = float(std::sin(double(angle)));
    Point3 r1 = m[1], r2 = m[2];
    m[1] = c * r1 + s * r2;
    m[2] = c * r2 - s * r1;
}

void Matrix3::PreRotateY(float angle) {
    float c = float(std::cos(double(angle))), s = float(std::sin(double(angle)));
    Point3 r0 = m[0], r2 = m[2];
    m[0] = c * r0 - s * r2;
    m[2] = s * r0 + c * r2;
}

void Matrix3::PreRotateZ(float angle) {
    float c = float(std::cos(double(angle))), s = float(std::sin(double(angle)));
    Point3 r0 = m[0], r1 = m[1];
    m[0] = c * r0 + s * r1;
    m[1] = c * r1 - s * r0;
}

void Matrix3::PreScale(const Point3& s, bool trans) {
    m[0] *= s.x;
    m[1] *= s.y;
    m[2] *= s.z;
    if (trans) m[3] *= s;
}

void Matrix3::SetTranslate(const Point3& p) {
    IdentityMatrix();
    m[3] = p;
}

void Matrix3::SetRotateX(float angle) { *this = RotateXMatrix(angle); }
void Matrix3::SetRotateY(float angle) { *this = RotateYMatrix(angle); }
void Matrix3::SetRotateZ(float angle) { *this = RotateZMatrix(angle); }

void Matrix3::SetRotate(const Quat& q) {
    q.MakeMatrix(*this);
    NoTrans();
}

void Matrix3::SetRotate(const AngAxis& aa) { SetRotate(Quat(aa)); }

void Matrix3::SetScale(const Point3& s) { *this = ScaleMatrix(s); }

void Matrix3::Invert() { *this = Inverse(*this); }

Matrix3& Matrix3::operator*=(const Matrix3& b) { return *this = *this * b; }

Matrix3& Matrix3::operator*=(float f) {
    for (Point3& r : m)
        r *= f;
    return *this;
}

Matrix3& Matrix3::operator+=(const Matrix3& b) {
    for (int i = 0; i < 4; ++i)
        m[i] += b.m[i];
    return *this;
}

Matrix3& Matrix3::operator-=(const Matrix3& b) {
    for (int i = 0; i < 4; ++i)
        m[i] -= b.m[i];
    return *this;
}

Matrix3 Matrix3::operator*(const Matrix3& b) const {
    Matrix3 r;
    for (int i = 0; i < 3; ++i)
        r.m[i] = b.VectorTransform(m[i]);
    r.m[3] = b.PointTransform(m[3]);
    return r;
}

Matrix3 Matrix3::operator+(const Matrix3& b) const {
    Matrix3 r(*this);
    return r += b;
}

Matrix3 Matrix3::operator-(const Matrix3& b) const {
    Matrix3 r(*this);
    return r -= b;
}

Point3 Matrix3::PointTransform(const Point3& p) const { return VectorTransform(p) + m[3]; }

Point3 Matrix3::VectorTransform(const Point3& p) const {
    return Point3(p.x * m[0].x + p.y * m[1].x + p.z * m[2].x, p.x * m[0].y + p.y * m[1].y + p.z * m[2].y,
                  p.x * m[0].z + p.y * m[1].z + p.z * m[2].z);
}

void Matrix3::TransformPoints(Point3* array, int n) const {
    for (int i = 0; i < n; ++i)
        array[i] = PointTransform(array[i]);
}

void Matrix3::TransformVectors(Point3* array, int n) const {
    for (int i = 0; i < n; ++i)
        array[i] = VectorTransform(array[i]);
}

bool Matrix3::operator==(const Matrix3& b) const {
    return m[0] == b.m[0] && m[1] == b.m[1] && m[2] == b.m[2] && m[3] == b.m[3];
}

bool Matrix3::Equals(const Matrix3& b, float epsilon) const {
    for (int i = 0; i < 4; ++i)
        if (!m[i].Equals(b.m[i], epsilon)) return false;
    return true;
}

bool Matrix3::IsIdentity() const { return *this == Matrix3(); }

std::uint32_t Matrix3::GetIdentFlags() const {
    std::uint32_t f = 0;
    if (m[3] == Point3()) f |= POS_IDENT;
    if (m[0] == Point3::XAxis && m[1] == Point3::YAxis && m[2] == Point3::ZAxis) {
        f |= ROT_IDENT | SCL_IDENT;
    } else {
        bool unit = true;
        for (int i = 0; i < 3; ++i)
            unit = unit && std::fabs(m[i].LengthSquared() - 1.0f) <= 2e-6f;
        bool perp = std::fabs(m[0] % m[1]) <= 1e-6f && std::fabs(m[1] % m[2]) <= 1e-6f &&
                    std::fabs(m[0] % m[2]) <= 1e-6f;
        if (unit && perp) f |= SCL_IDENT;
    }
    return f;
}

float Matrix3::Det() const {
    Mat3d a;
    host::linalg::FromMatrix3(*this, a);
    return float(host::linalg::Det(a));
}

bool Matrix3::Parity() const {
    Mat3d a;
    host::linalg::FromMatrix3(*this, a);
    return host::linalg::Det(a) < 0.0;
}

Matrix3 TransMatrix(const Point3& p) {
    Matrix3 r;
    r.SetTrans(p);
    return r;
}

Matrix3 ScaleMatrix(const Point3& s) {
    return Matrix3(Point3(s.x, 0.0f, 0.0f), Point3(0.0f, s.y, 0.0f), Point3(0.0f, 0.0f, s.z), Point3());
}

Matrix3 RotateXMatrix(float angle) {
    Matrix3 r;
    r.RotateX(angle);
    return r;
}

Matrix3 RotateYMatrix(float angle) {
    Matrix3 r;
    r.RotateY(angle);
    return r;
}

Matrix3 RotateZMatrix(float angle) {
    Matrix3 r;
    r.RotateZ(angle);
    return r;
}

Matrix3 RotAngleAxisMatrix(const Point3& axis, float angle) {
    Point3 a = axis.Normalize();
    if (a == Point3()) return Matrix3();
    Matrix3 r;
    QFromAngAxis(-angle, a).MakeMatrix(r);
    return r;
}

void MatrixFromNormal(const Point3& normal, Matrix3& mat) {
    Point3 vx(-normal.y, normal.x, 0.0f);
    if (vx.x == 0.0f && vx.y == 0.0f) vx.x = 1.0f;
    vx = vx.Normalize();
    mat.SetRow(0, vx);
    mat.SetRow(1, (normal ^ vx).Normalize());
    mat.SetRow(2, normal);
    mat.NoTrans();
}

Matrix3 Inverse(const Matrix3& m) {
    Mat3d a;
    host::linalg::FromMatrix3(m, a);
    double det = host::linalg::Det(a);
    // Rows dependent to within float noise (volume below a millionth of the rows' lengths'
    // product) count as singular; a merely small but well-shaped matrix inverts exactly.
    double scale = double(m[0].Length()) * m[1].Length() * m[2].Length();
    Mat3d inv;
    if (std::fabs(det) > 1e-6 * scale && std::isfinite(det)) {
        double id = 1.0 / det;
        inv[0][0] = (a[1][1] * a[2][2] - a[1][2] * a[2][1]) * id;
        inv[0][1] = (a[0][2] * a[2][1] - a[0][1] * a[2][2]) * id;
        inv[0][2] = (a[0][1] * a[1][2] - a[0][2] * a[1][1]) * id;
        inv[1][0] = (a[1][2] * a[2][0] - a[1][0] * a[2][2]) * id;
        inv[1][1] = (a[0][0] * a[2][2] - a[0][2] * a[2][0]) * id;
        inv[1][2] = (a[0][2] * a[1][0] - a[0][0] * a[1][2]) * id;
        inv[2][0] = (a[1][0] * a[2][1] - a[1][1] * a[2][0]) * id;
        inv[2][1] = (a[0][1] * a[2][0] - a[0][0] * a[2][1]) * id;
        inv[2][2] = (a[0][0] * a[1][1] - a[0][1] * a[1][0]) * id;
    } else {
        // Pseudo-inverse w * diag(1/sigma) * u^T over the singular values that exist.
        Mat3d u, w;
        double sigma[3];
        host::linalg::Svd(a, 1e-6, u, sigma, w);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) {
                double s = 0.0;
                for (int k = 0; k < 3; ++k)
                    if (sigma[k] > 0.0) s += w[i][k] * u[j][k] / sigma[k];
                inv[i][j] = s;
            }
    }
    Matrix3 r;
    host::linalg::ToMatrix3(inv, r);
    Point3 t = m.GetTrans();
    double tx = -(t.x * inv[0][0] + t.y * inv[1][0] + t.z * inv[2][0]);
    double ty = -(t.x * inv[0][1] + t.y * inv[1][1] + t.z * inv[2][1]);
    double tz = -(t.x * inv[0][2] + t.y * inv[1][2] + t.z * inv[2][2]);
    r.SetTrans(Point3(tx, ty, tz));
    return r;
}

Point3 operator*(const Point3& p, const Matrix3& m) { return m.PointTransform(p); }
Point3 operator*(const Matrix3& m, const Point3& p) { return m.PointTransform(p); }
Point3 VectorTransform(const Matrix3& m, const Point3& v) { return m.VectorTransform(v); }
Point3 VectorTransform(const Point3& v, const Matrix3& m) { return m.VectorTransform(v); }

Matrix3 XFormMat(const Matrix3& xm, const Matrix3& m) { return xm * m * Inverse(xm); }
