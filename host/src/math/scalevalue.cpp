#include "scalevalue.h"

void ApplyScaling(Matrix3& m, const ScaleValue& v) {
    if (v.q.IsIdentity()) {
        m = ScaleMatrix(v.s) * m;
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
