#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The unit keeps its settings in its program FLASH at 0xfc00; an update
// rewrites that FLASH, so the settings are read back first ("k" says where
// they are and how many bytes, "j fcX0" dumps a row of 16) and written again
// with the new program.
struct SettingsArea {
    static constexpr unsigned kAddress = 0xfc00;
    static constexpr int kRowBytes = 16;
    static constexpr unsigned kMaxBytes = 256; // fc00 to fcff
    QByteArray bytes = QByteArray(int(kMaxBytes), char(0xff));
    unsigned address = 0;
    unsigned size = 0;
    unsigned rowsRead = 0; // bit i: the row at kAddress + 16 i came back

    int rows() const { return int((size + kRowBytes - 1) / kRowBytes); }
    bool rowRead(int row) const { return (rowsRead >> row) & 1u; }
    // The size is known and every row of it came back.
    bool complete() const;
};

// Reads the settings area through whatever carries the unit's replies: send
// startCommand(), feed every reply line to takeReply() and send the commands
// it returns (the rows, once the size is known). Lines of other commands and
// the unit's echo of each command are ignored. Keeps no clock: the caller
// decides how long to wait and then asks problem().
class SettingsAreaReader {
public:
    enum class State { AwaitingSize, AwaitingRows, Done, Refused };

    static QString startCommand() { return QStringLiteral("k"); }
    // Forgets everything read: the next "k" reply starts over.
    void reset() { *this = SettingsAreaReader(); }
    // One reply line (trimmed); the commands to send next, often none.
    QStringList takeReply(const QString& line);

    State state() const { return m_state; }
    bool done() const { return m_state == State::Done; }
    // Whether the reading is over, well or not.
    bool finished() const { return m_state == State::Done || m_state == State::Refused; }
    const SettingsArea& area() const { return m_area; }
    // Why the settings cannot be kept, for the user; empty when they can.
    QString problem() const;
    // For a question before the update: what happens to the settings.
    QString summary() const;

private:
    QStringList onSize(const QStringList& fields);
    void onRow(const QStringList& fields);

    SettingsArea m_area;
    State m_state = State::AwaitingSize;
    QString m_refusal;
};
