#pragma once

#include "overlay/UnitOutput.h"

#include <QImage>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <chrono>
#include <memory>

class QueuedCalls;

// "Simulated Unit Output": what the simulated unit keys over the picture, in
// real time, as large as the window allows and always 16:9 (letterboxed). It
// follows the unit through a UnitOutputSource and repaints only while
// something moves: each frame is timed to the unit's video rate and drawn
// for the time it stands for. Double-click or F11 for full screen, Escape to
// leave it; the context menu picks the picture under the overlay (the
// program opens the file dialog, on pictureWanted()).
class UnitOutputWindow final : public QWidget {
    Q_OBJECT
public:
    using Clock = UnitScene::Clock;

    // `unit` must outlive the window, or be detached first with detach().
    explicit UnitOutputWindow(UnitOutputSource* unit, QWidget* parent = nullptr);
    ~UnitOutputWindow() override;

    // Stops following the unit (before it goes away).
    void detach();
    // The counter's timecode, "HH:MM:SS:FF".
    void showTimecode(const QString& timecode);
    // A still under the overlay; a null image goes back to colour bars.
    void setPicture(const QImage& picture);
    // The whole window's picture as it would be at `now` (screenshots, tests).
    QImage frameAt(Clock::time_point now, const QSize& size);
    // Reads the unit now rather than at the next notice (tests, screenshots).
    void refresh();
    const UnitScene& scene() const { return m_scene; }
    // Frames painted so far (benchmarks).
    int framesPainted() const { return m_frames; }

    QSize sizeHint() const override { return {960, 540}; }

signals:
    // The user asked to choose a picture.
    void pictureWanted();

protected:
    void paintEvent(QPaintEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    QRect pictureRect(const QSize& size) const;
    void scheduleNextFrame();
    void toggleFullScreen();

    UnitOutputSource* m_unit;
    UnitScene m_scene;
    std::unique_ptr<QueuedCalls> m_calls;
    std::atomic<bool> m_noticePending{false};
    QTimer m_frameTimer;
    int m_frames = 0;
};
