// Every gizmo drawn through the viewport into one labelled sheet. With KT_SHAPE_SHEET set the
// sheet is written there (docs/control-shapes.png is made so).
#include <cstdlib>

#include <QApplication>
#include <QImage>

#include "shapes_scene.h"
#include "ui/viewport_image.h"

using namespace kt;

namespace {

constexpr int kColumns = 8;
constexpr int kCell = 150;

using GizmoSheetTest = shapes_test::ShapesTest;

}  // namespace

TEST_F(GizmoSheetTest, EveryGizmoDrawsInItsCellOfTheSheet) {
    // Text needs the application's fonts.
    static int argc = 1;
    static char name[] = "test_shapes";
    static char* argv[] = {name, nullptr};
    if (!QApplication::instance()) new QApplication(argc, argv);
    const int rows = (kNumGizmoTypes + kColumns - 1) / kColumns;
    ViewExp vpt;
    vpt.host_SetSize(kColumns * kCell, rows * kCell);
    // Looking down at a slant so that solid figures show their depth; flat ones face the viewer.
    const Matrix3 viewToWorld = RotateXMatrix(0.55f) * RotateZMatrix(0.35f);
    const Point3 vx = Normalize(viewToWorld.GetRow(0)), vy = Normalize(viewToWorld.GetRow(1)),
                 vz = Normalize(viewToWorld.GetRow(2));
    Matrix3 eye = viewToWorld;
    eye.SetTrans(vz * 2000.0f);
    vpt.host_SetOrthographic(Inverse(eye), float(kColumns * kCell));

    std::vector<Point3> centres;
    for (int type = 0; type < kNumGizmoTypes; ++type) {
        const int col = type % kColumns, row = type / kColumns;
        const Point3 c = vx * (float(col * kCell) + 0.5f * kCell - 0.5f * kColumns * kCell) +
                         vy * (0.5f * rows * kCell - float(row * kCell) - 0.45f * kCell);
        ControlHelper* h = nullptr;
        // The donut's outer ring has the whole size for its radius.
        INode* node = MakeHelper(type, type == kGizmoDonut ? 40.0f : 80.0f, c, &h);
        node->SetWireColor(0x0050E0F0);
        GizmoLines g;
        GizmoParams p;
        p.type = type;
        BuildGizmo(p, g);
        if (!g.Empty() && g.Bounds().Width().z == 0.0f) h->pblock->SetValue(pb_face_camera, 0, 1);
        if (type == kGizmoNone) h->pblock->SetValue(pb_offset_line, 0, 1);
        centres.push_back(c);
    }
    host::DrawScene(vpt, 0);
    GraphicsWindow* gw = vpt.getGW();
    gw->setTransform(Matrix3());
    gw->setColor(TEXT_COLOR, 1.0f, 1.0f, 1.0f);
    for (int type = 0; type < kNumGizmoTypes; ++type) {
        Point3 at = centres[size_t(type)] - vx * (0.45f * kCell) - vy * (0.47f * kCell);
        gw->text(&at, GizmoLabel(type));
    }
    const QImage sheet = host::PaintDrawList(gw->host_DrawList());
    ASSERT_EQ(sheet.width(), kColumns * kCell);

    // Every figure but None lights pixels of its own cell, above its label.
    const QRgb background = sheet.pixel(1, 1);
    for (int type = 1; type < kNumGizmoTypes; ++type) {
        const int x0 = (type % kColumns) * kCell, y0 = (type / kColumns) * kCell;
        int lit = 0;
        for (int y = y0 + 2; y < y0 + kCell - 22; ++y)
            for (int x = x0 + 2; x < x0 + kCell - 2; ++x) lit += sheet.pixel(x, y) != background ? 1 : 0;
        EXPECT_GT(lit, 60) << GizmoScriptName(type);
    }
    if (const char* out = std::getenv("KT_SHAPE_SHEET")) {
        EXPECT_TRUE(sheet.save(QString::fromLocal8Bit(out)));
    }
}

TEST_F(GizmoSheetTest, AClickOnARenderedControlPicksItAndBeyondTheToleranceDoesNot) {
    INode* node = MakeHelper(kGizmoStar, 120.0f, Point3(0, 0, 0));
    node->SetWireColor(0x0000FF00);
    ViewExp vpt;
    vpt.host_SetSize(300, 300);
    vpt.host_SetViewType(VIEW_TOP);
    const QImage img = host::RenderViewport(vpt, 0);
    const QRgb background = img.pixel(0, 0);
    // Every lit pixel of the middle row picks the star; so does its farthest one on the right.
    const int y = 150;
    int lit = 0, right = -1;
    for (int x = 0; x < img.width(); ++x) {
        if (img.pixel(x, y) == background) continue;
        ++lit;
        right = x;
        IPoint2 p(x, y);
        EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &p), node) << x;
    }
    ASSERT_GT(lit, 0);
    // Past the drawn line by more than the tolerance (and a pixel of line width) nothing is hit.
    IPoint2 beyond(right + host::PickTolerance() + 2, y);
    EXPECT_EQ(host::PickSceneNode(vpt, 0, HITTYPE_POINT, 0, &beyond), nullptr);
}
