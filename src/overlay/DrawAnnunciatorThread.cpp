#include "overlay/DrawAnnunciatorThread.h"

#include <QFontDatabase>
#include <QFontMetricsF>
#include <QPainter>
#include <algorithm>

namespace {
using Element = AnnunciatorElement;

// The order the elements are painted in, each over the ones before.
constexpr Element kPaintOrder[] = {Element::Annunciator, Element::Tc, Element::Text,
                                   Element::BarBeat};

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

int DrawAnnunciatorThread::transmitRequest(Element e) {
    switch (e) {
    case Element::Tc:
        return 3;
    case Element::Text:
        return 4;
    case Element::BarBeat:
        return 5;
    case Element::Annunciator:
        break;
    }
    return kRedrawAndTransmit;
}

std::optional<AnnunciatorElement> DrawAnnunciatorThread::transmitted(int request) {
    for (Element e : kEveryElement) {
        if (transmitRequest(e) == request)
            return e;
    }
    return std::nullopt;
}

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
    m_looks[Element::Annunciator] = {u"Rehearse", kAnnunciatorPoints};
    m_looks[Element::Tc] = {u"01:00:00:00", kOtherPoints};
    m_looks[Element::Text] = {u"Sample Text", kOtherPoints};
    m_looks[Element::BarBeat] = {u"Protools counter", kOtherPoints};
}

void DrawAnnunciatorThread::setLook(Element e, const QString* text, const int* points,
                                    bool redraw) {
    {
        std::lock_guard<std::mutex> lock(m_lookLock);
        Look& look = m_looks[e];
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
void DrawAnnunciatorThread::setSize(Element e, int points) {
    setLook(e, nullptr, &points, true);
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

QSizeF DrawAnnunciatorThread::boxSize(const PerElement<Look>& looks, Element e) {
    const Element sizedAs = e == Element::BarBeat ? Element::Text : e;
    return measure(face(looks[e], looks[sizedAs].points));
}

QSizeF DrawAnnunciatorThread::rectSize(Element e) const {
    PerElement<Look> looks;
    {
        std::lock_guard<std::mutex> lock(m_lookLock);
        looks = m_looks;
    }
    return boxSize(looks, e);
}

QRectF DrawAnnunciatorThread::rect(Element e) const {
    std::lock_guard<std::mutex> lock(m_rectLock);
    return m_rects[e];
}

void DrawAnnunciatorThread::drawLine(QPainter& painter, const Face& face, const QRectF& box,
                                     const QColor& fore, const QColor& back) {
    if (back.isValid())
        painter.fillRect(box, back);
    painter.setFont(face.font);
    painter.setPen(fore);
    painter.drawText(QPointF(box.left(), box.top() + QFontMetricsF(face.font).ascent()), face.text);
}

QRectF DrawAnnunciatorThread::paintElement(QPainter& painter, const QPointF& anchor,
                                           const QStringList& lines, int points, const QColor& fore,
                                           const QColor& back) {
    const QFont font = previewFont(points);
    const double lineHeight = QFontMetricsF(font).height();
    QList<Face> faces;
    double width = 0;
    for (const QString& line : lines) {
        faces.append({line, font});
        width = std::max(width, measure(faces.last()).width());
    }
    const QSizeF block(width, lineHeight * double(faces.size()));
    if (width <= 0)
        return {};
    const QPointF at = place(anchor, block);
    double top = kCanvasHeight - at.y() - block.height();
    for (const Face& face : faces) {
        if (!face.text.isEmpty())
            drawLine(painter, face, QRectF(at.x(), top, measure(face).width(), lineHeight), fore,
                     back);
        top += lineHeight;
    }
    return QRectF(at.x(), kCanvasHeight - at.y() - block.height(), block.width(), block.height());
}

QImage DrawAnnunciatorThread::render(std::optional<double>) {
    const Settings s = settings();
    PerElement<Look> looks;
    {
        std::lock_guard<std::mutex> lock(m_lookLock);
        looks = m_looks;
    }
    // Each element is drawn, placed and picked in its own size, as the unit
    // draws it.
    PerElement<Face> faces;
    PerElement<QSizeF> drawn;
    PerElement<QPointF> placed;
    for (Element e : kEveryElement) {
        faces[e] = face(looks[e], looks[e].points);
        drawn[e] = measure(faces[e]);
        placed[e] = place(s.anchors[e], drawn[e]);
    }

    QImage image = newCanvas();
    QPainter painter(&image);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    painter.fillRect(QRect(0, 0, kCanvasWidth, kCanvasHeight), s.frameColor);
    painter.setCompositionMode(QPainter::CompositionMode_SourceOver);
    painter.setRenderHint(QPainter::TextAntialiasing);
    // Text reads top down: each box is drawn in the image's own rows, its
    // bottom edge at the placed point.
    for (Element e : kPaintOrder) {
        const Face& look = faces[e];
        if (look.text.isEmpty())
            continue;
        const QSizeF own = drawn[e];
        const QRectF box(placed[e].x(), kCanvasHeight - placed[e].y() - own.height(), own.width(),
                         own.height());
        drawLine(painter, look, box, Qt::white, Qt::black);
    }
    painter.end();

    PerElement<QRectF> rects;
    for (Element e : kEveryElement)
        rects[e] = QRectF(placed[e], drawn[e]);
    rects[Element::BarBeat] = QRectF(s.anchors[Element::BarBeat], drawn[Element::BarBeat]);
    {
        std::lock_guard<std::mutex> lock(m_rectLock);
        m_rects = rects;
    }
    return image;
}
