// Matrix3: the host's affine transform, four rows of Point3 (three axes, then the translation).
//
// Conventions (the same for Quat):
// - Vectors are row vectors: a point transforms as p * M, a vector (no translation) as
//   VectorTransform(M, v).
// - A * B applies A first, then B. world = local * parentWorld.
// - RotateX/Y/Z and the *Matrix builders are right-handed: RotateZMatrix(HALFPI) carries the
//   X axis to the Y axis. (Quaternions are left-handed; see quat.h.)
// - Post forms (Translate, Scale, RotateX...) apply the new operation after the matrix
//   (M = M * Op); Pre forms apply it before (M = Op * M).
// - All angles are radians.
//
// A default-constructed Matrix3 is the identity (the SDK leaves it uninitialised; code that
// relies on that is wrong anyway). Matrix3(0) is the zero matrix, Matrix3(1) the identity.
#pragma once

#include <cstdint>

#include "point3.h"
#include "point4.h"

// Identity flag bits, as the SDK names them. This host computes them from the values.
#define POS_IDENT 1
#define ROT_IDENT 2
#define SCL_IDENT 4
#define MAT_IDENT (POS_IDENT | ROT_IDENT | SCL_IDENT)

class Quat;
class AngAxis;

class Matrix3 {
  public:
    // Identity.
    constexpr Matrix3() : m{Point3(1, 0, 0), Point3(0, 1, 0), Point3(0, 0, 1), Point3(0, 0, 0)} {}
    // Nonzero: identity; zero: all zeros.
    constexpr explicit Matrix3(int init) : Matrix3() {
        if (!init) Zero();
    }
    constexpr Matrix3(const Point3& row0, const Point3& row1, const Point3& row2, const Point3& row3)
        : m{row0, row1, row2, row3} {}
    // Rows from a float[4][3] array.
    explicit Matrix3(const float (*fp)[3]);

    static const Matrix3 Identity;

    // Row i (0..3) as a Point3; row 3 is the translation.
    Point3& operator[](int i) { return m[i]; }
    const Point3& operator[](int i) const { return m[i]; }

    constexpr Matrix3& Set(const Point3& row0, const Point3& row1, const Point3& row2, const Point3& row3) {
        m[0] = row0;
        m[1] = row1;
        m[2] = row2;
        m[3] = row3;
        return *this;
    }
    constexpr void IdentityMatrix() { *this = Matrix3(); }
    constexpr void Zero() { m[0] = m[1] = m[2] = m[3] = Point3(); }

    Point3 GetRow(int i) const { return m[i]; }
    void SetRow(int i, const Point3& p) { m[i] = p; }
    // Column i (0..2) with the translation entry as w, and without it.
    Point4 GetColumn(int i) const { return Point4(m[0][i], m[1][i], m[2][i], m[3][i]); }
    void SetColumn(int i, const Point4& col) {
        m[0][i] = col.x;
        m[1][i] = col.y;
        m[2][i] = col.z;
        m[3][i] = col.w;
    }
    Point3 GetColumn3(int i) const { return Point3(m[0][i], m[1][i], m[2][i]); }

    const Point3& GetTrans() const { return m[3]; }
    void SetTrans(const Point3& p) { m[3] = p; }
    void SetTrans(int i, float v) { m[3][i] = v; }

    // Translation row set to zero.
    void NoTrans() { m[3] = Point3(); }
    // Rotation removed, scale kept: rows become (|row0|,0,0), (0,|row1|,0), (0,0,|row2|). Mirroring is lost.
    void NoRot();
    // Each axis row normalized (no orthogonalization: shear stays). A zero row stays zero.
    void NoScale();
    // Unbiased orthonormalization: the three axis rows become the nearest orthonormal frame
    // (the orthogonal factor of the polar decomposition, so no axis is favoured). Handedness is
    // kept (a mirrored matrix stays mirrored); translation is kept. A singular 3x3 part is
    // completed to a frame; an all-zero one becomes the identity.
    void Orthogonalize();

    // Post forms: M = M * Op.
    void Translate(const Point3& p);
    void RotateX(float angle);
    void RotateY(float angle);
    void RotateZ(float angle);
    // M = M * ScaleMatrix(s), except that the translation row is left as it was unless trans is true.
    void Scale(const Point3& s, bool trans = false);

    // Pre forms: M = Op * M.
    void PreTranslate(const Point3& p);
    void PreRotateX(float angle);
    void PreRotateY(float angle);
    void PreRotateZ(float angle);
    // Rows 0..2 scaled by s.x, s.y, s.z (= ScaleMatrix(s) * M). The translation row is also
    // scaled per component when trans is true.
    void PreScale(const Point3& s, bool trans = false);

