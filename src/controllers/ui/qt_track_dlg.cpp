#include "controllers/ui/qt_track_dlg.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QComboBox>
#include <QDoubleSpinBox>

#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "ui/qmax_controls.h"

namespace kt {

// Follows the controller: refreshes on change, closes the dialog when it is deleted.
class QtTrackDlg::Watcher : public ReferenceMaker {
public:
    Watcher(QtTrackDlg* dlg, Control* c) : dlg_(dlg) { ReplaceReference(0, c); }
    ~Watcher() override { DeleteAllRefsFromMe(); }
    SClass_ID SuperClassID() override { return REF_MAKER_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x45596D56, 0x1E847BF0); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int) override { return ref_; }
    BOOL IsRealDependency(ReferenceTarget*) override { return FALSE; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage message, BOOL) override {
        if (message == REFMSG_TARGET_DELETED)
            dlg_->ControlGone();
        else if (message == REFMSG_CHANGE)
            dlg_->UpdateUI();
        return REF_SUCCEED;
    }

protected:
    void SetReference(int, RefTargetHandle t) override { ref_ = t; }

private:
    QtTrackDlg* dlg_;
    RefTargetHandle ref_ = nullptr;
};

class QtTrackDlg::TimeWatcher : public TimeChangeCallback {
public:
    explicit TimeWatcher(QtTrackDlg* dlg) : dlg_(dlg) { GetCOREInterface()->RegisterTimeChangeCallback(this); }
    ~TimeWatcher() override { GetCOREInterface()->UnRegisterTimeChangeCallback(this); }
    void TimeChanged(TimeValue) override { dlg_->UpdateUI(); }

private:
    QtTrackDlg* dlg_;
};

QtTrackDlg::QtTrackDlg(Control* ctrl, IParamBlock2* pblock, const MCHAR* undoName, QWidget* parent)
    : QDialog(parent), ctrl_(ctrl), pblock_(pblock), undoName_(undoName ? undoName : L"") {
    setModal(false);
    setAttribute(Qt::WA_DeleteOnClose);
    watcher_ = std::make_unique<Watcher>(this, ctrl);
    timeWatcher_ = std::make_unique<TimeWatcher>(this);
}

QtTrackDlg::~QtTrackDlg() = default;

void QtTrackDlg::ControlGone() {
    ctrl_ = nullptr;
    pblock_ = nullptr;
    refreshers_.clear();
    close();
}

void QtTrackDlg::Edit(const std::function<void()>& f) {
    if (loading_ || !pblock_) return;
    theHold.Begin();
    f();
    theHold.Accept(undoName_.data());
}

void QtTrackDlg::UpdateUI() {
    if (!pblock_ || loading_) return;
    loading_ = true;
    const TimeValue t = GetCOREInterface()->GetTime();
    for (auto& r : refreshers_) r(t);
    UpdateExtra();
    loading_ = false;
}

void QtTrackDlg::BindCheck(QAbstractButton* w, ParamID id) {
    w->setCheckable(true);
    refreshers_.push_back([this, w, id](TimeValue t) { w->setChecked(pblock_->GetInt(id, t) != 0); });
    connect(w, &QAbstractButton::toggled, this, [this, id](bool on) {
        Edit([&] { pblock_->SetValue(id, GetCOREInterface()->GetTime(), on ? 1 : 0); });
    });
}

void QtTrackDlg::BindSpin(QDoubleSpinBox* w, ParamID id, double scale) {
    w->setRange(-1e9, 1e9);
    w->setDecimals(3);
    refreshers_.push_back([this, w, id, scale](TimeValue t) { w->setValue(pblock_->GetFloat(id, t) * scale); });
    connect(w, &QDoubleSpinBox::valueChanged, this, [this, id, scale](double v) {
        Edit([&] { pblock_->SetValue(id, GetCOREInterface()->GetTime(), static_cast<float>(v / scale)); });
    });
}

void QtTrackDlg::BindCombo(QComboBox* w, ParamID id) {
    refreshers_.push_back([this, w, id](TimeValue t) { w->setCurrentIndex(pblock_->GetInt(id, t)); });
    connect(w, &QComboBox::currentIndexChanged, this, [this, id](int i) {
        if (i >= 0) Edit([&] { pblock_->SetValue(id, GetCOREInterface()->GetTime(), i); });
    });
}

void QtTrackDlg::BindGroup(QButtonGroup* g, ParamID id) {
    refreshers_.push_back([this, g, id](TimeValue t) {
        if (QAbstractButton* b = g->button(pblock_->GetInt(id, t))) b->setChecked(true);
    });
    connect(g, &QButtonGroup::idClicked, this, [this, id](int i) {
        Edit([&] { pblock_->SetValue(id, GetCOREInterface()->GetTime(), i); });
    });
}

void QtTrackDlg::BindNode(MaxSDK::QmaxNodePickButton* w, ParamID id) {
    refreshers_.push_back([this, w, id](TimeValue t) { w->setNode(pblock_->GetINode(id, t)); });
    connect(w, &MaxSDK::QmaxNodePickButton::nodePicked, this, [this, id, w](INode* n) {
        Edit([&] {
            // A refused node (a validator's cycle test) leaves the parameter and shows it again.
            if (!pblock_->SetValue(id, GetCOREInterface()->GetTime(), n)) w->setNode(pblock_->GetINode(id));
        });
    });
}

}  // namespace kt
