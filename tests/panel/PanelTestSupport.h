#pragma once

#include "link/Alerts.h"
#include "panel/ReplyReceivers.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <ostream>

// Readable failure messages for Qt strings.
inline void PrintTo(const QString& s, std::ostream* os) {
    *os << '"' << s.toStdString() << '"';
}

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

// The start-up queries, in the order the unit must see them.
inline const QStringList kInitCommands = {"A",    "B", "C",   "E",   "G",   "H",   "J",
                                          "M 15", "Q", "U",   "X",   "Y",   "k",   "m",
                                          "n",    "z", "r 0", "r 1", "r 2", "r 3", "t"};

// Commands the unit received, without the keep-alive.
inline QStringList withoutPings(const QStringList& lines) {
    QStringList out;
    for (const QString& l : lines) {
        if (l != QLatin1String("ping"))
            out << l;
    }
    return out;
}
