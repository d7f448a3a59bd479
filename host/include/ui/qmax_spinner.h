// The host's spinners. A spinner is interactive while the user drags it (or while a caller
// has begun an interactive change): value changes during a drag belong to one edit, which
// ends either accepted or cancelled. A cancelled drag puts the start value back without a
// valueChanged signal, so listeners restore their own state (the binding cancels its hold).
#pragma once

#include <QDoubleSpinBox>
#include <QSpinBox>

namespace MaxSDK {

class QmaxDoubleSpinBox : public QDoubleSpinBox {
    Q_OBJECT
public:
    explicit QmaxDoubleSpinBox(QWidget* parent = nullptr);
    bool isInteractive() const { return interactive_; }

public slots:
    // Starts an interactive change; nothing happens if one is under way.
    void beginInteractive();
    // Ends it; with cancelled the value returns to where the change began.
    void endInteractive(bool cancelled = false);

signals:
    // interactive true at the start of a drag; false at its end, with whether it was cancelled.
    void interactiveChanged(bool interactive, bool cancelled);

protected:
    void mousePressEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;

private:
    bool interactive_ = false;
    double startValue_ = 0.0;
};

class QmaxSpinBox : public QSpinBox {
    Q_OBJECT
public:
    explicit QmaxSpinBox(QWidget* parent = nullptr);
    bool isInteractive() const { return interactive_; }

public slots:
    void beginInteractive();
    void endInteractive(bool cancelled = false);

signals:
    void interactiveChanged(bool interactive, bool cancelled);

protected:
    void mousePressEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;

private:
    bool interactive_ = false;
    int startValue_ = 0;
};

}  // namespace MaxSDK
