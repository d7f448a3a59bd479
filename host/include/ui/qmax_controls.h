// Small host controls that parameter rollups bind: a colour swatch and a node pick button.
#pragma once

#include <QColor>
#include <QPushButton>

class INode;

namespace MaxSDK {

// Shows a colour; a click opens the colour dialog (answered by the host's dialog hook in
// tests). colorChanged follows every change made by the user or by setColor.
class QmaxColorSwatch : public QPushButton {
    Q_OBJECT
public:
    explicit QmaxColorSwatch(QWidget* parent = nullptr);
    QColor color() const { return color_; }

public slots:
    void setColor(const QColor& c);

signals:
    void colorChanged(const QColor& c);

protected:
    void paintEvent(QPaintEvent* e) override;

private:
    void Choose();
    QColor color_ = Qt::black;
};

// Shows the picked node's name, or "None". Headless there is no viewport to pick in: a click
// picks the first selected node. A pick (by click or by pickNode) emits nodePicked.
class QmaxNodePickButton : public QPushButton {
    Q_OBJECT
public:
    explicit QmaxNodePickButton(QWidget* parent = nullptr);
    INode* node() const { return node_; }
    // Shows the node without emitting (the binding's refresh).
    void setNode(INode* n);

public slots:
    // As if the user had picked n (null clears).
    void pickNode(INode* n);

signals:
    void nodePicked(INode* n);

private:
    void Choose();
    INode* node_ = nullptr;
};

}  // namespace MaxSDK
