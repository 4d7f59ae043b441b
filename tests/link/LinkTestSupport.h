#pragma once

#include "link/Alerts.h"
#include "link/MsgClass.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QObject>
#include <QStringList>
#include <QThread>
#include <algorithm>
#include <functional>

namespace linktest {

// Waits until the condition holds or the deadline passes, processing events
// (queued calls from the link thread) meanwhile.
inline bool waitFor(const std::function<bool()>& condition, int timeoutMs = 2000) {
    QElapsedTimer timer;
    timer.start();
    while (!condition()) {
        if (timer.elapsed() > timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        QThread::msleep(1);
    }
    return true;
}

// The link's owner as the control panel is: drains every chunk into one
// receive buffer and keeps the lines.
class Receiver : public QObject {
    Q_OBJECT
public:
    QStringList lines;
    QStringList chunkLabels;
    QString lostReason;
    qsizetype maxHeldBytes = 0;

    Q_INVOKABLE void threadHasMsg(MsgClass chunk) {
        chunkLabels << chunk.text;
        lines += m_buffer.drain(chunk);
        maxHeldBytes = std::max(maxHeldBytes, m_buffer.buffer().size());
    }
    Q_INVOKABLE void threadLinkLost(QString reason) { lostReason = reason; }

    bool hasLine(const QString& line) const { return lines.contains(line); }
    const MsgClass& buffer() const { return m_buffer; }

private:
    MsgClass m_buffer;
};

// Records alerts instead of showing them; installed for its lifetime.
class RecordingAlerts : public AlertPresenter {
public:
    QStringList shown;
    RecordingAlerts() { alerts::setPresenter(this); }
    ~RecordingAlerts() override { alerts::setPresenter(nullptr); }
    void showAlert(const QString& message) override { shown << message; }
    bool askOkCancel(const QString& message) override {
        shown << message;
        return false;
    }
};

} // namespace linktest
