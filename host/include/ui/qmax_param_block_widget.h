// The rollup of one parameter map, and the binding of its widgets to a parameter block.
//
// Binding goes by object name: a child whose object name is a parameter's script name shows
// and edits that parameter. What binds to what:
//   float, world, angle, pcnt_frac  QDoubleSpinBox (QmaxDoubleSpinBox); angles are stored in
//                                   radians and shown in degrees, percent fractions stored as
//                                   fractions and shown in percent
//   int, bool, index, timevalue     QSpinBox (QmaxSpinBox); a checkable QAbstractButton
//                                   (non-zero is checked); QComboBox (current index = value);
//                                   a QButtonGroup or a QGroupBox of radio buttons (the
//                                   checked button's position = value). Timevalues show frames.
//   rgba, frgba, point3             QmaxColorSwatch
//   inode                           QmaxNodePickButton
//   string, filename                QLineEdit (set when editing finishes)
//   any table                       QListWidget: one row per entry
// Every user edit is one undo record ("Parameter Change"); an interactive spinner drag is one
// record for the whole drag and a cancelled drag leaves none. Changes of the block from
// elsewhere (scripts, undo) show in the widgets.
#pragma once

#include <QWidget>
#include <memory>

#include "iparamb2.h"

namespace MaxSDK {

class QMaxParamBlockWidget : public QWidget {
    Q_OBJECT
public:
    explicit QMaxParamBlockWidget(QWidget* parent = nullptr);
    ~QMaxParamBlockWidget() override;

    // Binds the children to block (null unbinds) and shows its values at the current time.
    virtual void SetParamBlock(ReferenceMaker* owner, IParamBlock2* paramBlock);
    // Shows every bound parameter at time t.
    virtual void UpdateUI(const TimeValue t);
    // Shows one parameter (every entry of a table) at time t.
    virtual void UpdateParameterUI(const TimeValue t, const ParamID paramId, const int tabIndex);

    IParamBlock2* GetParamBlock() const;
    ReferenceMaker* GetOwner() const { return owner_; }
    // Rebinds after children were added or renamed.
    void Rebind();

private:
    class Watcher;
    struct Binding;
    void BindOne(QObject* w, const ParamDef& pd);
    void Show(Binding& b, TimeValue t);
    template <class Fn>
    void Edit(const Binding& b, Fn&& set);
    void OnBlockChanged(ParamID id);
    void OnBlockDeleted();

    ReferenceMaker* owner_ = nullptr;
    std::unique_ptr<Watcher> watcher_;
    std::vector<std::unique_ptr<Binding>> bindings_;
    bool showing_ = false;  // signals from our own refresh are not edits
    bool editing_ = false;  // block notifications caused by our own edit
    bool dragHold_ = false; // an interactive spinner drag holds the undo record open
    friend class Watcher;
};

}  // namespace MaxSDK
