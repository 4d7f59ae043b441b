#pragma once

#include "protocol/UnitSnapshot.h"
#include "sim/SimBootLoader.h"
#include "sim/SimNetworkUpdate.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

// The unit's side of the line protocol, independent of any transport: bytes in,
// bytes out, the unit's settings as state. A transport (the pseudo-terminal of
// SimulatedUnit, later a TCP socket) feeds it what arrives and sends what it
// returns. Not thread-safe; the transport serialises access.
//
// What the unit does, as the host sees it:
// - every command line (ended by CR or LF) is echoed, then the answer lines
//   follow, then the prompt "\r\n>";
// - a letter alone is a query, answered in the same line form as the setting
//   command ("C" -> "C 0 28 0 64 0 ff ff 0");
// - a setting command changes the state;
// - "B" is answered by an identification line containing "C190";
// - "k" reports the settings area's address (fc00), size and firmware version;
//   "j fcX0" dumps 16 bytes of it ("j fc00 01 02 ...");
// - "h 0" starts an in/out list; once the "f" lines stop for half a second
//   the unit reports their count as "h n" (hexadecimal);
// - raw MIDI Note On (0x90 note velocity) fires a trigger; a system-exclusive
//   frame F0 20 01 <7/8-coded text> F7 shows cue text;
// - on a network channel, " u 0" starts an update (SimNetworkUpdate): the
//   lines that follow are records, reported as "u n" progress.
// - "L" on the serial line starts the update side (SimBootLoader).
class SimProtocol {
public:
    using Clock = std::chrono::steady_clock;

    struct Command {
        QString line;
        Clock::time_point time; // when its last byte arrived
        int channel = 0;        // kSerialChannel or a network connection's
    };
    struct Trigger {
        int note = 0;
        int velocity = 0;
        Clock::time_point time;
    };

    static constexpr int kSettingsAddress = 0xfc00;
    static constexpr int kSettingsSize = 0x30;
    static constexpr int kMaxLineBytes = 1024;
    static constexpr std::chrono::milliseconds kInOutQuiet{500};

    // Where bytes come from and answers go: the serial line is channel 0,
    // each network connection has its own number. Lines are assembled per
    // channel; the state is the one unit's.
    static constexpr int kSerialChannel = 0;
    struct Output {
        int channel = kSerialChannel;
        QByteArray bytes;
    };

    SimProtocol();

    // Bytes that arrived at `now`; returns the bytes the unit sends in answer
    // on the same channel.
    QByteArray feed(const QByteArray& bytes, Clock::time_point now, int channel = kSerialChannel);
    // Output that falls due by time ("h n", to the channel that sent the
    // in/out list); empty bytes when nothing is due.
    Output tick(Clock::time_point now);
    // Forgets a channel's partial input (its connection closed).
    void dropChannel(int channel) {
        m_parsers.remove(channel);
        m_updates.remove(channel);
        m_hangUps.remove(channel);
    }
    // The unit wants this network channel closed (a fault of its update
    // side); asked once after each feed.
    bool takeHangUp(int channel) { return m_hangUps.remove(channel); }
    // How the unit's network update side misbehaves (SimNetworkUpdate).
    void setNetworkFaults(const SimNetworkUpdate::Faults& faults) { m_networkFaults = faults; }
    // When tick() next has something to say.
    std::optional<Clock::time_point> nextDeadline() const;

    // The identification answer lacks "C190" (a different device).
    void setFailIdentification(bool fail) { m_failIdentification = fail; }
    void setFirmwareVersion(const QString& version) { m_firmwareVersion = version; }
    // How many bytes of settings "k" reports (at most 256; 0: none). The
    // bytes past them read as erased FLASH (0xff).
    void setSettingsSize(int bytes);
    // The "j" dump of the row at this address comes back damaged (a fault).
    void setUnreadableRow(int address) { m_unreadableRow = address; }
    QString firmwareVersion() const { return m_firmwareVersion; }
    // Back to the defaults the unit ships with ("w 1" does the same).
    void resetSettings();
    // Switched off and on: the update side and half-received lines are gone;
    // the settings stay.
    void powerCycle() {
        m_boot.reset();
        m_parsers.clear();
    }

    // State and record.
    // Arguments of a setting as the query answers them ("C" -> "0 28 0 ...").
    QString setting(const QString& key) const { return m_settings.value(key); }
    QString window(int index) const;
    QString cueText() const { return m_cueText; }
    QString sampleText() const { return m_sampleText; }
    QString counterText() const { return m_counterText; }
    int inOutCount() const { return m_inOutCount; }
    // Network updates finished, and the records of the last one.
    int networkUpdatesDone() const { return m_updatesDone; }
    int networkUpdateRecords() const { return m_lastUpdateRecords; }
    QByteArray settingsArea() const;
    SimBootLoader& bootLoader() { return m_boot; }
    const SimBootLoader& bootLoader() const { return m_boot; }
    const QList<Command>& commands() const { return m_commands; }
    const QList<Trigger>& triggers() const { return m_triggers; }
    const QStringList& sysexTexts() const { return m_sysexTexts; }
    void clearRecord();
    // What decides the unit's picture (its settings, windows, texts and
    // recent triggers); clearRecord() leaves it alone.
    UnitSnapshot snapshot() const;
    // Counts every change to what snapshot() holds.
    std::uint64_t changeCount() const { return m_changes; }

private:
    enum class Mode { Text, NoteOn, Sysex };
    struct Parser {
        Mode mode = Mode::Text;
        QByteArray line;
        QByteArray midi;
    };

    QByteArray handleLine(const QString& line, Clock::time_point now, int channel);
    // The line belongs to a network update: its answer, if any, in out.
    bool updateLine(const QString& line, Clock::time_point now, int channel, QByteArray& out);
    void noteUpdateEnd(const SimNetworkUpdate& update, int doneBefore);
    QStringList answer(const QString& line, Clock::time_point now, int channel);
    void handleSysex(const QByteArray& frame);
    void noteTrigger(int note, int velocity, Clock::time_point now);

    QMap<int, Parser> m_parsers;
    QMap<int, SimNetworkUpdate> m_updates; // network channels only
    SimNetworkUpdate::Faults m_networkFaults;
    QSet<int> m_hangUps; // channels to close
    int m_updatesDone = 0;
    int m_lastUpdateRecords = 0;
    SimBootLoader m_boot; // the serial line while an update runs

    QMap<QString, QString> m_settings;
    std::array<QString, 4> m_windows;
    std::array<unsigned char, 256> m_area{};
    QString m_firmwareVersion = QStringLiteral("3.32.6");
    int m_settingsSize = kSettingsSize;
    int m_unreadableRow = -1;
    QString m_cueText;
    QString m_sampleText;
    QString m_counterText;
    bool m_failIdentification = false;

    int m_inOutCount = 0;
    bool m_inOutPending = false;
    int m_inOutChannel = kSerialChannel;
    Clock::time_point m_lastInOut;

    QList<Command> m_commands;
    QList<Trigger> m_triggers;
    QStringList m_sysexTexts;

    // For the picture.
    QString m_textLine;
    QList<UnitSnapshot::Trigger> m_recentTriggers;
    std::uint64_t m_triggerCount = 0;
    std::uint64_t m_changes = 0;
};
