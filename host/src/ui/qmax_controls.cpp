#include "ui/qmax_controls.h"

#include <QColorDialog>
#include <QPainter>

#include "maxapi.h"
#include "ui/qmax_toolbar.h"
#include "ui/ui_application.h"

namespace MaxSDK {

QmaxColorSwatch::QmaxColorSwatch(QWidget* parent) : QPushButton(parent) {
    setMinimumSize(32, 20);
    connect(this, &QPushButton::clicked, this, &QmaxColorSwatch::Choose);
}

void QmaxColorSwatch::setColor(const QColor& c) {
    if (c == color_) return;
    color_ = c;
    update();
    emit colorChanged(c);
}

void QmaxColorSwatch::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), palette().color(QPalette::Mid));
    p.fillRect(rect().adjusted(2, 2, -2, -2), color_);
    p.setPen(palette().color(QPalette::Dark));
    p.drawRect(rect().adjusted(0, 0, -1, -1));
}

void QmaxColorSwatch::Choose() {
    QColorDialog dialog(color_, this);
    if (host::ui::ExecDialog(&dialog) == QDialog::Accepted) setColor(dialog.currentColor());
}

QmaxNodePickButton::QmaxNodePickButton(QWidget* parent) : QPushButton(QStringLiteral("None"), parent) {
    connect(this, &QPushButton::clicked, this, &QmaxNodePickButton::Choose);
}

void QmaxNodePickButton::setNode(INode* n) {
    node_ = n;
    setText(n ? QString::fromWCharArray(n->GetName()) : QStringLiteral("None"));
}

void QmaxNodePickButton::pickNode(INode* n) {
    setNode(n);
    emit nodePicked(n);
}

void QmaxNodePickButton::Choose() {
    // There is no viewport to pick in: the selected node is the pick, as a pick mode that
    // ends at once would give.
    Interface* ip = GetCOREInterface();
    if (ip->GetSelNodeCount() > 0) pickNode(ip->GetSelNode(0));
}

QmaxToolBar::QmaxToolBar(const QString& objectName, const QString& title, QWidget* parent) : QToolBar(title, parent) {
    setObjectName(objectName);
    setMovable(true);
    setFloatable(true);
    setIconSize(QSize(16, 16));
    setToolButtonStyle(Qt::ToolButtonTextOnly);
}

}  // namespace MaxSDK
