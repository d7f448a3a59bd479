#include "ui/qmax_param_block_widget.h"

#include <QAbstractButton>
#include <QButtonGroup>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QGroupBox>
#include <QLineEdit>
#include <QListWidget>
#include <QRadioButton>
#include <QSpinBox>
#include <cmath>

#include "hold.h"
#include "inode.h"
#include "maxapi.h"
#include "ui/qmax_controls.h"
#include "ui/qmax_spinner.h"

namespace MaxSDK {
namespace {

constexpr const MCHAR* kEditName = L"Parameter Change";

QString ToQ(const MCHAR* s) { return QString::fromWCharArray(s ? s : L""); }
std::wstring FromQ(const QString& s) { return s.toStdWString(); }

// What the widget shows per stored unit.
double DisplayScale(int type) {
    switch (type) {
    case TYPE_ANGLE: return 180.0 / M_PI;
    case TYPE_PCNT_FRAC: return 100.0;
    default: return 1.0;
    }
}

QList<QAbstractButton*> RadioButtons(QObject* w) {
    if (auto* g = qobject_cast<QButtonGroup*>(w)) return g->buttons();
    QList<QAbstractButton*> out;
    for (QRadioButton* b : w->findChildren<QRadioButton*>()) out.push_back(b);
    return out;
}

}  // namespace

// Holds a reference to the block so that changes from elsewhere reach the widget. The reference
// is not a real dependency: a rollup never keeps a block alive.
class QMaxParamBlockWidget::Watcher : public ReferenceMaker {
public:
    explicit Watcher(QMaxParamBlockWidget* w) : w_(w) {}
    ~Watcher() override { Set(nullptr); }
    void Set(IParamBlock2* pb) {
        theHold.Suspend();
        ReplaceReference(0, pb, FALSE);
        theHold.Resume();
    }
    IParamBlock2* Block() const { return pb_; }
    SClass_ID SuperClassID() override { return REF_MAKER_CLASS_ID; }
    Class_ID ClassID() override { return Class_ID(0x7E5A0100, 0); }
    int NumRefs() override { return 1; }
    RefTargetHandle GetReference(int i) override { return i == 0 ? pb_ : nullptr; }
    BOOL IsRealDependency(ReferenceTarget*) override { return FALSE; }
    RefResult NotifyRefChanged(const Interval&, RefTargetHandle, PartID&, RefMessage msg, BOOL) override {
        if (msg == REFMSG_CHANGE && pb_)
            w_->OnBlockChanged(pb_->LastNotifyParamID());
        else if (msg == REFMSG_TARGET_DELETED)
            w_->OnBlockDeleted();
        return REF_SUCCEED;
    }

protected:
    void SetReference(int i, RefTargetHandle t) override {
        if (i == 0) pb_ = static_cast<IParamBlock2*>(t);
    }

private:
    QMaxParamBlockWidget* w_;
    IParamBlock2* pb_ = nullptr;
};

struct QMaxParamBlockWidget::Binding {
    QObject* widget;
    ParamID id;
    int type;
};

QMaxParamBlockWidget::QMaxParamBlockWidget(QWidget* parent)
    : QWidget(parent), watcher_(std::make_unique<Watcher>(this)) {}

QMaxParamBlockWidget::~QMaxParamBlockWidget() {
    if (dragHold_) theHold.Accept(kEditName);
}

IParamBlock2* QMaxParamBlockWidget::GetParamBlock() const { return watcher_->Block(); }

void QMaxParamBlockWidget::SetParamBlock(ReferenceMaker* owner, IParamBlock2* paramBlock) {
    owner_ = owner;
    watcher_->Set(paramBlock);
    Rebind();
}

void QMaxParamBlockWidget::Rebind() {
    for (auto& b : bindings_) QObject::disconnect(b->widget, nullptr, this, nullptr);
    bindings_.clear();
    IParamBlock2* pb = GetParamBlock();
    if (!pb || !pb->GetDesc()) return;
    QList<QObject*> objects = findChildren<QObject*>();
    for (const ParamDef& pd : pb->GetDesc()->paramdefs) {
        if (pd.int_name.data()[0] == 0 || (pd.flags & P_OBSOLETE)) continue;
        const QString name = ToQ(pd.int_name.data());
        for (QObject* o : objects)
            if (o->objectName() == name) BindOne(o, pd);
    }
    UpdateUI(GetCOREInterface()->GetTime());
}

template <class Fn>
void QMaxParamBlockWidget::Edit(const Binding& b, Fn&& set) {
    IParamBlock2* pb = GetParamBlock();
    if (!pb || showing_) return;
    editing_ = true;
    const bool own = !dragHold_ && !theHold.Holding();
    if (own) theHold.Begin();
    set(pb, GetCOREInterface()->GetTime());
    if (own) theHold.Accept(kEditName);
    editing_ = false;
    // The block may have refused or changed the value (range, validator, accessor).
    UpdateParameterUI(GetCOREInterface()->GetTime(), b.id, -1);
}

void QMaxParamBlockWidget::BindOne(QObject* w, const ParamDef& pd) {
    bindings_.push_back(std::make_unique<Binding>(Binding{w, pd.ID, static_cast<int>(pd.type)}));
    const Binding& b = *bindings_.back();
    const int base = pd.type & ~TYPE_TAB;
    if (is_tab(pd.type)) return;  // tables are shown, their entries edited elsewhere

    auto beginDrag = [this](bool interactive, bool cancelled) {
        if (interactive) {
            if (!theHold.Holding()) {
                theHold.Begin();
                dragHold_ = true;
            }
        } else if (dragHold_) {
            dragHold_ = false;
            editing_ = true;
            if (cancelled)
                theHold.Cancel();
            else
                theHold.Accept(kEditName);
            editing_ = false;
            UpdateUI(GetCOREInterface()->GetTime());
        }
    };

    if (auto* s = qobject_cast<QDoubleSpinBox*>(w)) {
        const double scale = DisplayScale(base);
        if (pd.has_range) {
            const bool isInt = base == TYPE_INT || base == TYPE_INDEX || base == TYPE_TIMEVALUE;
            s->setRange((isInt ? pd.range_low.i : pd.range_low.f) * scale,
                        (isInt ? pd.range_high.i : pd.range_high.f) * scale);
        }
        connect(s, &QDoubleSpinBox::valueChanged, this, [this, &b, scale](double v) {
            Edit(b, [&](IParamBlock2* pb, TimeValue t) {
                if (b.type == TYPE_INT || b.type == TYPE_INDEX || b.type == TYPE_BOOL)
                    pb->SetValue(b.id, t, static_cast<int>(std::lround(v)));
                else
                    pb->SetValue(b.id, t, static_cast<float>(v / scale));
            });
        });
        if (auto* q = qobject_cast<QmaxDoubleSpinBox*>(w)) connect(q, &QmaxDoubleSpinBox::interactiveChanged, this, beginDrag);
    } else if (auto* s = qobject_cast<QSpinBox*>(w)) {
        if (pd.has_range) {
            const bool isFloat = base == TYPE_FLOAT || base == TYPE_WORLD || base == TYPE_ANGLE || base == TYPE_PCNT_FRAC;
            if (isFloat)
                s->setRange(static_cast<int>(pd.range_low.f * DisplayScale(base)),
                            static_cast<int>(pd.range_high.f * DisplayScale(base)));
            else if (base == TYPE_TIMEVALUE)
                s->setRange(pd.range_low.i / GetTicksPerFrame(), pd.range_high.i / GetTicksPerFrame());
            else
                s->setRange(pd.range_low.i, pd.range_high.i);
        }
        connect(s, &QSpinBox::valueChanged, this, [this, &b](int v) {
            Edit(b, [&](IParamBlock2* pb, TimeValue t) {
                if (b.type == TYPE_TIMEVALUE)
                    pb->SetValue(b.id, t, v * GetTicksPerFrame());
                else if (b.type == TYPE_INT || b.type == TYPE_INDEX || b.type == TYPE_BOOL)
                    pb->SetValue(b.id, t, v);
                else
                    pb->SetValue(b.id, t, static_cast<float>(v / DisplayScale(b.type)));
            });
        });
        if (auto* q = qobject_cast<QmaxSpinBox*>(w)) connect(q, &QmaxSpinBox::interactiveChanged, this, beginDrag);
    } else if (auto* c = qobject_cast<QComboBox*>(w)) {
        connect(c, &QComboBox::currentIndexChanged, this, [this, &b](int i) {
            if (i >= 0) Edit(b, [&](IParamBlock2* pb, TimeValue t) { pb->SetValue(b.id, t, i); });
        });
    } else if (auto* sw = qobject_cast<QmaxColorSwatch*>(w)) {
        connect(sw, &QmaxColorSwatch::colorChanged, this, [this, &b](const QColor& q) {
            Edit(b, [&](IParamBlock2* pb, TimeValue t) {
                pb->SetValue(b.id, t, Point3(q.redF(), q.greenF(), q.blueF()));
            });
        });
    } else if (auto* nb = qobject_cast<QmaxNodePickButton*>(w)) {
        connect(nb, &QmaxNodePickButton::nodePicked, this, [this, &b](INode* n) {
            Edit(b, [&](IParamBlock2* pb, TimeValue t) { pb->SetValue(b.id, t, n); });
        });
    } else if (auto* le = qobject_cast<QLineEdit*>(w)) {
        connect(le, &QLineEdit::editingFinished, this, [this, &b, le]() {
            const std::wstring text = FromQ(le->text());
            Edit(b, [&](IParamBlock2* pb, TimeValue t) { pb->SetValue(b.id, t, text.c_str()); });
        });
    } else if (auto* ab = qobject_cast<QAbstractButton*>(w); ab && ab->isCheckable()) {
        connect(ab, &QAbstractButton::toggled, this, [this, &b](bool on) {
            Edit(b, [&](IParamBlock2* pb, TimeValue t) { pb->SetValue(b.id, t, on ? 1 : 0); });
        });
    } else if (qobject_cast<QButtonGroup*>(w) || qobject_cast<QGroupBox*>(w)) {
        const QList<QAbstractButton*> buttons = RadioButtons(w);
        for (int i = 0; i < buttons.size(); ++i)
            connect(buttons[i], &QAbstractButton::toggled, this, [this, &b, i](bool on) {
                if (on) Edit(b, [&](IParamBlock2* pb, TimeValue t) { pb->SetValue(b.id, t, i); });
            });
    }
}

void QMaxParamBlockWidget::Show(Binding& b, TimeValue t) {
    IParamBlock2* pb = GetParamBlock();
    if (!pb) return;
    QObject* w = b.widget;
    if (auto* list = qobject_cast<QListWidget*>(w)) {
        list->clear();
        const int base = b.type & ~TYPE_TAB;
        for (int i = 0; i < pb->Count(b.id); ++i) {
            QString text;
            if (base == TYPE_INODE) {
                INode* n = pb->GetINode(b.id, t, i);
                text = n ? ToQ(n->GetName()) : QStringLiteral("None");
            } else if (base == TYPE_STRING || base == TYPE_FILENAME) {
                text = ToQ(pb->GetStr(b.id, t, i));
            } else if (base == TYPE_INT || base == TYPE_BOOL || base == TYPE_INDEX || base == TYPE_TIMEVALUE) {
                text = QString::number(pb->GetInt(b.id, t, i));
            } else if (base == TYPE_REFTARG) {
                ReferenceTarget* r = pb->GetReferenceTarget(b.id, t, i);
                text = r ? ToQ(r->ClassName().data()) : QStringLiteral("None");
            } else {
                text = QString::number(pb->GetFloat(b.id, t, i) * DisplayScale(base), 'g', 6);
            }
            list->addItem(text);
        }
        return;
    }
    if (is_tab(b.type)) return;
    if (auto* s = qobject_cast<QDoubleSpinBox*>(w)) {
        const bool isInt = b.type == TYPE_INT || b.type == TYPE_INDEX || b.type == TYPE_BOOL;
        s->setValue(isInt ? pb->GetInt(b.id, t) : pb->GetFloat(b.id, t) * DisplayScale(b.type));
    } else if (auto* s = qobject_cast<QSpinBox*>(w)) {
        if (b.type == TYPE_TIMEVALUE)
            s->setValue(pb->GetInt(b.id, t) / GetTicksPerFrame());
        else if (b.type == TYPE_INT || b.type == TYPE_INDEX || b.type == TYPE_BOOL)
            s->setValue(pb->GetInt(b.id, t));
        else
            s->setValue(static_cast<int>(std::lround(pb->GetFloat(b.id, t) * DisplayScale(b.type))));
    } else if (auto* c = qobject_cast<QComboBox*>(w)) {
        c->setCurrentIndex(pb->GetInt(b.id, t));
    } else if (auto* sw = qobject_cast<QmaxColorSwatch*>(w)) {
        const Point3 p = pb->GetPoint3(b.id, t);
        sw->setColor(QColor::fromRgbF(std::clamp(p.x, 0.f, 1.f), std::clamp(p.y, 0.f, 1.f), std::clamp(p.z, 0.f, 1.f)));
    } else if (auto* nb = qobject_cast<QmaxNodePickButton*>(w)) {
        nb->setNode(pb->GetINode(b.id, t));
    } else if (auto* le = qobject_cast<QLineEdit*>(w)) {
        le->setText(ToQ(pb->GetStr(b.id, t)));
    } else if (auto* ab = qobject_cast<QAbstractButton*>(w); ab && ab->isCheckable()) {
        ab->setChecked(pb->GetInt(b.id, t) != 0);
    } else if (qobject_cast<QButtonGroup*>(w) || qobject_cast<QGroupBox*>(w)) {
        const QList<QAbstractButton*> buttons = RadioButtons(w);
        const int v = pb->GetInt(b.id, t);
        if (v >= 0 && v < buttons.size()) buttons[v]->setChecked(true);
    }
}

void QMaxParamBlockWidget::UpdateUI(const TimeValue t) {
    showing_ = true;
    for (auto& b : bindings_) Show(*b, t);
    showing_ = false;
}

void QMaxParamBlockWidget::UpdateParameterUI(const TimeValue t, const ParamID paramId, const int tabIndex) {
    (void)tabIndex;  // a table's list is shown whole
    showing_ = true;
    for (auto& b : bindings_)
        if (b->id == paramId) Show(*b, t);
    showing_ = false;
}

void QMaxParamBlockWidget::OnBlockChanged(ParamID id) {
    // During our own edit the refresh follows the edit; a drag must not have its spinner
    // reset under the mouse.
    if (editing_ || dragHold_) return;
    if (id < 0)
        UpdateUI(GetCOREInterface()->GetTime());
    else
        UpdateParameterUI(GetCOREInterface()->GetTime(), id, -1);
}

void QMaxParamBlockWidget::OnBlockDeleted() {
    for (auto& b : bindings_) QObject::disconnect(b->widget, nullptr, this, nullptr);
    bindings_.clear();
    owner_ = nullptr;
}

}  // namespace MaxSDK
