#pragma once

#include "panel/PanelState.h"
#include "protocol/Replies.h"

#include <QObject>
#include <QString>
#include <array>

class CommandSink;
class PanelPrompts;
class StreamerReceiver;
class PunchReceiver;
class AnnunciatorReceiver;
class CueDocumentTarget;

// Takes the unit's reply lines apart. Each reply letter sets exactly the
// settings it carries, hands the overlay editors their lines, and drives the
// transfer progress display; the widgets follow through changed(). Runs on the
// main thread, without widgets.
//
// It also knows which setting groups the unit has reported: until a group's
// reply has come, the panel shows its own defaults, which must be neither
// taken for the unit's values nor sent to it.
class StatusParser : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kMinMicroVersion = "3.32.6";
    // Base of the unit's settings area in its state memory.
    static constexpr unsigned kStateBase = 0xfc00;

    explicit StatusParser(QObject* parent = nullptr);

    // One reply line as cut from the stream.
    void processRxString(const QString& line);

    // Compares the first "N.N.N" (one or two digits each) in reply with
    // minVersion; alerts "update micro to <min> or greater" when the unit is
    // older. Returns false only when both were read and the unit is older.
    bool checkMicroVersion(const QString& reply, const QString& minVersion);

    const PanelState& state() const { return m_state; }
    PanelState& mutableState() { return m_state; }
    const UnitMemory& memory() const { return m_memory; }
    UnitMemory& mutableMemory() { return m_memory; }
    const ProgressState& progress() const { return m_progress; }

    // Counts down in 0.1 s ticks to hiding the progress display; "f" sets it.
    int progressDowncount() const { return m_progressDowncount; }
    void setProgressDowncount(int ticks) { m_progressDowncount = ticks; }
    void tickProgress();
    // An update engine's report: shows the display (unit tab forward) with
    // the bar at percent of 100 and the label.
    void showUpdateProgress(int percent, const QString& label);

    // For the controls: a setting was changed locally, show it everywhere.
    void notifyChanged(PanelGroup group) { emit changed(group); }

    // Whether the unit has reported this setting group since its settings
    // were last asked for (always true for the progress and memory).
    bool isRead(PanelGroup group) const;
    // Every setting is being asked for again: no group counts as read, here
    // and in the overlay editors, until its reply comes.
    void forgetReported();

    // Number of records of a network update, turns the unit's "u" count into
    // a percentage; set by the update code.
    int progressMaxCount() const { return m_progressMaxCount; }
    void setProgressMaxCount(int count) { m_progressMaxCount = count; }

    // Number of in/out pairs the unit should report in its "h" reply after an
    // in/out list; set by whoever sends the list.
    int fMax() const { return m_fMax; }
    void setFMax(int pairs) { m_fMax = pairs; }

    // Not owned; any may be null.
    void setPrompts(PanelPrompts* prompts) { m_prompts = prompts; }
    void setCommandSink(CommandSink* sink) { m_sink = sink; }
    void setStreamerReceiver(StreamerReceiver* r) { m_streamer = r; }
    void setPunchReceiver(PunchReceiver* r) { m_punch = r; }
    void setAnnunciatorReceiver(AnnunciatorReceiver* r) { m_annunciator = r; }
    void setCueDocument(CueDocumentTarget* doc) { m_cueDocument = doc; }

signals:
    void changed(PanelGroup group);
    // A transfer started: bring the unit tab forward so its progress shows.
    void showUnitTab();

private:
    using Handler = void (StatusParser::*)(const reply::Parsed&);
    struct Route {
        char letter;
        Handler handler;
    };
    static const Route kRoutes[];

    void onRate(const reply::Parsed& r);
    void onBarsAndGray(const reply::Parsed& r);
    void onMasking(const reply::Parsed& r);
    void onDelayTrim(const reply::Parsed& r);
    void onSdiGenerator(const reply::Parsed& r);
    void onBypass(const reply::Parsed& r);
    void onPopEnables(const reply::Parsed& r);
    void onColorSpace(const reply::Parsed& r);
    void onStreamer(const reply::Parsed& r);
    void onPunch(const reply::Parsed& r);
    void onAnnunciator(const reply::Parsed& r);
    void onSessionReply(const reply::Parsed& r);
    void onTransferItem(const reply::Parsed& r);
    void onTransferEnd(const reply::Parsed& r);
    void onUpdateProgress(const reply::Parsed& r);
    void onStateRecord(const reply::Parsed& r);
    void onStateInfo(const reply::Parsed& r);
    void showProgress(int maximum);
    void hideProgress();
    // The group's reply has come: it counts as read, and the panel shows it.
    void reported(PanelGroup group);

    PanelState m_state;
    std::array<bool, kSettingGroups> m_read{};
    UnitMemory m_memory;
    ProgressState m_progress;
    int m_progressDowncount = 0;
    int m_progressMaxCount = 0;
    int m_fMax = 0;
    PanelPrompts* m_prompts = nullptr;
    CommandSink* m_sink = nullptr;
    StreamerReceiver* m_streamer = nullptr;
    PunchReceiver* m_punch = nullptr;
    AnnunciatorReceiver* m_annunciator = nullptr;
    CueDocumentTarget* m_cueDocument = nullptr;
};
