// The Qt rollup of IKFKLink ("IKFK Links"): one row per entry with its start frame and
// its node ("World" for a null target), a frame spinner for the selected row, and buttons to
// add a picked node, add the world and delete the selected entry.
//
// "Add Link" enters PickIKFKLinkNode: a click in a viewport on a node the link may follow
// adds it at the current frame and ends the mode. Every edit is the link's own undo step
// ("IKFK Change"). The list follows the link's tables while the rollup is open.
#pragma once

#include "frame/node_pick_mode.h"
#include "solvers/ikfk_link.h"
#include "ui/qmax_param_block_widget.h"

class QTableWidget;
class QPushButton;
namespace MaxSDK {
class QmaxSpinBox;
}

namespace kt {

// The rollup's pick mode; its filter refuses the controlled node and the nodes that depend
// on it.
class PickIKFKLinkNode : public NodePickMode {
  public:
    explicit PickIKFKLinkNode(IKFKLink* link) : link_(link) {}
    BOOL Filter(INode* node) override;
    // Adds the picked node at the current frame; ends the mode.
    BOOL Pick(IObjParam* ip, ViewExp* vpt) override;

private:
    IKFKLink* link_;
};

class IKFKLinkRollup : public MaxSDK::QMaxParamBlockWidget, public IKFKLinkRollupLink {
    Q_OBJECT
public:
    explicit IKFKLinkRollup(IKFKLink* link, QWidget* parent = nullptr);
    ~IKFKLinkRollup() override;

    void RefreshList() override;
    void UpdateUI(const TimeValue t) override;
    void UpdateParameterUI(const TimeValue t, const ParamID paramId, const int tabIndex) override;
    // The selected row (0-based entry), or -1.
    int SelectedEntry() const;
    void SelectEntry(int row);
    PickIKFKLinkNode& PickMode() { return pick_; }

public slots:
    // "Add Link": enters the pick mode, or leaves it when it is on.
    void TogglePickMode();
    void AddWorld();
    void DeleteSelected();
    void SetSelectedFrame(int frame);

private:
    void ShowFrame();

    IKFKLink* link_;
    PickIKFKLinkNode pick_;
    QTableWidget* list_ = nullptr;
    MaxSDK::QmaxSpinBox* frame_ = nullptr;
    QPushButton* add_ = nullptr;
    QPushButton* addWorld_ = nullptr;
    QPushButton* delete_ = nullptr;
    bool refreshing_ = false;
};

}  // namespace kt
