#include "sim/SimProtocol.h"

#include <algorithm>

#include "protocol/Coding78.h"
#include "protocol/MidiMessages.h"

namespace {
constexpr char kNoteOn = char(midimsg::kNoteOn);
constexpr char kSysexStart = char(midimsg::kSysexStart);
constexpr char kSysexEnd = char(midimsg::kSysexEnd);
constexpr int kMaxSysexBytes = 1024;

QByteArray toWire(const QStringList& lines) {
    QByteArray out;
    for (const QString& line : lines) {
        out += line.toLatin1();
        out += "\r\n";
    }
    return out;
}
} // namespace

SimProtocol::SimProtocol() {
    resetSettings();
}

void SimProtocol::resetSettings() {
    // What a unit fresh from the factory reports.
    m_settings = {
        {QStringLiteral("A"), QStringLiteral("a")}, // auto rate, HDMI priority
        {QStringLiteral("C"), QStringLiteral("0 28 0 64 0 ff ff 0")},
        {QStringLiteral("E"), QStringLiteral("0 7f 7f 40 c 64 2 1")},
        {QStringLiteral("G"), QStringLiteral("0")},
        {QStringLiteral("H"), QStringLiteral("10 10 0 0 50")},
        {QStringLiteral("J"), QStringLiteral("0")},
        {QStringLiteral("M"), QStringLiteral("15")},
        {QStringLiteral("N"), QStringLiteral("0")},
        {QStringLiteral("Q"), QStringLiteral("0")},
        {QStringLiteral("U"), QStringLiteral("0")},
        {QStringLiteral("X"), QStringLiteral("12")},
        {QStringLiteral("Y"), QStringLiteral("0")},
        {QStringLiteral("m"), QStringLiteral("1")},
        {QStringLiteral("n"), QStringLiteral("0")},
        {QStringLiteral("t"), QStringLiteral("70 70 70")},
        {QStringLiteral("z"), QStringLiteral("24 32 48 64 72 96")},
    };
    // fontPoint x y color index: text, annunciator, bar/beat, timecode.
    m_windows = {QStringLiteral("32 10 200 112 0"), QStringLiteral("48 10 10 112 1"),
                 QStringLiteral("32 180 200 112 2"), QStringLiteral("32 180 10 112 3")};
    setSettingsSize(m_settingsSize);
}

void SimProtocol::setSettingsSize(int bytes) {
    m_settingsSize = std::clamp(bytes, 0, int(m_area.size()));
    // The settings hold data; the FLASH past them is erased.
    m_area.fill(0xff);
    for (int i = 0; i < m_settingsSize; ++i)
        m_area[std::size_t(i)] = static_cast<unsigned char>((i * 37 + 11) & 0xff);
}

QString SimProtocol::window(int index) const {
    return index >= 0 && index < 4 ? m_windows[std::size_t(index)] : QString();
}

QByteArray SimProtocol::settingsArea() const {
    return QByteArray(reinterpret_cast<const char*>(m_area.data()), qsizetype(m_area.size()));
}

void SimProtocol::clearRecord() {
    m_commands.clear();
    m_triggers.clear();
    m_sysexTexts.clear();
}

void SimProtocol::noteTrigger(int note, int velocity, Clock::time_point now) {
    m_triggers.append({note, velocity, now});
    m_recentTriggers.append({note, velocity, now});
    if (m_recentTriggers.size() > UnitSnapshot::kKeptTriggers)
        m_recentTriggers.removeFirst();
    ++m_triggerCount;
    ++m_changes;
}

UnitSnapshot SimProtocol::snapshot() const {
    // Deep copies: the snapshot leaves the serving thread, and Qt's shared
    // strings and lists would otherwise still point into this state.
    auto own = [](const QString& s) { return QString(s.constData(), s.size()); };
    UnitSnapshot out;
    for (auto it = m_settings.cbegin(); it != m_settings.cend(); ++it)
        out.settings.insert(own(it.key()), own(it.value()));
    for (std::size_t i = 0; i < m_windows.size(); ++i)
        out.windows[i] = own(m_windows[i]);
    out.textLine = own(m_textLine);
    out.counterText = own(m_counterText);
    out.triggers.reserve(m_recentTriggers.size());
    for (const UnitSnapshot::Trigger& t : m_recentTriggers)
        out.triggers.append(t);
    out.triggerCount = m_triggerCount;
    return out;
}

