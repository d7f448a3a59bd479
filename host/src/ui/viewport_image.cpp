#include "ui/viewport_image.h"

#include <QPainter>
#include <QPainterPath>
#include <QPolygonF>
#include <QString>

#include "maxapi.h"
#include "ui/ui_application.h"

#include <algorithm>
#include <numeric>

namespace host {
namespace {

QColor ToQColor(const Color& c, float alpha = 1.0f) {
    auto ch = [](float v) { return std::clamp(int(v * 255.0f + 0.5f), 0, 255); };
    return QColor(ch(c.r), ch(c.g), ch(c.b), ch(alpha));
}

void DrawMarker(QPainter& p, const DrawPrimitive& prim, QPointF c) {
    const qreal s = 3.0;
    switch (MarkerType(prim.marker)) {
        case PLUS_SIGN_MRKR:
            p.drawLine(QPointF(c.x() - s, c.y()), QPointF(c.x() + s, c.y()));
            p.drawLine(QPointF(c.x(), c.y() - s), QPointF(c.x(), c.y() + s));
            break;
        case X_MRKR:
            p.drawLine(QPointF(c.x() - s, c.y() - s), QPointF(c.x() + s, c.y() + s));
            p.drawLine(QPointF(c.x() - s, c.y() + s), QPointF(c.x() + s, c.y() - s));
            break;
        case HOLLOW_BOX_MRKR:
        case SM_HOLLOW_BOX_MRKR: p.drawRect(QRectF(c.x() - s, c.y() - s, 2 * s, 2 * s)); break;
        case BIG_BOX_MRKR: p.fillRect(QRectF(c.x() - 2 * s, c.y() - 2 * s, 4 * s, 4 * s), p.pen().color()); break;
        case CIRCLE_MRKR:
        case SM_CIRCLE_MRKR: p.drawEllipse(c, s, s); break;
        default: p.fillRect(QRectF(c.x() - 1, c.y() - 1, 3, 3), p.pen().color()); break;
    }
}

void Paint(QPainter& p, const DrawList& list, const DrawPrimitive& prim) {
    const ScreenVertex* v = list.vertices.data() + prim.first;
    switch (prim.kind) {
        case DrawPrimitive::LineStrip:
        case DrawPrimitive::LineLoop: {
            p.setPen(QPen(ToQColor(prim.color), 1.0));
            p.setBrush(Qt::NoBrush);
            QPolygonF poly;
            poly.reserve(int(prim.count) + 1);
            for (uint32_t i = 0; i < prim.count; ++i) poly << QPointF(v[i].x, v[i].y);
            if (prim.kind == DrawPrimitive::LineLoop) p.drawPolygon(poly);
            else p.drawPolyline(poly);
            break;
        }
        case DrawPrimitive::Polygon: {
            QPolygonF poly;
            poly.reserve(int(prim.count));
            for (uint32_t i = 0; i < prim.count; ++i) poly << QPointF(v[i].x, v[i].y);
            QColor c = ToQColor(prim.color, prim.alpha);
            // A hairline in the fill colour closes the seams between neighbouring faces.
            p.setPen(prim.alpha >= 1.0f ? QPen(c, 0.0) : QPen(Qt::NoPen));
            p.setBrush(c);
            p.drawPolygon(poly);
            break;
        }
        case DrawPrimitive::Marker:
            p.setPen(QPen(ToQColor(prim.color), 1.0));
            p.setBrush(Qt::NoBrush);
            DrawMarker(p, prim, QPointF(v[0].x, v[0].y));
            break;
        case DrawPrimitive::Text:
            p.setPen(ToQColor(prim.color));
            if (prim.text < list.texts.size())
                p.drawText(QPointF(v[0].x, v[0].y), QString::fromStdWString(list.texts[prim.text]));
            break;
    }
}

}  // namespace

QImage PaintDrawList(const DrawList& list) {
    // Text needs the fonts of an application object; lines and faces do not.
    if (!list.texts.empty()) ui::EnsureApplication();
    QImage image(std::max(list.width, 1), std::max(list.height, 1), QImage::Format_ARGB32_Premultiplied);
    image.fill(ToQColor(list.background));
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing, true);
    // Screen coordinates name pixels (a click on pixel x, y is at x, y); Qt puts pixel centres
    // at half units.
    p.translate(0.5, 0.5);
    std::vector<uint32_t> order;
    order.reserve(list.prims.size());
    for (uint32_t i = 0; i < list.prims.size(); ++i)
        if (!list.prims[i].onTop) order.push_back(i);
    // Faces sort by their farthest corner, so a ground plane goes down before what stands on
    // it; lines by their mean, just ahead, so edges stay on their faces.
    std::vector<float> keys(list.prims.size());
    for (uint32_t i : order) {
        const DrawPrimitive& d = list.prims[i];
        if (d.kind == DrawPrimitive::Polygon) {
            float far = 0;
            for (uint32_t k = 0; k < d.count; ++k) far = std::max(far, list.vertices[d.first + k].depth);
            keys[i] = far;
        } else {
            keys[i] = d.depth * 0.995f;
        }
    }
    auto key = [&](uint32_t i) { return keys[i]; };
    std::stable_sort(order.begin(), order.end(), [&](uint32_t a, uint32_t b) { return key(a) > key(b); });
    for (uint32_t i : order) Paint(p, list, list.prims[i]);
    for (const DrawPrimitive& prim : list.prims)
        if (prim.onTop) Paint(p, list, prim);
    p.end();
    return image;
}

QImage RenderViewport(ViewExp& vpt, TimeValue t) {
    DrawScene(vpt, t);
    return PaintDrawList(vpt.getGW()->host_DrawList());
}

QImage CaptureActiveViewport() {
    Interface* ip = GetCOREInterface();
    return RenderViewport(ip->GetActiveViewExp(), ip->GetTime());
}

}  // namespace host
