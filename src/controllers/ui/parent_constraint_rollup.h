// The Qt rollup of ParentConstraint: the target list as a table of name and weight, a weight
// spinner for the selected row, a pick button that appends the picked node, a delete button
// and the `relative` switch (bound by its script name).
//
// A spinner change is one undo step ("Parent Weight Change"); a drag is one step for the
// whole drag and a cancelled drag leaves none. Picks go through ParentConstraintPickNode,
// which refuses nodes that depend on the constraint and nodes already listed. The rollup
// follows the constraint's list while it is open.
#pragma once

#include "controllers/constraint_targets.h"
#include "frame/node_pick_mode.h"
#include "ui/qmax_param_block_widget.h"

class QTableWidget;
class QPushButton;
namespace MaxSDK {
class QmaxDoubleSpinBox;
class QmaxNodePickButton;
}  // namespace MaxSDK

namespace kt {

class ParentConstraint;

// The pick mode of the rollup: a click on a node in a viewport appends it as a parent, with the
// default weight. Its filter refuses nodes that depend on the constraint and nodes already
// listed. One pick ends the mode.
class ParentConstraintPickNode : public NodePickMode {
  public:
    explicit ParentConstraintPickNode(ParentConstraint* pc) : pc_(pc) {}
    BOOL Filter(INode* node) override;
    BOOL Pick(IObjParam* ip, ViewExp* vpt) override;
    // Filters, then appends node; false when refused.
    bool PickTarget(INode* node);

private:
    ParentConstraint* pc_;
};

class ParentConstraintRollup : public MaxSDK::QMaxParamBlockWidget, public ConstraintRollupLink {
    Q_OBJECT
public:
    explicit ParentConstraintRollup(ParentConstraint* pc, QWidget* parent = nullptr);
    ~ParentConstraintRollup() override;

    void RefreshList() override;
    void UpdateUI(const TimeValue t) override;
    void UpdateParameterUI(const TimeValue t, const ParamID paramId, const int tabIndex) override;
    // The selected row (0-based), or -1.
    int SelectedTarget() const;
    void SelectTarget(int row);

private:
    void ShowWeight();
    void WeightEdited(double value);
    void Interactive(bool on, bool cancelled);

    ParentConstraint* pc_;
    ParentConstraintPickNode pick_;
    QTableWidget* list_ = nullptr;
    MaxSDK::QmaxDoubleSpinBox* weight_ = nullptr;
    MaxSDK::QmaxNodePickButton* pickButton_ = nullptr;
    QPushButton* pickMode_ = nullptr;
    QPushButton* delete_ = nullptr;
    bool refreshing_ = false;
    bool dragging_ = false;
};

}  // namespace kt