QByteArray SimProtocol::feed(const QByteArray& bytes, Clock::time_point now, int channel) {
    Parser& p = m_parsers[channel];
    QByteArray out;
    for (char byte : bytes) {
        if (m_hangUps.contains(channel))
            break; // the connection is going: nothing more arrives
        if (channel == kSerialChannel && m_boot.active()) {
            out += m_boot.feed(byte, now);
            continue;
        }
        switch (p.mode) {
        case Mode::Sysex:
            p.midi += byte;
            if (byte == kSysexEnd) {
                handleSysex(p.midi);
                p.midi.clear();
                p.mode = Mode::Text;
            } else if (p.midi.size() > kMaxSysexBytes) {
                p.midi.clear();
                p.mode = Mode::Text;
            }
            continue;
        case Mode::NoteOn:
            p.midi += byte;
            if (p.midi.size() == 3) {
                noteTrigger(uchar(p.midi.at(1)), uchar(p.midi.at(2)), now);
                p.midi.clear();
                p.mode = Mode::Text;
            }
            continue;
        case Mode::Text:
            break;
        }
        if (byte == kSysexStart || byte == kNoteOn) {
            p.midi = QByteArray(1, byte);
            p.mode = byte == kSysexStart ? Mode::Sysex : Mode::NoteOn;
        } else if (byte == '\r' || byte == '\n') {
            if (!p.line.isEmpty())
                out += handleLine(QString::fromLatin1(p.line), now, channel);
            p.line.clear();
        } else if (p.line.size() < kMaxLineBytes) {
            p.line += byte;
        }
    }
    return out;
}

void SimProtocol::handleSysex(const QByteArray& frame) {
    // F0 20 01 <7/8-coded text> F7
    if (frame.size() >= 4 && frame.at(1) == 0x20 && frame.at(2) == 0x01) {
        const QByteArray text = coding78::decode78(frame.mid(3, frame.size() - 4));
        m_sysexTexts << QString::fromLatin1(text);
        m_cueText = m_sysexTexts.last();
        // The message carries the whole "s" command.
        m_textLine = m_cueText.startsWith(QLatin1String("s ")) ? m_cueText.mid(2) : m_cueText;
        ++m_changes;
    } else {
        m_sysexTexts << QString();
    }
}

bool SimProtocol::updateLine(const QString& line, Clock::time_point now, int channel,
                             QByteArray& out) {
    if (channel == kSerialChannel)
        return false;
    const QByteArray bytes = line.toLatin1();
    auto it = m_updates.find(channel);
    if (it == m_updates.end() || !it->active()) {
        if (!SimNetworkUpdate::isStart(bytes))
            return false;
        if (it == m_updates.end())
            it = m_updates.insert(channel, SimNetworkUpdate());
        it->setFaults(m_networkFaults);
        it->start(now);
        return true;
    }
    const int before = it->completed();
    out = it->record(bytes, now);
    noteUpdateEnd(*it, before);
    if (it->hungUp())
        m_hangUps.insert(channel);
    return true;
}

void SimProtocol::noteUpdateEnd(const SimNetworkUpdate& update, int doneBefore) {
    if (update.completed() == doneBefore)
        return;
    ++m_updatesDone;
    m_lastUpdateRecords = update.lastTotal();
}

QByteArray SimProtocol::handleLine(const QString& line, Clock::time_point now, int channel) {
    if (QByteArray answer; updateLine(line, now, channel, answer))
        return answer;
    m_commands.append({line, now, channel});
    ++m_changes;
    QStringList lines{line}; // the echo
    lines += answer(line, now, channel);
    QByteArray out = toWire(lines);
    out += '>';
    if (channel == kSerialChannel)
        m_boot.afterCommand(line, now);
    return out;
}

