#include "overlay/PreviewCanvas.h"

#include <QMouseEvent>
#include <QPainter>
#include <algorithm>

PreviewCanvas::PreviewCanvas(QWidget* parent) : QWidget(parent) {
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Expanding);
}

void PreviewCanvas::setImage(const QImage& image) {
    m_image = image;
    update();
}

QRect PreviewCanvas::pictureRect() const {
    const int w = std::min(width(), height() * 16 / 9);
    const int h = w * 9 / 16;
    return QRect((width() - w) / 2, (height() - h) / 2, w, h);
}

void PreviewCanvas::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    const QRect r = pictureRect();
    if (m_image.isNull()) {
        painter.fillRect(r, Qt::black);
    } else {
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(r, m_image);
    }
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(r.adjusted(0, 0, -1, -1));
}

bool PreviewCanvas::place(const QPointF& at, bool clampToPicture) {
    const QRectF r = pictureRect();
    if (!m_placeable || r.isEmpty())
        return false;
    if (!clampToPicture && !r.contains(at))
        return false;
    const double fx = std::clamp((at.x() - r.left()) / r.width(), 0.0, 1.0);
    const double fy = std::clamp((at.y() - r.top()) / r.height(), 0.0, 1.0);
    emit placed(fx, fy);
    return true;
}

void PreviewCanvas::mousePressEvent(QMouseEvent* event) {
    if (!place(event->position(), true))
        QWidget::mousePressEvent(event);
}

void PreviewCanvas::mouseMoveEvent(QMouseEvent* event) {
    // A drag that leaves the picture stops moving the punch and goes no
    // further.
    if (event->buttons() & Qt::LeftButton)
        place(event->position(), false);
}
