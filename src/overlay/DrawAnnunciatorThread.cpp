#include "overlay/DrawAnnunciatorThread.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>

namespace {
using Element = DrawAnnunciatorThread::Element;

std::size_t at(Element e) {
    return std::size_t(e);
}

// Anchor (top left, y up) to the box's bottom-left corner, kept inside the
// picture. The far edge is tried first, so a box larger than the picture
// ends at the near edge.
QPointF place(const QPointF& anchor, const QSizeF& size) {
    constexpr double kWidth = PreviewWorker::kCanvasWidth;
    constexpr double kHeight = PreviewWorker::kCanvasHeight;
    double x = anchor.x();
    double y = anchor.y() - size.height();
    if (x > kWidth - size.width())
        x = kWidth - size.width();
    if (x < 0)
        x = 0;
    if (y > kHeight - size.height())
        y = kHeight - size.height();
    if (y < 0)
        y = 0;
    return {x, y};
}
} // namespace

QFont DrawAnnunciatorThread::previewFont(int points) {
    // One family everywhere the previews are compared: the unit's canvas is
    // measured in pixels, so a point is a pixel here.
#ifdef Q_OS_MACOS
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
#else
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setStyleHint(QFont::SansSerif);
#endif
    // A size beyond the picture is drawn no larger than the picture.
    font.setPixelSize(std::clamp(points, 1, kCanvasHeight));
    return font;
}

DrawAnnunciatorThread::DrawAnnunciatorThread() {
    m_looks[at(Element::Annunciator)] = {u"Rehearse", kAnnunciatorPoints};
    m_looks[at(Element::Tc)] = {u"01:00:00:00", kOtherPoints};
    m_looks[at(Element::Text)] = {u"Sample Text", kOtherPoints};
    m_looks[at(Element::BarBeat)] = {u"Protools counter", kOtherPoints};
}

void DrawAnnunciatorThread::setLook(Element e, const QString* text, const int* points,
                                    bool redraw) {
    {
        std::lock_guard<std::mutex> lock(m_lookLock);
        Look& look = m_looks[at(e)];
        if (text)
            look.text = text->toStdU16String();
        if (points)
            look.points = *points;
    }
    if (redraw)
        setDraw(kRedraw);
}

void DrawAnnunciatorThread::setTcString(const QString& s) {
    setLook(Element::Tc, &s, nullptr, true);
}
void DrawAnnunciatorThread::setbarBeatString(const QString& s) {
    setLook(Element::BarBeat, &s, nullptr, true);
}
void DrawAnnunciatorThread::setAnnunciator(const QString& s) {
    setLook(Element::Annunciator, &s, nullptr, false);
}
void DrawAnnunciatorThread::setTextString(const QString& s) {
    setLook(Element::Text, &s, nullptr, false);
}
void DrawAnnunciatorThread::setAnnunciatorSize(int points) {
    setLook(Element::Annunciator, nullptr, &points, true);
}
void DrawAnnunciatorThread::setTcSize(int points) {
    setLook(Element::Tc, nullptr, &points, true);
}
void DrawAnnunciatorThread::setTextSize(int points) {
    setLook(Element::Text, nullptr, &points, true);
}
void DrawAnnunciatorThread::setBarBeatSize(int points) {
    setLook(Element::BarBeat, nullptr, &points, true);
}

DrawAnnunciatorThread::Face DrawAnnunciatorThread::face(const Look& look, int points) {
    return {QString::fromStdU16String(look.text), previewFont(points)};
}

QSizeF DrawAnnunciatorThread::measure(const Face& face) {
    if (face.text.isEmpty())
        return {0, 0};
    // One line, as wide as the string runs (it may run past the picture).
    const QFontMetricsF metrics(face.font);
    return {metrics.horizontalAdvance(face.text), metrics.height()};
}

QSizeF DrawAnnunciatorThread::measure(Element e) const {
    Look look;
    int points = 0;
    {
        std::lock_guard<std::mutex> lock(m_lookLock);
        look = m_looks[at(e)];
        points = m_looks[at(e == Element::BarBeat ? Element::Text : e)].points;
    }
    return measure(face(look, points));
}

QRectF DrawAnnunciatorThread::rect(Element e) const {
    std::lock_guard<std::mutex> lock(m_rectLock);
    return m_rects[at(e)];
}

QImage DrawAnnunciatorThread::render() {
    std::array<QPointF, kElements> anchors;
    QColor frame;
    {
        std::lock_guard<std::mutex> lock(ioLock());
        anchors = {annunciatorPoint, tcPoint, textPoint, barBeatPoint};
        frame = frameColor;
    }
    std::array<Look, kElements> looks;
    {
        std::lock_guard<std::mutex> lock(m_lookLock);
        looks = m_looks;
    }
    // Each element is drawn in its own size and placed by its measure; the
    // bar/beat counter's measure is taken in the text line's size.
    std::array<Face, kElements> faces;
    std::array<QSizeF, kElements> drawn;
    std::array<QSizeF, kElements> sizes;
    std::array<QPointF, kElements> placed;
    for (std::size_t i = 0; i < kElements; ++i) {
        faces[i] = face(looks[i], looks[i].points);
        drawn[i] = measure(faces[i]);
        sizes[i] = i == at(Element::BarBeat)
                       ? measure(face(looks[i], looks[at(Element::Text)].points))
                       : drawn[i];
        placed[i] = place(anchors[i], sizes[i]);
    }

    QImage image = newCanvas();
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), frame);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::TextAntialiasing);
    // Text reads top down: each box is drawn in the image's own rows, its
    // bottom edge at the placed point.
    for (std::size_t i = 0; i < kElements; ++i) {
        const Face& look = faces[i];
        if (look.text.isEmpty())
            continue;
        const QSizeF own = drawn[i];
        const QRectF box(placed[i].x(), kCanvasHeight - placed[i].y() - own.height(), own.width(),
                         own.height());
        painter.fillRect(box, Qt::black);
        painter.setFont(look.font);
        painter.setPen(Qt::white);
        painter.drawText(QPointF(box.left(), box.top() + QFontMetricsF(look.font).ascent()),
                         look.text);
    }
    painter.end();

    std::array<QRectF, kElements> rects;
    for (std::size_t i = 0; i < kElements; ++i)
        rects[i] = QRectF(placed[i], sizes[i]);
    rects[at(Element::BarBeat)] =
        QRectF(anchors[at(Element::BarBeat)], sizes[at(Element::BarBeat)]);
    {
        std::lock_guard<std::mutex> lock(m_rectLock);
        m_rects = rects;
    }
    return image;
}
