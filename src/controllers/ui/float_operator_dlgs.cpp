#include "controllers/ui/float_operator_dlgs.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>

#include "controllers/float_connection.h"
#include "controllers/float_expose_tm.h"
#include "controllers/float_operation.h"
#include "controllers/float_wave.h"
#include "controllers/ui/float_connection_dlg.h"
#include "ui/qmax_controls.h"

namespace kt {
namespace {

// Adds labelled widgets to a form and binds them.
struct FormBuilder {
    QWidget* owner;
    QFormLayout* form;
    template <class W>
    W* Add(const char* name, const char* label) {
        auto* w = new W(owner);
        w->setObjectName(name);
        form->addRow(QObject::tr(label), w);
        return w;
    }
    QComboBox* Combo(const char* name, const char* label, std::initializer_list<const char*> items) {
        auto* c = Add<QComboBox>(name, label);
        for (const char* i : items) c->addItem(QObject::tr(i));
        return c;
    }
};

}  // namespace

FloatOperationTrackDlg::FloatOperationTrackDlg(FloatOperation* c, QWidget* parent)
    : QtTrackDlg(c, c->pblock, L"Float Operation Change", parent) {
    setObjectName("FloatOperationDialog");
    setWindowTitle(QString::fromWCharArray(c->ClassName().data()));
    FormBuilder f{this, new QFormLayout(this)};
    BindSpin(f.Add<QDoubleSpinBox>("a", "A Value"), FloatOperation::pb_a);
    BindSpin(f.Add<QDoubleSpinBox>("b", "B Value"), FloatOperation::pb_b);
    BindCombo(f.Combo("operation", "Operation",
                      {"Add", "Subtract", "Multiply", "Divide", "Average", "Power", "Min", "Max", "Mod"}),
              FloatOperation::pb_operation);
    BindCheck(f.Add<QCheckBox>("negative", "Negative"), FloatOperation::pb_negative);
    UpdateUI();
}

FloatWaveTrackDlg::FloatWaveTrackDlg(FloatWave* c, QWidget* parent)
    : QtTrackDlg(c, c->pblock, L"Float Wave Change", parent) {
    setObjectName("FloatWaveDialog");
    setWindowTitle(QString::fromWCharArray(c->ClassName().data()));
    FormBuilder f{this, new QFormLayout(this)};
    BindSpin(f.Add<QDoubleSpinBox>("amplitude", "Amplitude"), FloatWave::pb_amplitude);
    BindSpin(f.Add<QDoubleSpinBox>("wave_length", "Wave Length"), FloatWave::pb_wave_length);
    BindSpin(f.Add<QDoubleSpinBox>("offset", "Offset"), FloatWave::pb_offset);
    BindSpin(f.Add<QDoubleSpinBox>("phase", "Phase"), FloatWave::pb_phase);
    BindCombo(f.Combo("type", "Type", {"Sine", "Saw", "Triangle", "Arcs"}), FloatWave::pb_type);
    BindCombo(f.Combo("alignment", "Alignment", {"Centered", "Above", "Below"}), FloatWave::pb_alignment);
    UpdateUI();
}

FloatExposeTMTrackDlg::FloatExposeTMTrackDlg(FloatExposeTM* c, QWidget* parent)
    : QtTrackDlg(c, c->pblock, L"Float Expose TM Change", parent) {
    setObjectName("FloatExposeTMDialog");
    setWindowTitle(QString::fromWCharArray(c->ClassName().data()));
    FormBuilder f{this, new QFormLayout(this)};
    BindNode(f.Add<MaxSDK::QmaxNodePickButton>("expose_node", "Expose Node"), FloatExposeTM::pb_expose_node);
    BindNode(f.Add<MaxSDK::QmaxNodePickButton>("local_reference_node", "Local Reference Node"),
             FloatExposeTM::pb_local_reference_node);
    BindCheck(f.Add<QCheckBox>("use_parent", "Use Parent"), FloatExposeTM::pb_use_parent);
    BindCombo(f.Combo("type", "Type", {"Position", "Euler", "Scale", "Distance", "Local Rotation"}),
              FloatExposeTM::pb_type);
    BindCombo(f.Combo("axis", "Axis", {"X", "Y", "Z"}), FloatExposeTM::pb_axis);
    BindCombo(f.Combo("axis_order", "Axis Order", {"XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX", "XYX", "YZY", "ZXZ"}),
              FloatExposeTM::pb_axis_order);
    BindCombo(f.Combo("local_world", "Local World", {"Local", "World"}), FloatExposeTM::pb_local_world);
    BindSpin(f.Add<QDoubleSpinBox>("offset", "Offset"), FloatExposeTM::pb_offset);
    BindSpin(f.Add<QDoubleSpinBox>("weight", "Weight"), FloatExposeTM::pb_weight, 100.0);
    UpdateUI();
}

QtTrackDlg* OpenTrackDialog(Control* ctrl, QWidget* parent) {
    if (!ctrl || ctrl->SuperClassID() != CTRL_FLOAT_CLASS_ID) return nullptr;
    const Class_ID id = ctrl->ClassID();
    if (id == FLOAT_CONNECTION_CLASS_ID) return new FloatConnectionTrackDlg(static_cast<FloatConnection*>(ctrl), parent);
    if (id == FLOAT_OPERATION_CLASS_ID) return new FloatOperationTrackDlg(static_cast<FloatOperation*>(ctrl), parent);
    if (id == FLOAT_WAVE_CLASS_ID) return new FloatWaveTrackDlg(static_cast<FloatWave*>(ctrl), parent);
    if (id == FLOAT_EXPOSE_TM_CLASS_ID) return new FloatExposeTMTrackDlg(static_cast<FloatExposeTM*>(ctrl), parent);
    return nullptr;
}

}  // namespace kt
