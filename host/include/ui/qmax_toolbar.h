// The host's tool bar: named (the object name keys its saved state), movable, and floatable
// into a window of its own.
#pragma once

#include <QToolBar>

namespace MaxSDK {

class QmaxToolBar : public QToolBar {
    Q_OBJECT
public:
    QmaxToolBar(const QString& objectName, const QString& title, QWidget* parent = nullptr);
};

}  // namespace MaxSDK
