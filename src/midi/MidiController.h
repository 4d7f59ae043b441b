#pragma once

#include "midi/MidiParser.h"
#include "midi/MidiPorts.h"
#include "midi/TimecodeListener.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <atomic>
#include <memory>

class QSettings;
class QTimer;
class QueuedCalls;

// What the MIDI view does, without the widgets: picks the source and the
// destination, follows the system's MIDI setup, parses what arrives on the
// MIDI thread and passes every timecode step to the attached listener there,
// answers the HUI host's ping, and keeps the counter text for the view.
//
// Lives on the main thread. The MIDI thread only runs the parser, the cue
// firing, and the coalesced counter update (at most one pending at a time:
// the main thread always shows the latest time, once).
//
// Settings: "MidiIn" (the last connected source, by name) and
// "CountDropFrameExactly".
class MidiController final : public QObject, private MidiParser::Listener {
    Q_OBJECT
public:
    // Our client's name on the MIDI system.
    static constexpr const char* kClientName = "WB_ADR";
    // How often the port lists are compared with the system's.
    static constexpr int kPollIntervalMs = 1000;
    // The counter before any timecode has arrived from the connected source.
    static QString noTimeText() { return QStringLiteral("--:--:--:--"); }

    // Opens the system's MIDI in awakeFromNib. `settings` null: the
    // application's settings; otherwise not owned and must outlive this.
    explicit MidiController(QSettings* settings = nullptr, QObject* parent = nullptr);
    ~MidiController() override;

    // Opens our ports, reconnects the remembered source and starts following
    // the system's setup.
    void awakeFromNib();

    // --- ports (main thread) ---
    QString apiName() const { return m_ports ? m_ports->apiName() : QString(); }
    QStringList sources() const { return m_sources; }
    QStringList destinations() const { return m_destinations; }
    // The chosen source and destination (empty: none); ticked in the menus.
    QString source() const { return m_source; }
    QString destination() const { return m_destination; }
    bool sourceConnected() const { return m_sourceConnected; }
    void inputAction(const QString& name);
    void outputAction(const QString& name);
    // Compares the port lists with the system's (the timer does this once a
    // second): emits portsChanged on a change, reconnects the remembered
    // source when it reappears, falls back to our own port when it goes.
    void pollPorts();
    // Connects the first source (destination) whose name contains `part`,
    // ignoring case, as choosing it in the menu would; until one appears the
    // remembered source is not reconnected and notice() says what is awaited.
    // Checked at every poll, so call it before awakeFromNib().
    void wantSource(const QString& part);
    void wantDestination(const QString& part);
    QString wantedSource() const { return m_wantSource; }
    QString wantedDestination() const { return m_wantDestination; }

    // --- sending (any thread) ---
    void txMidi(const QByteArray& bytes) override;
    // The HUI lamp test, five sends to the destination.
    void onButtonTest();

    // --- timecode ---
    bool exactDropFrame() const { return m_parser.exactDropFrame(); }
    void setExactDropFrame(bool exact);
    // Where every timecode step goes, on the MIDI thread; null for none.
    // Returns once no step is being delivered to the previous one.
    void setTimecodeListener(TimecodeListener* listener);
    // The time to show, "HH:MM:SS:FF" (noTimeText() before any).
    QString counterText() const { return m_counterText; }
    // The time shown, with its rate bits (all zero before any).
    mtcframe::Frame counterTime() const;
    // Whether quarter frames are arriving: set by the first one, cleared when
    // none came for longer than two frames.
    bool timecodeRunning() const { return m_runningShown; }
    // The rate the source sends (its quarter frames' or full frame's rate
    // bits, which the unit's own drop-frame step does not disturb); -1 before
    // any.
    int incomingRate() const { return m_incomingRateShown; }
    // The counter's words for a rate: "24", "25", "29.97 drop", "30".
    static QString rateText(int type);
    // Clears the running state when the last quarter frame came longer than
    // two frames before `nowNs` (steady clock); the timer does this while
    // timecode runs.
    void checkStopped(std::int64_t nowNs);

    // The MIDI thread's entry: one received message (also for tests and
    // benchmarks that feed bytes without a MIDI system).
    void decodeData(const std::uint8_t* bytes, std::size_t size);
    // The parser's state; read it only while no bytes arrive.
    const MidiParser& parser() const { return m_parser; }

signals:
    void portsChanged();
    void counterChanged(const QString& text);
    // A line for the user about a port asked for by name.
    void notice(const QString& text);
    // Running or stopped, or the incoming rate, changed.
    void timecodeStateChanged();
    void exactDropFrameChanged(bool exact);

private:
    void mtcEvent(const MidiParser::Mtc& mtc) override;
    void showTcDigits(const MidiParser::Mtc& mtc) override;
    void locate(const MidiParser::Mtc& mtc) override;
    void quarterFrame(int piece, int nibble) override;
    void timecodeStarted();
    void showIncomingRate();
    void showCounter();
    void resetCounter();
    void connectWanted();

    std::unique_ptr<QSettings> m_ownSettings;
    QSettings* m_settings;
    std::unique_ptr<QueuedCalls> m_toMain;
    MidiParser m_parser;
    QTimer* m_pollTimer = nullptr;

    QStringList m_sources;
    QStringList m_destinations;
    QString m_source;
    QString m_destination;
    bool m_sourceConnected = false;
    bool m_destinationConnected = false;
    bool m_polled = false;
    QString m_wantSource;
    QString m_wantDestination;
    bool m_wantAnnounced = false;
    bool m_inputOpen = false;  // our input port exists (own or on the source)
    bool m_outputOpen = false; // the same for the output
    QString m_counterText = noTimeText();

    std::atomic<TimecodeListener*> m_timecodeListener{nullptr};
    std::atomic<int> m_delivering{0};
    std::atomic<std::uint32_t> m_shownTime{0};
    std::atomic<bool> m_counterPending{false};
    std::atomic<std::int64_t> m_lastQuarterNs{0};
    std::atomic<bool> m_running{false};
    std::atomic<int> m_incomingRate{-1};
    bool m_runningShown = false;
    int m_incomingRateShown = -1;
    QTimer* m_stopTimer = nullptr;

    std::atomic<MidiPorts*> m_sendPorts{nullptr}; // m_ports for the MIDI thread's sends
    // Last, so that it goes first: no callback runs once it is gone.
    std::unique_ptr<MidiPorts> m_ports;
};
