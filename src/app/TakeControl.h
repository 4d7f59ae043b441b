#pragma once

#include "cues/CueFiring.h"
#include "cues/view/CueWindow.h"
#include "cues/view/TakeView.h"

#include <QObject>
#include <QPointer>
#include <memory>

class CommandSink;
class CueWindow;
class MidiController;

// The take: which sheet the time code fires (the armed one), Hold and Fire
// Next, the counters' rate and state in every cue window, the warnings
// about the incoming time code, and what the take view shows.
//
// One sheet is armed at a time and only the user changes which: opening or
// bringing another window forward does not. With none armed, the first
// sheet opened is armed, and the front one when time code starts from
// stopped. Closing the armed sheet disarms it and says so; nothing is armed
// again until the user arms a sheet or time code next starts from stopped.
class TakeControl : public QObject, public TakeSource {
    Q_OBJECT
public:
    // `front` gives the front cue window (null when none).
    explicit TakeControl(std::function<CueWindow*()> front, QObject* parent = nullptr);
    ~TakeControl() override;

    // A new cue window; armed when none is and none was closed while armed.
    void addWindow(CueWindow* window);
    // The window is closing or gone.
    void removeWindow(CueWindow* window);
    void arm(CueWindow* window);
    CueWindow* armed() const { return m_armed; }
    // "Following reel1.txt", or why nothing is followed.
    QString followingText() const { return m_following; }

    // Takes time code from `midi` (null: detaches; returns once the MIDI
    // thread let go of the firing).
    void attach(MidiController* midi);
    void setCommandSink(CommandSink* sink);
    CueFiring* firing() const { return m_firing.get(); }

    // TakeSource
    TakeState takeState() const override;
    void setHeld(bool held) override;
    void fireNext() override;

signals:
    void followingChanged(const QString& text);
    // The take view should look again (time code, firing, armed or hold moved).
    void takeChanged();

private:
    void connectWindow(CueWindow* window);
    void publishArmed();
    void showProgress(const CueFiring::Progress& progress);
    void timecodeStateChanged();
    void showTimecodeState(CueWindow* window) const;
    void showWarnings();
    void setFollowing(const QString& text);

    std::function<CueWindow*()> m_front;
    QList<QPointer<CueWindow>> m_windows;
    QPointer<CueWindow> m_armed;
    bool m_autoArm = true;
    bool m_running = false;
    QString m_following;
    MidiController* m_midi = nullptr;
    CommandSink* m_sink = nullptr;
    std::unique_ptr<CueFiring> m_firing;
};
