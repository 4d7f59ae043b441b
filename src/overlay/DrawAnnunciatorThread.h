#pragma once

#include "overlay/PreviewWorker.h"

#include <QColor>
#include <QFont>
#include <QPointF>
#include <QRectF>
#include <QString>
#include <array>
#include <string>

// Paints the unit's four text elements over a grey frame: the annunciator
// word, the timecode counter, the free text line and the bar/beat counter,
// each white on a black box in its own size, its top-left corner at its
// anchor (canvas pixels, origin at the bottom left) and kept inside the
// picture. Font sizes are canvas pixels, as the unit's are.
//
// Request codes beyond the worker's: kTransmitTc, kTransmitText and
// kTransmitBarBeat redraw and, once quiet, ask the owner to send that
// element (kRedrawAndTransmit stands for the annunciator). A redraw-only
// request arriving during a countdown cancels its transmit.
//
// The owner writes the points and colours under ioLock(); strings and sizes
// go through the setters. Where each element was last drawn is published
// by the worker and may be one picture old.
class DrawAnnunciatorThread final : public PreviewWorker {
public:
    static constexpr int kTransmitTc = 3;
    static constexpr int kTransmitText = 4;
    static constexpr int kTransmitBarBeat = 5;
    static constexpr int kAnnunciatorPoints = 48;
    static constexpr int kOtherPoints = 32;

    enum class Element { Annunciator, Tc, Text, BarBeat };
    static constexpr int kElements = 4;

    DrawAnnunciatorThread();
    ~DrawAnnunciatorThread() override { stopThread(); }

    // Written by the owner under ioLock(). The back and fore colours are
    // the owner's; the elements are always drawn white on black.
    QColor backColor{Qt::black};
    QColor foreColor{Qt::white};
    QColor frameColor{QColor::fromRgbF(0.5f, 0.5f, 0.5f)};
    QPointF annunciatorPoint;
    QPointF tcPoint;
    QPointF textPoint;
    QPointF barBeatPoint;

    // The counter strings redraw; the annunciator word and the text only
    // take effect with the next picture.
    void setTcString(const QString& s);
    void setbarBeatString(const QString& s);
    void setAnnunciator(const QString& s);
    void setTextString(const QString& s);
    // Font sizes in points (canvas pixels); each redraws.
    void setAnnunciatorSize(int points);
    void setTcSize(int points);
    void setTextSize(int points);
    void setBarBeatSize(int points);

    // Width and height of an element as drawn now. The bar/beat counter is
    // measured in the text line's font, as the unit sizes its box.
    QSizeF annunciatorRectSize() const { return measure(Element::Annunciator); }
    QSizeF tcRectSize() const { return measure(Element::Tc); }
    QSizeF textRectSize() const { return measure(Element::Text); }
    QSizeF barBeatRectSize() const { return measure(Element::BarBeat); }

    // Where each element went in the last picture (canvas pixels, origin at
    // the bottom left). The bar/beat box sits at its anchor as given, not
    // where it was clamped to.
    QRectF annunciatorRect() const { return rect(Element::Annunciator); }
    QRectF tcRect() const { return rect(Element::Tc); }
    QRectF textRect() const { return rect(Element::Text); }
    QRectF barBeatRect() const { return rect(Element::BarBeat); }

    // The font family the previews are drawn in.
    static QFont previewFont(int points);

protected:
    QImage render() override;
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
    QSizeF measure(Element e) const;
    QRectF rect(Element e) const;

    mutable std::mutex m_lookLock; // the strings and fonts
    std::array<Look, kElements> m_looks;
    mutable std::mutex m_rectLock; // the published rectangles
    std::array<QRectF, kElements> m_rects{};
};
