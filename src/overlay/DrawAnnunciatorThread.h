#pragma once

#include "overlay/AnnunciatorElement.h"
#include "overlay/PreviewWorker.h"

#include <QColor>
#include <QFont>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <QStringList>
#include <optional>
#include <string>

// Where the annunciator preview puts its elements: each element's top-left
// anchor in canvas pixels (origin at the bottom left), and the colours. The
// back and fore colours are the owner's; the elements are always drawn white
// on black over the frame colour.
struct AnnunciatorPreviewSettings {
    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QColor frameColor{QColor::fromRgbF(0.5f, 0.5f, 0.5f)};
    PerElement<QPointF> anchors;
};

// Paints the unit's four text elements over a grey frame: the annunciator
// word, the timecode counter, the free text line and the bar/beat counter,
// each white on a black box in its own size, its top-left corner at its
// anchor and kept inside the picture. Font sizes are canvas pixels, as the
// unit's are.
//
// Beyond the worker's requests, transmitRequest() gives for each element the
// one that redraws and, once quiet, asks the owner to send that element. A
// redraw-only request arriving during a countdown cancels its transmit.
//
// The owner hands over the anchors and colours as one value with setDraw();
// strings and sizes go through the setters. Where each element was last
// drawn is published by the worker and may be one picture old.
class DrawAnnunciatorThread final : public PreviewRenderer<AnnunciatorPreviewSettings> {
public:
    using Settings = AnnunciatorPreviewSettings;
    using Element = AnnunciatorElement;
    static constexpr int kAnnunciatorPoints = 48;
    static constexpr int kOtherPoints = 32;

    // The annunciator's is kRedrawAndTransmit; the timecode counter's 3, the
    // text line's 4, the bar/beat counter's 5.
    static int transmitRequest(Element e);
    // The element a request asks to send, if it asks for one.
    static std::optional<Element> transmitted(int request);

    DrawAnnunciatorThread();
    ~DrawAnnunciatorThread() override { stopThread(); }

    // The counter strings redraw; the annunciator word and the text only
    // take effect with the next picture.
    void setTcString(const QString& s);
    void setbarBeatString(const QString& s);
    void setAnnunciator(const QString& s);
    void setTextString(const QString& s);
    // Font size in points (canvas pixels); redraws.
    void setSize(Element e, int points);
    void setAnnunciatorSize(int points) { setSize(Element::Annunciator, points); }
    void setTcSize(int points) { setSize(Element::Tc, points); }
    void setTextSize(int points) { setSize(Element::Text, points); }
    void setBarBeatSize(int points) { setSize(Element::BarBeat, points); }

    // Width and height of an element's box for the size query. The bar/beat
    // counter is measured here in the text line's font, the pairing the
    // unit's size query makes; it is drawn and picked in its own.
    QSizeF rectSize(Element e) const;
    QSizeF annunciatorRectSize() const { return rectSize(Element::Annunciator); }
    QSizeF tcRectSize() const { return rectSize(Element::Tc); }
    QSizeF textRectSize() const { return rectSize(Element::Text); }
    QSizeF barBeatRectSize() const { return rectSize(Element::BarBeat); }

    // Where an element went in the last picture (canvas pixels, origin at
    // the bottom left). The bar/beat box sits at its anchor as given, not
    // where it was clamped to.
    QRectF rect(Element e) const;
    QRectF annunciatorRect() const { return rect(Element::Annunciator); }
    QRectF tcRect() const { return rect(Element::Tc); }
    QRectF textRect() const { return rect(Element::Text); }
    QRectF barBeatRect() const { return rect(Element::BarBeat); }

    // The font family the previews are drawn in.
    static QFont previewFont(int points);
    // One element as the unit keys it, for the simulated unit's output:
    // each line of `lines` in `fore` on a box of `back` (no box when `back`
    // is invalid), the block's top-left corner at `anchor` (canvas, y up)
    // and kept inside the picture. The painter draws in the image's own rows
    // (origin top left). Returns where the block went, in those rows.
    static QRectF paintElement(QPainter& painter, const QPointF& anchor, const QStringList& lines,
                               int points, const QColor& fore, const QColor& back);

protected:
    QImage render(std::optional<double> elapsedMs) override;
    bool redrawCancelsTransmit() const override { return true; }

private:
    // What the owner set, kept as plain data: Qt's strings and fonts share
    // their data behind reference counts the thread checker cannot see, so
    // each thread makes its own from these.
    struct Look {
        std::u16string text;
        int points = 0;
    };
    struct Face {
        QString text;
        QFont font;
    };
    void setLook(Element e, const QString* text, const int* points, bool redraw);
    // An element's string and font; the bar/beat counter can be given the
    // text line's size to be measured in.
    static Face face(const Look& look, int points);
    static QSizeF measure(const Face& face);
    // One line in its box; `top` is the box's top row in the image.
    static void drawLine(QPainter& painter, const Face& face, const QRectF& box, const QColor& fore,
                         const QColor& back);
    // The size query's box (see rectSize).
    static QSizeF boxSize(const PerElement<Look>& looks, Element e);

    mutable std::mutex m_lookLock; // the strings and fonts
    PerElement<Look> m_looks;
    mutable std::mutex m_rectLock; // the published rectangles
    PerElement<QRectF> m_rects;
};
