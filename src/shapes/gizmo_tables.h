// The stored figures of the gizmo catalogue: outlines in the unit square, one table per
// polyline (4 to 82 points), up to three polylines per figure.
#pragma once

namespace kt {

struct GizmoTable {
    const float (*xy)[2];
    int count;
    bool closed;
};

struct GizmoFigure {
    int type;
    GizmoTable tables[3];
    int count;
};

// The figure of a stored type, or null for every other type.
const GizmoFigure* StoredFigure(int type);

}  // namespace kt
