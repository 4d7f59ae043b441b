#pragma once

#include "panel/PanelPrompts.h"
#include "protocol/ReplyReceivers.h"
#include "support/AlertsAndWaiting.h"

#include <QList>
#include <QString>
#include <QStringList>

using testsupport::RecordingAlerts;

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
    void forgetReported() override { m_log << "streamer.forgetReported"; }
    double offset() const override { return 1.5; }
    int streamerDuration() const override { return 75; }
    QStringList& m_log;
};

struct PunchRecorder : PunchReceiver {
    explicit PunchRecorder(QStringList& log) : m_log(log) {}
    void fromString(const QString& line) override { m_log << "punch.fromString: " + line; }
    void forgetReported() override { m_log << "punch.forgetReported"; }
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
    void forgetReported() override { m_log << "ann.forgetReported"; }
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

// Records what the panel's core shows and asks, for a panel without the
// application (which shows them as message boxes).
struct RecordingPrompts : PanelPrompts {
    void showAlert(const QString& message) override { shown << message; }
    bool askOkCancel(const QString& question) override {
        asked << question;
        return answerOk;
    }
    QStringList shown;
    QStringList asked;
    bool answerOk = true;
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

#ifdef QT_WIDGETS_LIB
// --- for the tests with widgets: the application on a simulated unit ---
#include "app/MainWindow.h"
#include "sim/SimulatedUnit.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QSpinBox>
#include <QTest>
#include <gtest/gtest.h>
#include <utility>

constexpr int kWaitMs = 5000;
constexpr int kQuietTickMs = 3600 * 1000;

// The main window with its panel on the real link to the given port. Not
// shown: painting would bring in Qt's raster worker threads, which the thread
// checker cannot see through; visibility is checked with isVisibleTo().
struct App {
    explicit App(const QString& port, int tickMs = kQuietTickMs,
                 const QString& networkHost = QString()) {
        PanelOptions options;
        options.explicitPort = port;
        options.tickIntervalMs = tickMs;
        options.networkHost = networkHost;
        // Proxies on the machine's network must not take the commands.
        options.serviceDiscovery = false;
        window.awakeFromNib(options);
    }
    PanelController& controller() { return window.panel()->controller(); }
    template <typename T>
    T* find(const char* name) {
        T* w = window.findChild<T*>(QString::fromLatin1(name));
        EXPECT_NE(w, nullptr) << name;
        return w;
    }
    // A control's value: a spin box's, a slider's, a combo box's index.
    double value(const char* name) {
        QWidget* w = find<QWidget>(name);
        if (auto* box = qobject_cast<QDoubleSpinBox*>(w))
            return box->value();
        if (auto* box = qobject_cast<QSpinBox*>(w))
            return box->value();
        if (auto* slider = qobject_cast<QAbstractSlider*>(w))
            return slider->value();
        if (auto* combo = qobject_cast<QComboBox*>(w))
            return combo->currentIndex();
        ADD_FAILURE() << name << " has no value";
        return -1;
    }
    // The controls show this state: these buttons checked, those not, these values.
    void expectControls(std::initializer_list<const char*> checked,
                        std::initializer_list<const char*> unchecked,
                        std::initializer_list<std::pair<const char*, double>> values) {
        for (const char* name : checked)
            EXPECT_TRUE(find<QAbstractButton>(name)->isChecked()) << name;
        for (const char* name : unchecked)
            EXPECT_FALSE(find<QAbstractButton>(name)->isChecked()) << name;
        for (const auto& [name, expected] : values)
            EXPECT_DOUBLE_EQ(value(name), expected) << name;
    }

    RecordingAlerts alerts;
    MainWindow window;
};

// The unit has received the last of the start-up queries.
inline bool startUpSent(const SimulatedUnit& sim) {
    return QTest::qWaitFor([&] { return sim.commandLines().contains(QStringLiteral("t")); },
                           kWaitMs);
}
#endif
