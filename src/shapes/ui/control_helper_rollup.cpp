#include "shapes/ui/control_helper_rollup.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "frame/class_registry.h"
#include "maxapi.h"
#include "resources/resource.h"
#include "resources/string_table.h"
#include "shapes/control_helper.h"
#include "shapes/control_shape.h"
#include "subobj.h"
#include "ui/qmax_controls.h"
#include "ui/qmax_spinner.h"

namespace kt {

namespace {

QDoubleSpinBox* Spinner(const char* name, double lo, double hi, int decimals = 2) {
    auto* s = new MaxSDK::QmaxDoubleSpinBox;
    s->setObjectName(name);
    s->setRange(lo, hi);
    s->setDecimals(decimals);
    return s;
}

QCheckBox* Check(const char* name, const QString& text) {
    auto* c = new QCheckBox(text);
    c->setObjectName(name);
    return c;
}

QComboBox* AxisList(const char* name) {
    auto* c = new QComboBox;
    c->setObjectName(name);
    c->addItems({QStringLiteral("X"), QStringLiteral("Y"), QStringLiteral("Z")});
    return c;
}

MaxSDK::QMaxParamBlockWidget* MakeRollup(ReferenceMaker& owner, IParamBlock2& pb, MapID map, MSTR& title,
                                         int& flags, int& category) {
    (void)flags;
    (void)category;
    auto* helper = dynamic_cast<ControlHelper*>(&owner);
    MaxSDK::QMaxParamBlockWidget* w = nullptr;
    if (map == 0) {
        title = L"Parameters";
        w = new ControlHelperRollup(&owner);
    } else if (map == 1 && helper) {
        title = L"Selector";
        w = new ControlHelperSelectorRollup(helper);
    }
    if (w) w->SetParamBlock(&owner, &pb);
    return w;
}

const bool rollupAttached =
    ClassRegistry::AttachQtWidgetFactory(HELPER_CLASS_ID, CONTROLHELPER_CLASS_ID, &MakeRollup) &&
    ClassRegistry::AttachQtWidgetFactory(SHAPE_CLASS_ID, CONTROLSHAPE_CLASS_ID, &MakeRollup);

}  // namespace

ControlHelperRollup::ControlHelperRollup(ReferenceMaker* owner, QWidget* parent)
    : QMaxParamBlockWidget(parent), owner_(owner) {
    (void)rollupAttached;
    setObjectName(QStringLiteral("ControlHelperRollup"));
    auto* top = new QVBoxLayout(this);
    auto* type = new QComboBox;
    type->setObjectName(QStringLiteral("type"));
    const MCHAR* none = GetString(IDS_SHAPES_NONE);
    for (int t = 0; t < kNumGizmoTypes; ++t)
        type->addItem(QString::fromWCharArray(t == kGizmoNone && none ? none : GizmoLabel(t)));
    top->addWidget(type);

    auto* sizeGroup = new QGroupBox;
    auto* sizes = new QVBoxLayout(sizeGroup);
    AddRow(sizes, pb_uniform, QString(), Check("uniform", QStringLiteral("Uniform")));
    AddRow(sizes, pb_size, QStringLiteral("Size:"), Spinner("size", 0.0, 1e9));
    AddRow(sizes, pb_length, QStringLiteral("Length:"), Spinner("length", 0.0, 1e9));
    AddRow(sizes, pb_width, QStringLiteral("Width:"), Spinner("width", 0.0, 1e9));
    AddRow(sizes, pb_height, QStringLiteral("Height:"), Spinner("height", 0.0, 1e9));
    auto* axisBox = new QGroupBox;
    axisBox->setObjectName(QStringLiteral("axis"));
    auto* axisLayout = new QHBoxLayout(axisBox);
    for (const char* a : {"X Axis", "Y Axis", "Z Axis"}) axisLayout->addWidget(new QRadioButton(QString::fromLatin1(a)));
    AddRow(sizes, pb_axis, QStringLiteral("Axis:"), axisBox);
    AddRow(sizes, pb_thickness, QStringLiteral("Thickness:"), Spinner("thickness", 0.0, 100.0, 1));
    AddRow(sizes, pb_corner, QStringLiteral("Corner:"), Spinner("corner", 0.0, 1e9));
    auto* steps = new MaxSDK::QmaxSpinBox;
    steps->setObjectName(QStringLiteral("steps"));
    steps->setRange(0, 999);
    AddRow(sizes, pb_steps, QStringLiteral("Steps:"), steps);
    AddRow(sizes, pb_warp_amount, QStringLiteral("Warp Amount:"), Spinner("warp_amount", -100.0, 100.0, 1));
    AddRow(sizes, pb_warp_axis, QStringLiteral("Warp Axis:"), AxisList("warp_axis"));
    top->addWidget(sizeGroup);

    if (dynamic_cast<ControlShape*>(owner)) {
        // Shown for every figure: it is not one of the figure's own rows.
        auto* scale = new QWidget;
        auto* h = new QHBoxLayout(scale);
        h->setContentsMargins(0, 0, 0, 0);
        h->addWidget(new QLabel(QStringLiteral("Scale:")));
        h->addWidget(Spinner("scale", 0.0, 1e9, 1), 1);
        top->addWidget(scale);
    } else {
        top->addWidget(Check("constant_screen_size", QStringLiteral("Constant Screen Size")));
        top->addWidget(Check("face_camera", QStringLiteral("Face Camera")));
        top->addWidget(Check("offset_line", QStringLiteral("Offset Line")));
        top->addWidget(Check("draw_on_top", QStringLiteral("Draw On Top")));
    }
    auto* reset = new QPushButton(QStringLiteral("Reset Gizmo"));
    reset->setObjectName(QStringLiteral("resetGizmo"));
    top->addWidget(reset);
    connect(reset, &QPushButton::clicked, this, &ControlHelperRollup::ResetGizmo);
}

void ControlHelperRollup::AddRow(QLayout* layout, int paramId, const QString& label, QWidget* control) {
    auto* row = new QWidget;
    row->setObjectName(QStringLiteral("row_") + control->objectName());
    auto* h = new QHBoxLayout(row);
    h->setContentsMargins(0, 0, 0, 0);
    if (!label.isEmpty()) h->addWidget(new QLabel(label));
    h->addWidget(control, 1);
    layout->addWidget(row);
    rows_[paramId] = row;
}

void ControlHelperRollup::ResetGizmo() {
    if (auto* h = dynamic_cast<ControlHelper*>(owner_)) h->ResetGizmo();
    if (auto* s = dynamic_cast<ControlShape*>(owner_)) s->ResetGizmo();
}

QWidget* ControlHelperRollup::Row(int paramId) const {
    auto it = rows_.find(paramId);
    return it == rows_.end() ? nullptr : it->second;
}

void ControlHelperRollup::SetParamBlock(ReferenceMaker* owner, IParamBlock2* paramBlock) {
    QMaxParamBlockWidget::SetParamBlock(owner, paramBlock);
    // After the binding's own connections, so the rows read the value the edit stored.
    connect(findChild<QComboBox*>(QStringLiteral("type")), &QComboBox::currentIndexChanged, this,
            &ControlHelperRollup::UpdateRows, Qt::UniqueConnection);
    connect(findChild<QCheckBox*>(QStringLiteral("uniform")), &QCheckBox::toggled, this,
            &ControlHelperRollup::UpdateRows, Qt::UniqueConnection);
    UpdateRows();
}

void ControlHelperRollup::UpdateUI(const TimeValue t) {
    QMaxParamBlockWidget::UpdateUI(t);
    UpdateRows();
}

void ControlHelperRollup::UpdateRows() {
    IParamBlock2* pb = GetParamBlock();
    if (!pb) return;
    const unsigned rows = GizmoParamRows(pb->GetInt(pb_type));
    const bool uniform = pb->GetInt(pb_uniform) != 0;
    for (auto& [id, row] : rows_) {
        bool show = (rows & GizmoRowBit(id)) != 0;
        if (id == pb_size) show = show && uniform;
        if (id == pb_length || id == pb_width || id == pb_height) show = show && !uniform;
        row->setVisible(show);
    }
}

ControlHelperSelectorRollup::ControlHelperSelectorRollup(ControlHelper* helper, QWidget* parent)
    : QMaxParamBlockWidget(parent), helper_(helper) {
    setObjectName(QStringLiteral("ControlHelperSelectorRollup"));
    auto* form = new QFormLayout(this);
    form->addRow(Check("selector_active", QStringLiteral("Active")));
    auto* node = new MaxSDK::QmaxNodePickButton;
    node->setObjectName(QStringLiteral("selector_node"));
    form->addRow(QStringLiteral("Node:"), node);
    select_ = new QPushButton(QStringLiteral("Select Polygons"));
    select_->setObjectName(QStringLiteral("selectPolygons"));
    select_->setCheckable(true);
    form->addRow(select_);
    count_ = new QLabel;
    count_->setObjectName(QStringLiteral("polygonCount"));
    form->addRow(count_);
    form->addRow(Check("selector_ignore_backfacing", QStringLiteral("Ignore Backfacing")));
    form->addRow(Check("selector_use_wire_color", QStringLiteral("Use Wire Color")));
    auto* color = new MaxSDK::QmaxColorSwatch;
    color->setObjectName(QStringLiteral("selector_color"));
    form->addRow(QStringLiteral("Color:"), color);
    form->addRow(QStringLiteral("Sel Opacity:"), Spinner("selector_sel_opacity", 0.0, 100.0, 1));
    form->addRow(QStringLiteral("Unsel Opacity:"), Spinner("selector_unsel_opacity", 0.0, 100.0, 1));
    form->addRow(QStringLiteral("Push Value:"), Spinner("selector_push_value", 0.0, 1e9, 3));
    connect(select_, &QPushButton::toggled, this, &ControlHelperSelectorRollup::SetSelectPolygons);
    UpdateCount();
}

QString ControlHelperSelectorRollup::CountText() const { return count_->text(); }

void ControlHelperSelectorRollup::UpdateUI(const TimeValue t) {
    QMaxParamBlockWidget::UpdateUI(t);
    UpdateCount();
}

void ControlHelperSelectorRollup::UpdateCount() {
    count_->setText(QString::asprintf("%d %s", helper_->FaceSelection().NumberSet(), "Polygons Selected"));
    select_->setEnabled(helper_->GetSelectorNode() != nullptr);
}

void ControlHelperSelectorRollup::SetSelectPolygons(bool on) {
    INode* node = helper_->OwnerNode();
    if (!node) return;
    host::SetSubObjectLevel(node, on ? kSelectPolygonsLevel : 0);
    UpdateCount();
}

}  // namespace kt
