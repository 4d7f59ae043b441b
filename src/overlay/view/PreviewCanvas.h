#pragma once

#include <QImage>
#include <QWidget>

// Shows a preview picture as large as fits, always 16:9, letterboxed on the
// panel's background. Clicks and drags inside the picture are reported as
// fractions of it (0..1 from the left and from the top); a drag that leaves
// the picture is ignored.
class PreviewCanvas final : public QWidget {
    Q_OBJECT
public:
    explicit PreviewCanvas(QWidget* parent = nullptr);

    void setImage(const QImage& image);
    QImage image() const { return m_image; }
    void setPlaceable(bool on) { m_placeable = on; }
    // Where the picture is drawn, in widget coordinates.
    QRect pictureRect() const;

    QSize sizeHint() const override { return {480, 270}; }
    QSize minimumSizeHint() const override { return {192, 108}; }
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int w) const override { return w * 9 / 16; }

signals:
    // A press (clamped to the picture) or a drag step inside it.
    void placed(double fromLeft, double fromTop);
    // The same, told apart, for editors that pick something up first.
    void pressed(double fromLeft, double fromTop);
    void dragged(double fromLeft, double fromTop);
    void released();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    // The point as fractions of the picture; false when it is not placeable
    // there.
    bool fractions(const QPointF& at, bool clampToPicture, double& fx, double& fy) const;

    QImage m_image;
    bool m_placeable = false;
};
