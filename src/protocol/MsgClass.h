#pragma once

#include <QByteArray>
#include <QMetaType>
#include <QString>
#include <QStringList>
#include <optional>

// One message of the device link: an outgoing framed command, a chunk of
// received bytes, or the long-lived receive buffer that cuts the unit's byte
// stream into reply lines and system-exclusive messages.
//
// The unit sends text lines ended by CR LF and, in the same stream, MIDI
// system-exclusive messages (0xF0 ... 0xF7). Nothing else is told apart.
// Outgoing text is ISO Latin-1 (the unit's character set); incoming text is
// decoded as UTF-8.
//
// A value type (the byte arrays are implicitly shared), so a received chunk can
// travel to the main thread in a queued call.
class MsgClass {
public:
    // Longest command line the unit takes, without CR LF.
    static constexpr int kMaxCommandChars = 252;
    // What a longer command is cut to.
    static constexpr int kCutCommandChars = 251;
    // Bound on the bytes the receive buffer holds undelivered. The unit's
    // lines and system-exclusive messages are a few hundred bytes at most, so
    // more than this is garbage: a line that never ends or an 0xF0 that is
    // never closed. drain() then discards the held bytes up to and including
    // the last CR LF, or all of them when there is none, so memory stays
    // bounded and the stream resynchronises on the next line.
    static constexpr int kMaxHeldBytes = 4096;

    // Where a received line ends: the unit's serial stream ends its lines
    // with CR LF; a network proxy may end them with LF alone (a CR before the
    // LF is then dropped with it).
    enum class LineEnd { CrLf, Lf };

    MsgClass() = default;
    explicit MsgClass(LineEnd lineEnd) : m_lineEnd(lineEnd) {}

    // Outgoing text command: every CR and LF removed, cut to 251 characters
    // when longer than 252, CR LF appended, encoded as Latin-1.
    void txString(const QString& command);
    // Raw bytes appended unchanged (MIDI, received chunks).
    void txBytes(const QByteArray& bytes);
    void txBytes(const char* bytes, int length);
    // Appends the other message's bytes.
    void append(const MsgClass& other);

    // The next text reply, trimmed of CR, LF and '>' at both ends; nothing
    // while the line is incomplete. The text ends at whichever comes first,
    // the line end or 0xF0: text before an 0xF0 is returned at once (an empty string
    // when the 0xF0 is at the front).
    std::optional<QString> removeString();
    // The next system-exclusive message (0xF0 ... 0xF7 inclusive) when the
    // buffer starts with 0xF0 and its 0xF7 has arrived; otherwise nothing.
    std::optional<QByteArray> removeMidi();
    // Prints midiBuffer() as "%x " per byte and a newline.
    void printMidi() const;

    // The receive buffer's drain, the one way received chunks are consumed:
    // appends the chunk, then takes lines with removeString(), and
    // system-exclusive messages with removeMidi() when no line is there (or
    // when an 0xF0 sits at the front), each message as a UTF-8 string with
    // "\n" appended. Returns the non-empty results in stream order. Enforces
    // kMaxHeldBytes afterwards.
    QStringList drain(const MsgClass& chunk);

    const QByteArray& buffer() const { return m_buffer; }
    const QByteArray& midiBuffer() const { return m_midiBuffer; }

    // Label: "a message", or the chunk counter for received chunks.
    QString text = QStringLiteral("a message");

private:
    void enforceBound();
    // Where the first line end starts and how long it is; -1 when none.
    qsizetype findLineEnd(qsizetype* length) const;

    LineEnd m_lineEnd = LineEnd::CrLf;
    QByteArray m_buffer;
    QByteArray m_midiBuffer;
};

Q_DECLARE_METATYPE(MsgClass)