    // Builders that replace the whole matrix.
    void SetTranslate(const Point3& p);
    void SetRotateX(float angle);
    void SetRotateY(float angle);
    void SetRotateZ(float angle);
    // The matrix of q (q.MakeMatrix), no translation.
    void SetRotate(const Quat& q);
    // The matrix of Quat(aa) (so the angle is left-handed like the quaternion's), no translation.
    void SetRotate(const AngAxis& aa);
    void SetScale(const Point3& s);
    // In place general inverse, see Inverse(const Matrix3&).
    void Invert();

    Matrix3& operator*=(const Matrix3& b);
    Matrix3& operator*=(float f);
    Matrix3& operator+=(const Matrix3& b);
    Matrix3& operator-=(const Matrix3& b);
    // A * B applies A first.
    Matrix3 operator*(const Matrix3& b) const;
    Matrix3 operator+(const Matrix3& b) const;
    Matrix3 operator-(const Matrix3& b) const;

    // p * M, with the translation.
    Point3 PointTransform(const Point3& p) const;
    // p * M without the translation (directions, offsets).
    Point3 VectorTransform(const Point3& p) const;
    void TransformPoints(Point3* array, int n) const;
    void TransformVectors(Point3* array, int n) const;

    // Exact equality of all twelve entries.
    bool operator==(const Matrix3& b) const;
    bool operator!=(const Matrix3& b) const { return !(*this == b); }
    // True when every entry differs by at most epsilon.
    bool Equals(const Matrix3& b, float epsilon = 1e-6f) const;
    // Exactly the identity.
    bool IsIdentity() const;
    // The *_IDENT bits that hold exactly: POS_IDENT translation zero; ROT_IDENT and SCL_IDENT
    // both set when the 3x3 part is exactly the identity, SCL_IDENT alone when every axis row has
    // unit length (within 1e-6) and they are mutually perpendicular.
    std::uint32_t GetIdentFlags() const;
    // Kept for SDK source compatibility: the flags are always computed, nothing to validate.
    void ValidateFlags() {}
    void ClearIdentFlag(std::uint32_t) {}
    void SetNotIdent() {}

    // True when the matrix mirrors: the determinant of the 3x3 part is negative.
    bool Parity() const;
    // Determinant of the 3x3 part.
    float Det() const;

  private:
    Point3 m[4];
};

inline constexpr Matrix3 Matrix3::Identity{};

// Builders.
Matrix3 TransMatrix(const Point3& p);
Matrix3 ScaleMatrix(const Point3& s);
Matrix3 RotateXMatrix(float angle);
Matrix3 RotateYMatrix(float angle);
Matrix3 RotateZMatrix(float angle);
// Right-handed rotation by angle about axis (normalized here; a zero axis gives the identity).
// Note the direction is opposite to Quat(AngAxis(axis, angle)), whose angle is left-handed.
Matrix3 RotAngleAxisMatrix(const Point3& axis, float angle);
// A frame whose Z row is normal: X row (-n.y, n.x, 0) normalized (the X axis when normal is
// along Z), Y row = Z ^ X normalized, no translation. The normal is used as given (not normalized).
void MatrixFromNormal(const Point3& normal, Matrix3& mat);

// General inverse: Inverse(M) * M == identity for any affine M whose 3x3 part is invertible.
// A singular 3x3 part (zero scale on an axis, a flattened matrix, all zeros) is not an error:
// the result is the pseudo-inverse of the 3x3 part with the translation mapped back through it,
// so everything stays finite and the directions that still exist are inverted properly.
// "Singular" means the axis rows are dependent to within float noise: |det| at most 1e-6 times
// the product of the row lengths; then singular values below 1e-6 of the largest count as 0.
// Small but independent rows (ScaleMatrix(1, 1, 1e-7)) still invert exactly.
Matrix3 Inverse(const Matrix3& m);

// p * M (either operand order gives the same, as in the SDK).
Point3 operator*(const Point3& p, const Matrix3& m);
Point3 operator*(const Matrix3& m, const Point3& p);
// Without translation.
Point3 VectorTransform(const Matrix3& m, const Point3& v);
Point3 VectorTransform(const Point3& v, const Matrix3& m);
// xm * m * Inverse(xm): m applied in the space of xm.
Matrix3 XFormMat(const Matrix3& xm, const Matrix3& m);