QStringList SimProtocol::answer(const QString& line, Clock::time_point now, int channel) {
    const qsizetype blank = line.indexOf(QLatin1Char(' '));
    const QString key = blank < 0 ? line : line.left(blank);
    const QString args = blank < 0 ? QString() : line.mid(blank + 1);
    const QStringList fields = args.split(QLatin1Char(' '), Qt::SkipEmptyParts);

    if (key == QLatin1String("B")) {
        return {m_failIdentification
                    ? QStringLiteral("QZ61A X100 serial link")
                    : QStringLiteral("QZ62A C190 firmware %1").arg(m_firmwareVersion)};
    }
    if (key == QLatin1String("k"))
        return {QStringLiteral("k %1 %2 %3")
                    .arg(QString::number(kSettingsAddress, 16), QString::number(m_settingsSize, 16),
                         m_firmwareVersion)};
    if (key == QLatin1String("j")) {
        bool ok = false;
        const int address = fields.value(0).toInt(&ok, 16);
        if (!ok || address < kSettingsAddress || address + 16 > kSettingsAddress + 256)
            return {};
        QString dump = QStringLiteral("j %1").arg(QString::number(address, 16));
        for (int i = 0; i < 16; ++i)
            dump += QStringLiteral(" %1").arg(
                QString::number(m_area[std::size_t(address - kSettingsAddress + i)], 16)
                    .rightJustified(2, QLatin1Char('0')));
        if (address == m_unreadableRow)
            dump.chop(9); // its last three bytes lost on the way
        return {dump};
    }
    if (key == QLatin1String("r")) {
        if (fields.size() == 1) {
            const int index = fields.at(0).toInt();
            return index >= 0 && index < 4 ? QStringList{QLatin1String("r ") + window(index)}
                                           : QStringList{};
        }
        if (fields.size() == 5) {
            const int index = fields.at(4).toInt();
            if (index >= 0 && index < 4)
                m_windows[std::size_t(index)] = fields.join(QLatin1Char(' '));
        }
        return {};
    }
    if (key == QLatin1String("h")) {
        m_inOutCount = 0;
        m_inOutPending = false;
        return {};
    }
    if (key == QLatin1String("f")) {
        ++m_inOutCount;
        m_inOutPending = true;
        m_inOutChannel = channel;
        m_lastInOut = now;
        return {};
    }
    if (key == QLatin1String("s")) {
        m_cueText = args;
        m_textLine = args;
        return {};
    }
    if (key == QLatin1String("V")) {
        m_sampleText = args;
        m_textLine = args;
        return {};
    }
    if (key == QLatin1String("V2")) {
        m_counterText = args;
        return {};
    }
    if (key == QLatin1String("w")) {
        if (fields.value(0) == QLatin1String("1"))
            resetSettings();
        return {};
    }
    if (m_settings.contains(key)) {
        if (blank < 0) // a query
            return {key + QLatin1Char(' ') + m_settings.value(key)};
        m_settings[key] = args;
    }
    return {};
}

SimProtocol::Output SimProtocol::tick(Clock::time_point now) {
    if (QByteArray boot = m_boot.tick(now); !boot.isEmpty())
        return {kSerialChannel, boot};
    for (auto it = m_updates.begin(); it != m_updates.end(); ++it) {
        const int before = it->completed();
        QByteArray bytes = it->tick(now);
        noteUpdateEnd(*it, before);
        if (!bytes.isEmpty())
            return {it.key(), bytes};
    }
    if (!m_inOutPending || now < m_lastInOut + kInOutQuiet)
        return {};
    m_inOutPending = false;
    return {m_inOutChannel,
            toWire({QStringLiteral("h %1").arg(QString::number(m_inOutCount, 16))}) + '>'};
}

std::optional<SimProtocol::Clock::time_point> SimProtocol::nextDeadline() const {
    std::optional<Clock::time_point> due = m_boot.nextDeadline();
    if (m_inOutPending)
        due = due ? std::min(*due, m_lastInOut + kInOutQuiet) : m_lastInOut + kInOutQuiet;
    for (const SimNetworkUpdate& update : m_updates)
        if (auto d = update.deadline())
            due = due ? std::min(*due, *d) : *d;
    return due;
}
