#include "overlay/view/UnitOutputWindow.h"

#include "base/QueuedCalls.h"

#include <QContextMenuEvent>
#include <QKeyEvent>
#include <QMenu>
#include <QPainter>
#include <algorithm>

UnitOutputWindow::UnitOutputWindow(UnitOutputSource* unit, QWidget* parent)
    : QWidget(parent, Qt::Window), m_unit(unit), m_calls(std::make_unique<QueuedCalls>(this)) {
    setObjectName(QStringLiteral("unitOutputWindow"));
    setWindowTitle(QStringLiteral("Simulated Unit Output"));
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumSize(320, 180);
    m_frameTimer.setSingleShot(true);
    m_frameTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_frameTimer, &QTimer::timeout, this, [this] { update(); });
    if (m_unit) {
        // Many changes while one notice waits become one read.
        m_unit->setChangeHandler([this] {
            if (!m_noticePending.exchange(true))
                m_calls->post([this] {
                    m_noticePending.store(false);
                    refresh();
                });
        });
    }
    refresh();
}

UnitOutputWindow::~UnitOutputWindow() {
    detach();
}

void UnitOutputWindow::detach() {
    if (m_unit)
        m_unit->setChangeHandler({});
    m_unit = nullptr;
    m_calls->cancel();
}

void UnitOutputWindow::refresh() {
    if (m_unit)
        m_scene.update(m_unit->snapshot());
    update();
}

void UnitOutputWindow::showTimecode(const QString& timecode) {
    m_scene.setTimecode(timecode);
    update();
}

void UnitOutputWindow::setPicture(const QImage& picture) {
    m_scene.setPicture(picture);
    update();
}

QRect UnitOutputWindow::pictureRect(const QSize& size) const {
    const int w = std::min(size.width(), size.height() * 16 / 9);
    const int h = w * 9 / 16;
    return QRect((size.width() - w) / 2, (size.height() - h) / 2, w, h);
}

QImage UnitOutputWindow::frameAt(Clock::time_point now, const QSize& size) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(Qt::black);
    QPainter painter(&image);
    m_scene.paint(painter, pictureRect(size), now);
    return image;
}

void UnitOutputWindow::paintEvent(QPaintEvent*) {
    const Clock::time_point now = Clock::now();
    QPainter painter(this);
    const QRect picture = pictureRect(size());
    // The letterbox around the picture, then the picture itself.
    const QRegion around = QRegion(rect()).subtracted(picture);
    for (const QRect& r : around)
        painter.fillRect(r, Qt::black);
    m_scene.paint(painter, picture, now);
    ++m_frames;
    scheduleNextFrame();
}

void UnitOutputWindow::scheduleNextFrame() {
    const Clock::time_point now = Clock::now();
    const std::optional<Clock::time_point> next = m_scene.advance(now);
    if (!next) {
        m_frameTimer.stop(); // nothing moves: no repaint until something changes
        return;
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(*next - now);
    m_frameTimer.start(int(std::max<std::chrono::milliseconds::rep>(wait.count(), 0)));
}

void UnitOutputWindow::toggleFullScreen() {
    setWindowState(windowState() ^ Qt::WindowFullScreen);
}

void UnitOutputWindow::contextMenuEvent(QContextMenuEvent* event) {
    QMenu menu(this);
    menu.addAction(QStringLiteral("Choose &Picture..."), this, &UnitOutputWindow::pictureWanted);
    menu.addAction(QStringLiteral("&Colour Bars"), this, [this] { setPicture(QImage()); });
    menu.addSeparator();
    QAction* full =
        menu.addAction(QStringLiteral("&Full Screen"), this, &UnitOutputWindow::toggleFullScreen);
    full->setCheckable(true);
    full->setChecked(isFullScreen());
    menu.exec(event->globalPos());
}

void UnitOutputWindow::mouseDoubleClickEvent(QMouseEvent*) {
    toggleFullScreen();
}

void UnitOutputWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_F11)
        toggleFullScreen();
    else if (event->key() == Qt::Key_Escape && isFullScreen())
        setWindowState(windowState() & ~Qt::WindowFullScreen);
    else
        QWidget::keyPressEvent(event);
}
