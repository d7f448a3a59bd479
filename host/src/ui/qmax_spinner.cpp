#include "ui/qmax_spinner.h"

#include <QKeyEvent>
#include <QMouseEvent>

namespace MaxSDK {

// A press on the arrows starts a drag; the right button during a drag cancels it, as Escape
// does.
QmaxDoubleSpinBox::QmaxDoubleSpinBox(QWidget* parent) : QDoubleSpinBox(parent) {
    setKeyboardTracking(false);
    setAccelerated(true);
}

void QmaxDoubleSpinBox::beginInteractive() {
    if (interactive_) return;
    interactive_ = true;
    startValue_ = value();
    emit interactiveChanged(true, false);
}

void QmaxDoubleSpinBox::endInteractive(bool cancelled) {
    if (!interactive_) return;
    interactive_ = false;
    if (cancelled) {
        const bool was = blockSignals(true);
        setValue(startValue_);
        blockSignals(was);
    }
    emit interactiveChanged(false, cancelled);
}

void QmaxDoubleSpinBox::mousePressEvent(QMouseEvent* e) {
    if (interactive_ && e->button() == Qt::RightButton) {
        endInteractive(true);
        return;
    }
    if (e->button() == Qt::LeftButton) beginInteractive();
    QDoubleSpinBox::mousePressEvent(e);
}

void QmaxDoubleSpinBox::mouseReleaseEvent(QMouseEvent* e) {
    QDoubleSpinBox::mouseReleaseEvent(e);
    if (e->button() == Qt::LeftButton) endInteractive(false);
}

void QmaxDoubleSpinBox::keyPressEvent(QKeyEvent* e) {
    if (interactive_ && e->key() == Qt::Key_Escape) {
        endInteractive(true);
        return;
    }
    QDoubleSpinBox::keyPressEvent(e);
}

QmaxSpinBox::QmaxSpinBox(QWidget* parent) : QSpinBox(parent) {
    setKeyboardTracking(false);
    setAccelerated(true);
}

void QmaxSpinBox::beginInteractive() {
    if (interactive_) return;
    interactive_ = true;
    startValue_ = value();
    emit interactiveChanged(true, false);
}

void QmaxSpinBox::endInteractive(bool cancelled) {
    if (!interactive_) return;
    interactive_ = false;
    if (cancelled) {
        const bool was = blockSignals(true);
        setValue(startValue_);
        blockSignals(was);
    }
    emit interactiveChanged(false, cancelled);
}

void QmaxSpinBox::mousePressEvent(QMouseEvent* e) {
    if (interactive_ && e->button() == Qt::RightButton) {
        endInteractive(true);
        return;
    }
    if (e->button() == Qt::LeftButton) beginInteractive();
    QSpinBox::mousePressEvent(e);
}

void QmaxSpinBox::mouseReleaseEvent(QMouseEvent* e) {
    QSpinBox::mouseReleaseEvent(e);
    if (e->button() == Qt::LeftButton) endInteractive(false);
}

void QmaxSpinBox::keyPressEvent(QKeyEvent* e) {
    if (interactive_ && e->key() == Qt::Key_Escape) {
        endInteractive(true);
        return;
    }
    QSpinBox::keyPressEvent(e);
}

}  // namespace MaxSDK
