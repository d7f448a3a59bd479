#include "ui/qmax_spinner.h"

#include <QKeyEvent>
#include <QMouseEvent>

namespace host {

// A press on the arrows starts a drag; the right button during a drag cancels it, as Escape
// does.
template <class Derived, class Spin, class Value>
InteractiveSpinBox<Derived, Spin, Value>::InteractiveSpinBox(QWidget* parent) : Spin(parent) {
    this->setKeyboardTracking(false);
    this->setAccelerated(true);
}

template <class Derived, class Spin, class Value>
void InteractiveSpinBox<Derived, Spin, Value>::beginInteractive() {
    if (interactive_) return;
    interactive_ = true;
    startValue_ = this->value();
    emit static_cast<Derived*>(this)->interactiveChanged(true, false);
}

template <class Derived, class Spin, class Value>
void InteractiveSpinBox<Derived, Spin, Value>::endInteractive(bool cancelled) {
    if (!interactive_) return;
    interactive_ = false;
    if (cancelled) {
        const bool was = this->blockSignals(true);
        this->setValue(startValue_);
        this->blockSignals(was);
    }
    emit static_cast<Derived*>(this)->interactiveChanged(false, cancelled);
}

template <class Derived, class Spin, class Value>
void InteractiveSpinBox<Derived, Spin, Value>::mousePressEvent(QMouseEvent* e) {
    if (interactive_ && e->button() == Qt::RightButton) {
        endInteractive(true);
        return;
    }
    if (e->button() == Qt::LeftButton) beginInteractive();
    Spin::mousePressEvent(e);
}

template <class Derived, class Spin, class Value>
void InteractiveSpinBox<Derived, Spin, Value>::mouseReleaseEvent(QMouseEvent* e) {
    Spin::mouseReleaseEvent(e);
    if (e->button() == Qt::LeftButton) endInteractive(false);
}

template <class Derived, class Spin, class Value>
void InteractiveSpinBox<Derived, Spin, Value>::keyPressEvent(QKeyEvent* e) {
    if (interactive_ && e->key() == Qt::Key_Escape) {
        endInteractive(true);
        return;
    }
    Spin::keyPressEvent(e);
}

template class InteractiveSpinBox<MaxSDK::QmaxDoubleSpinBox, QDoubleSpinBox, double>;
template class InteractiveSpinBox<MaxSDK::QmaxSpinBox, QSpinBox, int>;

}  // namespace host
