#include "scalevalue.h"

void ApplyScaling(Matrix3& m, const ScaleValue& v) {
    if (v.q.IsIdentity()) {
        // ScaleMatrix(s) * m scales m's axis rows and leaves its translation: the common case
        // of every transform read, so without building and multiplying a matrix.
        if (v.s.x == 1.0f && v.s.y == 1.0f && v.s.z == 1.0f) return;
        m.SetRow(0, m.GetRow(0) * v.s.x);
        m.SetRow(1, m.GetRow(1) * v.s.y);
        m.SetRow(2, m.GetRow(2) * v.s.z);
        return;
    }
    Matrix3 axes;
    v.q.MakeMatrix(axes);
    m = Inverse(axes) * ScaleMatrix(v.s) * axes * m;
}

namespace host {

Matrix3 ScaleValueMatrix(const ScaleValue& v) {
    Matrix3 m;
    ApplyScaling(m, v);
    return m;
}

} // namespace host
