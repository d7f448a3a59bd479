// FloatConnectionTrackDlg ("FloatConnectionDialog"): the target pick ("btnTargetTrack"), the
// target's path ("lblAssignedTo"), the switches, the transform choice and its values, and the
// time offset row ("layoutTimeOffset"). Every change is one "Float Connection Change" step.
#pragma once

#include "controllers/ui/qt_track_dlg.h"

class QLabel;
class QPushButton;

namespace kt {

class FloatConnection;

// Walks the track tree from the scene's root to find a target and spell its path:
// "Node / Transform / Position / X Position".
class ControlEnum {
public:
    ControlEnum(ReferenceTarget* owner, int subNum) : owner_(owner), sub_(subNum) {}
    // Empty when the target is not under any node.
    MSTR Path();

private:
    bool Walk(Animatable* a, std::vector<MSTR>& path, int depth);
    ReferenceTarget* owner_;
    int sub_;
};

class FloatConnectionTrackDlg : public QtTrackDlg {
    Q_OBJECT
public:
    explicit FloatConnectionTrackDlg(FloatConnection* c, QWidget* parent = nullptr);

    QPushButton* targetButton = nullptr;
    QLabel* assignedTo = nullptr;

protected:
    void UpdateExtra() override;

private:
    FloatConnection* conn_;
};

}  // namespace kt
