#pragma once

// Helpers shared by the link and control panel tests: waiting on the event
// loop, recording alerts, readable Qt strings in failure messages.
#include "base/Alerts.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QTimer>
#include <functional>
#include <ostream>

inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

namespace testsupport {

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

// Records alerts instead of showing them and answers questions as told;
// installed for its lifetime.
class RecordingAlerts : public AlertPresenter {
public:
    RecordingAlerts() { alerts::setPresenter(this); }
    ~RecordingAlerts() override { alerts::setPresenter(nullptr); }
    void showAlert(const QString& message) override {
        shown << message;
        // As a modal message box does: events go on while it is open.
        if (modalMs > 0) {
            QEventLoop loop;
            QTimer::singleShot(modalMs, &loop, &QEventLoop::quit);
            loop.exec();
        }
    }
    bool askOkCancel(const QString& message) override {
        asked << message;
        return answerOk;
    }
    QStringList shown;
    QStringList asked;
    bool answerOk = true;
    int modalMs = 0;
};

} // namespace testsupport
