// Scene builders for the control shape tests.
#pragma once

#include <gtest/gtest.h>

#include "hold.h"
#include "inode.h"
#include "library_scene.h"
#include "maxapi.h"
#include "polyobj.h"
#include "scenefile.h"
#include "subobj.h"
#include "shapes/control_helper.h"
#include "viewexp.h"

namespace shapes_test {

struct ShapesTest : kttest::LibrarySceneTest {
    void TearDown() override {
        host::SetSubObjectLevel(nullptr, 0);
        kttest::LibrarySceneTest::TearDown();
    }

    // A helper node of the given type and size at pos.
    static INode* MakeHelper(int type, float size, const Point3& pos, kt::ControlHelper** out = nullptr) {
        auto* h = new kt::ControlHelper();
        h->pblock->SetValue(kt::pb_type, 0, type);
        h->pblock->SetValue(kt::pb_size, 0, size);
        INode* node = GetCOREInterface()->CreateObjectNode(h, L"Ctl");
        node->SetNodeTM(0, TransMatrix(pos));
        if (out) *out = h;
        return node;
    }

    // Two quads in the XY plane facing +Z: face 0 over x in [-20, 0], face 1 over [0, 20],
    // y in [-10, 10].
    static INode* MakePlane() {
        auto* po = new PolyObject();
        MNMesh& mm = po->GetMesh();
        const float xs[3] = {-20.0f, 0.0f, 20.0f};
        for (float x : xs) {
            mm.NewVert(Point3(x, -10.0f, 0.0f));
            mm.NewVert(Point3(x, 10.0f, 0.0f));
        }
        mm.NewQuad(0, 2, 3, 1);
        mm.NewQuad(2, 4, 5, 3);
        mm.FillInMesh();
        return GetCOREInterface()->CreateObjectNode(po, L"Skin");
    }
};

// A 400 x 400 view of the given type; orthographic views span 400 units (one pixel each).
inline void SetView(ViewExp& vpt, ViewType type) {
    vpt.host_SetSize(400, 400);
    vpt.host_SetViewType(type);
}

inline IPoint2 ScreenOf(ViewExp& vpt, const Point3& world) {
    const Point3 s = vpt.MapWorldToScreen(world);
    return IPoint2(int(std::lround(s.x)), int(std::lround(s.y)));
}

}  // namespace shapes_test
