#include <cstdlib>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLabel>
#include <QPushButton>

#include "shapes/control_shape.h"
#include "shapes/ui/control_helper_rollup.h"
#include "shapes_scene.h"
#include "ui/qmax_controls.h"

using namespace kt;

namespace {

struct ControlHelperRollupTest : shapes_test::ShapesTest {
    void SetUp() override {
        static int argc = 1;
        static char name[] = "test_shapes";
        static char* argv[] = {name, nullptr};
        if (!QApplication::instance()) new QApplication(argc, argv);
        shapes_test::ShapesTest::SetUp();
    }
};

MaxSDK::QMaxParamBlockWidget* Rollup(ControlHelper* h, MapID map, MSTR& title) {
    int flags = 0, category = 0;
    return ClassRegistry::Find(HELPER_CLASS_ID, CONTROLHELPER_CLASS_ID)
        ->CreateQtWidget(*h, *h->pblock, map, title, flags, category);
}

}  // namespace

TEST_F(ControlHelperRollupTest, ParametersShowTheRowsOfTheTypeAndEditTheBlock) {
    ControlHelper* h = nullptr;
    MakeHelper(kGizmoSphere, 20.0f, Point3(0, 0, 0), &h);
    MSTR title;
    std::unique_ptr<MaxSDK::QMaxParamBlockWidget> w(Rollup(h, 0, title));
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(std::wstring(title.data()), L"Parameters");
    auto* rollup = dynamic_cast<ControlHelperRollup*>(w.get());
    ASSERT_NE(rollup, nullptr);
    auto shown = [&](int id) { return rollup->Row(id)->isVisibleTo(rollup); };

    // Sphere: size and steps; no axis, thickness or warp.
    EXPECT_TRUE(shown(pb_size));
    EXPECT_TRUE(shown(pb_steps));
    EXPECT_FALSE(shown(pb_axis));
    EXPECT_FALSE(shown(pb_thickness));
    EXPECT_FALSE(shown(pb_length));

    // Choosing Rectangle in the list sets the type and brings axis and warp in.
    auto* type = rollup->findChild<QComboBox*>(QStringLiteral("type"));
    ASSERT_NE(type, nullptr);
    EXPECT_EQ(type->count(), kNumGizmoTypes);
    EXPECT_EQ(type->itemText(kGizmoSphereHalf), QStringLiteral("Sphere Hemi"));
    type->setCurrentIndex(kGizmoRectangle);
    EXPECT_EQ(h->GetType(), kGizmoRectangle);
    EXPECT_TRUE(shown(pb_axis));
    EXPECT_TRUE(shown(pb_warp_amount));

    // Uniform off swaps size for length, width and height.
    rollup->findChild<QCheckBox*>(QStringLiteral("uniform"))->setChecked(false);
    EXPECT_EQ(h->pblock->GetInt(pb_uniform), 0);
    EXPECT_FALSE(shown(pb_size));
    EXPECT_TRUE(shown(pb_length));
    EXPECT_TRUE(shown(pb_height));

    // A change from elsewhere shows after a refresh; Reset Gizmo resets.
    h->pblock->SetValue(pb_type, 0, kGizmoAxisTripod);
    rollup->UpdateUI(0);
    EXPECT_EQ(type->currentIndex(), kGizmoAxisTripod);
    EXPECT_TRUE(shown(pb_thickness));
    EXPECT_FALSE(shown(pb_steps));
    h->SetGizmoPos(Point3(1, 2, 3));
    rollup->findChild<QPushButton*>(QStringLiteral("resetGizmo"))->click();
    EXPECT_TRUE(h->GetGizmoTM().Equals(Matrix3()));
    // With KT_ROLLUP_PNG set, the rollup is written there to look at.
    if (const char* out = std::getenv("KT_ROLLUP_PNG")) {
        rollup->adjustSize();
        EXPECT_TRUE(rollup->grab().save(QString::fromLocal8Bit(out)));
    }
}

TEST_F(ControlHelperRollupTest, SelectorShowsItsNodeAndCountsTheSelectedPolygons) {
    INode* skin = MakePlane();
    ControlHelper* h = nullptr;
    INode* node = MakeHelper(kGizmoCircle, 20.0f, Point3(0, 0, 0), &h);
    MSTR title;
    std::unique_ptr<MaxSDK::QMaxParamBlockWidget> w(Rollup(h, 1, title));
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(std::wstring(title.data()), L"Selector");
    auto* sel = dynamic_cast<ControlHelperSelectorRollup*>(w.get());
    ASSERT_NE(sel, nullptr);
    auto* nodeButton = sel->findChild<MaxSDK::QmaxNodePickButton*>(QStringLiteral("selector_node"));
    ASSERT_NE(nodeButton, nullptr);
    EXPECT_EQ(nodeButton->text(), QStringLiteral("None"));
    EXPECT_EQ(sel->CountText(), QStringLiteral("0 Polygons Selected"));
    auto* select = sel->findChild<QPushButton*>(QStringLiteral("selectPolygons"));
    EXPECT_FALSE(select->isEnabled());

    nodeButton->pickNode(skin);
    EXPECT_EQ(h->GetSelectorNode(), skin);
    BitArray faces(2);
    faces.SetAll();
    h->SetFaceSelection(faces);
    sel->UpdateUI(0);
    EXPECT_EQ(sel->CountText(), QStringLiteral("2 Polygons Selected"));
    EXPECT_TRUE(select->isEnabled());

    // The button enters and leaves the polygon level on the helper's node.
    select->click();
    EXPECT_EQ(host::SubObjectLevel(), kSelectPolygonsLevel);
    EXPECT_EQ(host::SubObjectNode(), node);
    EXPECT_TRUE(h->SelectorPickMode());
    select->click();
    EXPECT_EQ(host::SubObjectLevel(), 0);
    EXPECT_FALSE(h->SelectorPickMode());
}

TEST_F(ControlHelperRollupTest, ControlShapeTakesTheParametersRolloutWithItsScale) {
    auto* cs = new ControlShape();
    GetCOREInterface()->CreateObjectNode(cs);
    MSTR title;
    int flags = 0, category = 0;
    RegistryClassDesc* cd = ClassRegistry::Find(SHAPE_CLASS_ID, CONTROLSHAPE_CLASS_ID);
    std::unique_ptr<MaxSDK::QMaxParamBlockWidget> w(cd->CreateQtWidget(*cs, *cs->pblock, 0, title, flags, category));
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(cd->CreateQtWidget(*cs, *cs->pblock, 1, title, flags, category), nullptr);
    auto* scale = w->findChild<QDoubleSpinBox*>(QStringLiteral("scale"));
    ASSERT_NE(scale, nullptr);
    EXPECT_DOUBLE_EQ(scale->value(), 100.0);
    scale->setValue(50.0);
    EXPECT_FLOAT_EQ(cs->pblock->GetFloat(pb_scale), 0.5f);
    EXPECT_EQ(w->findChild<QCheckBox*>(QStringLiteral("face_camera")), nullptr);
    cs->SetGizmoPos(Point3(1, 0, 0));
    w->findChild<QPushButton*>(QStringLiteral("resetGizmo"))->click();
    EXPECT_TRUE(cs->GetGizmoTM().Equals(Matrix3()));
}
