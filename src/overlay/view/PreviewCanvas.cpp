#include "overlay/view/PreviewCanvas.h"

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

bool PreviewCanvas::fractions(const QPointF& at, bool clampToPicture, double& fx,
                              double& fy) const {
    const QRectF r = pictureRect();
    if (!m_placeable || r.isEmpty())
        return false;
    if (!clampToPicture && !r.contains(at))
        return false;
    fx = std::clamp((at.x() - r.left()) / r.width(), 0.0, 1.0);
    fy = std::clamp((at.y() - r.top()) / r.height(), 0.0, 1.0);
    return true;
}

void PreviewCanvas::mousePressEvent(QMouseEvent* event) {
    double fx = 0;
    double fy = 0;
    if (event->button() != Qt::LeftButton || !fractions(event->position(), true, fx, fy))
        return QWidget::mousePressEvent(event);
    emit placed(fx, fy);
    emit pressed(fx, fy);
}

void PreviewCanvas::mouseMoveEvent(QMouseEvent* event) {
    // A drag that leaves the picture stops moving and goes no further.
    double fx = 0;
    double fy = 0;
    if ((event->buttons() & Qt::LeftButton) && fractions(event->position(), false, fx, fy)) {
        emit placed(fx, fy);
        emit dragged(fx, fy);
    }
}

void PreviewCanvas::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() == Qt::LeftButton && m_placeable)
        emit released();
    QWidget::mouseReleaseEvent(event);
}
