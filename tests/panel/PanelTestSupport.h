#pragma once

#include "link/Alerts.h"
#include "panel/ReplyReceivers.h"

#include <QList>
#include <QString>
#include <QStringList>

// Collects the alerts the code raises and answers questions as told.
class RecordingPresenter : public AlertPresenter {
public:
    RecordingPresenter() { alerts::setPresenter(this); }
    ~RecordingPresenter() override { alerts::setPresenter(nullptr); }
    void showAlert(const QString& message) override { shown << message; }
    bool askOkCancel(const QString& message) override {
        asked << message;
        return answerOk;
    }
    QStringList shown;
    QStringList asked;
    bool answerOk = true;
};

// Stand in for the overlay editors and the cue sheet: each records what the
// parser hands it into one shared log, "receiver.call: argument".
inline QString joinInts(const QList<int>& numbers) {
    QStringList s;
    for (int v : numbers)
        s << QString::number(v);
    return s.join(QLatin1Char(' '));
}

struct StreamerRecorder : StreamerReceiver {
    explicit StreamerRecorder(QStringList& log) : m_log(log) {}
    void fromString(const QString& line) override { m_log << "streamer.fromString: " + line; }
    double offset() const override { return 1.5; }
    int streamerDuration() const override { return 75; }
    QStringList& m_log;
};

struct PunchRecorder : PunchReceiver {
    explicit PunchRecorder(QStringList& log) : m_log(log) {}
    void fromString(const QString& line) override { m_log << "punch.fromString: " + line; }
    QStringList& m_log;
};

struct AnnunciatorRecorder : AnnunciatorReceiver {
    explicit AnnunciatorRecorder(QStringList& log) : m_log(log) {}
    void fromString(const QString& line) override { m_log << "ann.fromString: " + line; }
    void tcFromString(const QString& line) override { m_log << "ann.tcFromString: " + line; }
    void comFromString(const QString& line) override { m_log << "ann.comFromString: " + line; }
    void annunciatorColorsFromString(const QString& line) override {
        m_log << "ann.annunciatorColorsFromString: " + line;
    }
    void windowFromArray(const QList<int>& n) override {
        m_log << "ann.windowFromArray: " + joinInts(n);
    }
    void pointsFromArray(const QList<int>& n) override {
        m_log << "ann.pointsFromArray: " + joinInts(n);
    }
    QStringList& m_log;
};

struct CueRecorder : CueDocumentTarget {
    explicit CueRecorder(QStringList& log) : m_log(log) {}
    void setOffset(double seconds) override {
        m_log << QStringLiteral("cue.setOffset: %1").arg(seconds);
    }
    void setStepperStreamerDuration(int n) override {
        m_log << QStringLiteral("cue.setStepperStreamerDuration: %1").arg(n);
    }
    QStringList& m_log;
};
