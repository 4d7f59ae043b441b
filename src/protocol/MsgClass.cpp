#include "protocol/MsgClass.h"

#include "base/Diagnostics.h"

namespace {
constexpr char kSysexStart = char(0xF0);
constexpr char kSysexEnd = char(0xF7);

bool isEdge(QChar c) {
    return c == QLatin1Char('\r') || c == QLatin1Char('\n') || c == QLatin1Char('>');
}

// The unit's prompt and line ends are cut from both edges of a line.
QString trimmedLine(const QByteArray& bytes) {
    const QString text = QString::fromUtf8(bytes);
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end && isEdge(text.at(begin)))
        ++begin;
    while (end > begin && isEdge(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

void printHex(const QByteArray& bytes) {
    QByteArray line;
    line.reserve(bytes.size() * 3 + 1);
    for (char c : bytes)
        line += QByteArray::number(uchar(c), 16).rightJustified(2, '0') + ' ';
    diag::print("%s\n", line.constData());
}
} // namespace

void MsgClass::txString(const QString& command) {
    QString line = command;
    line.remove(QLatin1Char('\r'));
    line.remove(QLatin1Char('\n'));
    if (line.size() > kMaxCommandChars)
        line.truncate(kCutCommandChars);
    m_buffer += line.toLatin1();
    m_buffer += "\r\n";
}

void MsgClass::txBytes(const QByteArray& bytes) {
    m_buffer += bytes;
}

void MsgClass::txBytes(const char* bytes, int length) {
    if (bytes && length > 0)
        m_buffer.append(bytes, length);
}

void MsgClass::append(const MsgClass& other) {
    if (!other.m_buffer.isEmpty())
        m_buffer += other.m_buffer;
}

qsizetype MsgClass::findLineEnd(qsizetype* length) const {
    if (m_lineEnd == LineEnd::CrLf) {
        *length = 2;
        return m_buffer.indexOf("\r\n");
    }
    *length = 1;
    return m_buffer.indexOf('\n'); // a CR before it is trimmed with the line
}

// Whichever comes first ends the text: a line end (the line is complete) or
// an 0xF0 (a system-exclusive message starts; the text before it is delivered
// at once, even without its line end).
std::optional<QString> MsgClass::removeString() {
    if (m_buffer.isEmpty())
        return std::nullopt;
    const qsizetype sysex = m_buffer.indexOf(kSysexStart);
    qsizetype endLength = 0;
    const qsizetype lineEnd = findLineEnd(&endLength);
    if (lineEnd >= 0 && (sysex < 0 || lineEnd < sysex)) {
        const QString text = trimmedLine(m_buffer.left(lineEnd + endLength));
        m_buffer.remove(0, lineEnd + endLength);
        return text;
    }
    if (sysex >= 0) {
        const QString text = trimmedLine(m_buffer.left(sysex));
        m_buffer.remove(0, sysex);
        return text;
    }
    return std::nullopt;
}

std::optional<QByteArray> MsgClass::removeMidi() {
    if (m_buffer.isEmpty() || m_buffer.at(0) != kSysexStart)
        return std::nullopt;
    const qsizetype end = m_buffer.indexOf(kSysexEnd);
    if (end < 0)
        return std::nullopt;
    const QByteArray message = m_buffer.left(end + 1);
    m_buffer.remove(0, end + 1);
    printHex(message);
    printHex(m_buffer);
    return message;
}

void MsgClass::printMidi() const {
    QByteArray line;
    for (char c : m_midiBuffer)
        line += QByteArray::number(uchar(c), 16) + ' ';
    diag::print("%s\n", line.constData());
}

QStringList MsgClass::drain(const MsgClass& chunk) {
    append(chunk);
    QStringList results;
    for (;;) {
        std::optional<QString> line = removeString();
        if (line && !line->isEmpty()) {
            results << *line;
            continue;
        }
        // An empty line either consumed a bare CR LF or '>' (progress made),
        // or found an 0xF0 at the front, where only removeMidi can go on.
        if (line && !m_buffer.startsWith(kSysexStart))
            continue;
        const std::optional<QByteArray> sysex = removeMidi();
        if (!sysex)
            break;
        results << QString::fromUtf8(*sysex) + QLatin1Char('\n');
    }
    enforceBound();
    return results;
}

void MsgClass::enforceBound() {
    if (m_buffer.size() <= kMaxHeldBytes)
        return;
    const bool crLf = m_lineEnd == LineEnd::CrLf;
    const qsizetype lastLineEnd = crLf ? m_buffer.lastIndexOf("\r\n") : m_buffer.lastIndexOf('\n');
    if (lastLineEnd >= 0)
        m_buffer.remove(0, lastLineEnd + (crLf ? 2 : 1));
    else
        m_buffer.clear();
    // What is left after the last CR LF can itself be an over-long tail.
    if (m_buffer.size() > kMaxHeldBytes)
        m_buffer.clear();
}
