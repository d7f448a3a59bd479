// QtTrackDlg: the base of the controllers' track dialogs. A modeless dialog on one controller
// that shows its block's parameters in widgets bound by parameter id, writes every user edit
// as one undo step under the dialog's own name, follows changes made elsewhere (scripts,
// undo, the current time), and closes itself when the controller goes away.
//
// OpenTrackDialog makes the dialog that fits a controller's class, or null.
#pragma once

#include <QDialog>
#include <functional>
#include <memory>
#include <vector>

#include "control.h"
#include "iparamb2.h"

class QAbstractButton;
class QButtonGroup;
class QComboBox;
class QDoubleSpinBox;
namespace MaxSDK {
class QmaxNodePickButton;
}

namespace kt {

class QtTrackDlg : public QDialog {
    Q_OBJECT
public:
    QtTrackDlg(Control* ctrl, IParamBlock2* pblock, const MCHAR* undoName, QWidget* parent = nullptr);
    ~QtTrackDlg() override;

    // Null once the controller is gone (the dialog closes then).
    Control* GetControl() const { return ctrl_; }
    // Reads every bound widget back from the block at the current time.
    void UpdateUI();

protected:
    // Bindings: the widget shows the parameter; a user edit sets it in one named undo step.
    // `scale` turns stored values into shown ones (100 for percent fractions).
    void BindCheck(QAbstractButton* w, ParamID id);
    void BindSpin(QDoubleSpinBox* w, ParamID id, double scale = 1.0);
    void BindCombo(QComboBox* w, ParamID id);
    void BindGroup(QButtonGroup* g, ParamID id);
    void BindNode(MaxSDK::QmaxNodePickButton* w, ParamID id);
    // Called after the bound widgets were refreshed.
    virtual void UpdateExtra() {}
    // One undo step named after the dialog around f.
    void Edit(const std::function<void()>& f);
    IParamBlock2* Block() const { return pblock_; }

private:
    class Watcher;
    class TimeWatcher;
    void ControlGone();

    Control* ctrl_;
    IParamBlock2* pblock_;
    MSTR undoName_;
    bool loading_ = false;
    std::vector<std::function<void(TimeValue)>> refreshers_;
    std::unique_ptr<Watcher> watcher_;
    std::unique_ptr<TimeWatcher> timeWatcher_;
};

// The dialog of `ctrl`'s class (FloatConnection, FloatOperation, FloatWave, FloatExposeTM);
// null for other controllers. The caller shows it; it deletes itself on close.
QtTrackDlg* OpenTrackDialog(Control* ctrl, QWidget* parent = nullptr);

}  // namespace kt
