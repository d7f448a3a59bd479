// The rollouts of ControlHelper: "Parameters" (map 0: the figure, its size group and the
// display switches) and "Selector" (map 1: the faces of another mesh that pick the control).
// ControlShape shows the Parameters rollout with its Scale row and without the display
// switches.
// Widgets bind to the block by script name; the Parameters rollout shows only the rows the
// current type uses (GizmoParamRows), size or length/width/height by `uniform`.
#pragma once

#include <map>

#include "ui/qmax_param_block_widget.h"

class QLabel;
class QPushButton;

namespace kt {

class ControlHelper;

class ControlHelperRollup : public MaxSDK::QMaxParamBlockWidget {
    Q_OBJECT
public:
    // owner is a ControlHelper or a ControlShape (which adds the Scale row).
    explicit ControlHelperRollup(ReferenceMaker* owner, QWidget* parent = nullptr);
    void SetParamBlock(ReferenceMaker* owner, IParamBlock2* paramBlock) override;
    void UpdateUI(const TimeValue t) override;
    // The row (label and control) of a parameter, or null.
    QWidget* Row(int paramId) const;

public slots:
    // Shows the rows of the block's type.
    void UpdateRows();

private:
    void AddRow(QLayout* layout, int paramId, const QString& label, QWidget* control);
    void ResetGizmo();
    ReferenceMaker* owner_;
    std::map<int, QWidget*> rows_;
};

class ControlHelperSelectorRollup : public MaxSDK::QMaxParamBlockWidget {
    Q_OBJECT
public:
    explicit ControlHelperSelectorRollup(ControlHelper* helper, QWidget* parent = nullptr);
    void UpdateUI(const TimeValue t) override;
    // "N Polygons Selected".
    QString CountText() const;

public slots:
    void UpdateCount();
    // Enters or leaves the helper's "Select Polygons" level on its node.
    void SetSelectPolygons(bool on);

private:
    ControlHelper* helper_;
    QLabel* count_ = nullptr;
    QPushButton* select_ = nullptr;
};

}  // namespace kt
