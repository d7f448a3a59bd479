// The host's spinners. A spinner is interactive while the user drags it (or while a caller
// has begun an interactive change): value changes during a drag belong to one edit, which
// ends either accepted or cancelled. A cancelled drag puts the start value back without a
// valueChanged signal, so listeners restore their own state (the binding cancels its hold).
#pragma once

#include <QDoubleSpinBox>
#include <QSpinBox>

namespace host {

// The drag behaviour both spinners share. Spin is the Qt spin box, Value its value type;
// Derived declares the interactiveChanged signal (a template cannot carry signals).
template <class Derived, class Spin, class Value>
class InteractiveSpinBox : public Spin {
public:
    explicit InteractiveSpinBox(QWidget* parent);
    bool isInteractive() const { return interactive_; }
    void beginInteractive();
    void endInteractive(bool cancelled);

protected:
    void mousePressEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;

private:
    bool interactive_ = false;
    Value startValue_{};
};

}  // namespace host

namespace MaxSDK {

class QmaxDoubleSpinBox
    : public host::InteractiveSpinBox<QmaxDoubleSpinBox, QDoubleSpinBox, double> {
    Q_OBJECT
public:
    explicit QmaxDoubleSpinBox(QWidget* parent = nullptr) : InteractiveSpinBox(parent) {}

public slots:
    // Starts an interactive change; nothing happens if one is under way.
    void beginInteractive() { InteractiveSpinBox::beginInteractive(); }
    // Ends it; with cancelled the value returns to where the change began.
    void endInteractive(bool cancelled = false) { InteractiveSpinBox::endInteractive(cancelled); }

signals:
    // interactive true at the start of a drag; false at its end, with whether it was cancelled.
    void interactiveChanged(bool interactive, bool cancelled);
};

class QmaxSpinBox : public host::InteractiveSpinBox<QmaxSpinBox, QSpinBox, int> {
    Q_OBJECT
public:
    explicit QmaxSpinBox(QWidget* parent = nullptr) : InteractiveSpinBox(parent) {}

public slots:
    void beginInteractive() { InteractiveSpinBox::beginInteractive(); }
    void endInteractive(bool cancelled = false) { InteractiveSpinBox::endInteractive(cancelled); }

signals:
    void interactiveChanged(bool interactive, bool cancelled);
};

}  // namespace MaxSDK
