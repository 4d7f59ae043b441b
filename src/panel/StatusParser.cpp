#include "panel/StatusParser.h"

#include "link/Alerts.h"
#include "link/CommandSink.h"
#include "protocol/Commands.h"
#include "panel/InhibitPing.h"
#include "panel/ReplyReceivers.h"
#include "panel/ReplyScanner.h"
#include "update/SRecord.h"

#include <QByteArray>
#include <QList>
#include <cstdio>
#include <regex.h>

namespace {

// The first "N.N.N" (one or two digits per component) in text, or empty.
QString findVersion(const QString& text) {
    static const char* const kPattern =
        "(([0-9])|([0-9][0-9]))\\.(([0-9])|([0-9][0-9]))\\.(([0-9])|([0-9][0-9]))";
    regex_t re;
    if (regcomp(&re, kPattern, REG_EXTENDED) != 0)
        return QString();
    const QByteArray bytes = text.toUtf8();
    regmatch_t match[1];
    QString found;
    if (regexec(&re, bytes.constData(), 1, match, 0) == 0 && match[0].rm_so >= 0)
        found = QString::fromUtf8(bytes.mid(match[0].rm_so, match[0].rm_eo - match[0].rm_so));
    regfree(&re);
    return found;
}

// "a.b.c" as (a * 100 + b) * 100 + c.
int versionNumber(const QString& text) {
    QString spaced = text;
    spaced.replace(QLatin1Char('.'), QLatin1Char(' '));
    ReplyScanner scan(spaced, 0);
    int a = 0;
    int b = 0;
    int c = 0;
    scan.scanInt(a);
    scan.scanInt(b);
    scan.scanInt(c);
    return (a * 100 + b) * 100 + c;
}

} // namespace

StatusParser::StatusParser(QObject* parent) : QObject(parent) {
    m_memory.stateBuffer.fill(0xff);
}

void StatusParser::processRxString(const QString& raw) {
    // Blanks, line ends and the unit's ">" prompt around the line are not
    // part of it; echoed commands such as "ping", comments and text that is
    // not a reply give nothing.
    const std::optional<cmd::Reply> reply = cmd::recogniseReply(raw);
    if (!reply)
        return;
    const QString& line = reply->line;
    const bool hasFields = line.size() > 2;
    ReplyScanner scan(line);
    const char letter = reply->letter;

    switch (letter) {
    case 'B':
    case 'V':
    case 's':
    case 'w':
        return;
    case 'A': {
        if (!hasFields)
            return;
        unsigned v = 0;
        scan.scanHexInt(v);
        m_state.rateCell = (v & 3) <= 1 ? int(v & 3) : 2;
        m_state.priorityCell = (v & 8) ? 0 : 1;
        m_state.streamerEndPunch = (v & 4) != 0;
        emit changed(PanelGroup::Rate);
        return;
    }
    case 'C':
        if (m_streamer) {
            m_streamer->fromString(line);
            if (m_cueDocument) {
                m_cueDocument->setOffset(-m_streamer->offset());
                m_cueDocument->setStepperStreamerDuration(m_streamer->streamerDuration());
            }
        }
        return;
    case 'E':
        if (m_punch)
            m_punch->fromString(line);
        return;
    case 'G': {
        if (!hasFields)
            return;
        unsigned v = 0;
        scan.scanHexInt(v);
        m_state.bars = (v & 1) != 0;
        m_state.grayScale = (v & 2) != 0;
        emit changed(PanelGroup::BarsAndGray);
        return;
    }
    case 'H': {
        if (!hasFields)
            return;
        // One shared value: a short report repeats its last field.
        int v = 0;
        for (int& mask : m_state.masking) {
            scan.scanInt(v);
            mask = v;
        }
        emit changed(PanelGroup::Masking);
        return;
    }
    case 'J': {
        if (!hasFields)
            return;
        int v = 0;
        scan.scanInt(v);
        m_state.delayTrimSteps = v;
        emit changed(PanelGroup::DelayTrim);
        return;
    }
    case 'M': {
        if (!hasFields)
            return;
        int v = 0;
        scan.scanInt(v);
        if (v < 0 || v > 15)
            return;
        m_state.sdiGenerator = v;
        emit changed(PanelGroup::SdiGenerator);
        return;
    }
    case 'Q': {
        if (!hasFields)
            return;
        int v = 0;
        scan.scanInt(v);
        m_state.bypass = v != 0;
        emit changed(PanelGroup::Bypass);
        return;
    }
    case 'S':
        inhibitPing.store(false);
        std::printf("got S response\n");
        std::fflush(stdout);
        return;
    case 'U':
        if (m_annunciator)
            m_annunciator->fromString(line);
        return;
    case 'X': {
        if (!hasFields)
            return;
        int v = 0;
        scan.scanInt(v);
        m_state.popStreamerAccum = (v & 1) != 0;
        m_state.popPunch = (v & 2) != 0;
        m_state.popStreamer = (v & 4) != 0;
        m_state.popCell = (v >> 3) & 3;
        emit changed(PanelGroup::PopEnables);
        return;
    }
    case 'Y': {
        if (!hasFields)
            return;
        // The unit reports the colour space in hexadecimal.
        unsigned v = 0;
        scan.scanHexInt(v);
        m_state.colorSpaceRow = int(v);
        emit changed(PanelGroup::ColorSpace);
        return;
    }
    case 'f':
        onTransferItem();
        return;
    case 'h':
        if (hasFields)
            onTransferEnd(line);
        return;
    case 'j':
        if (hasFields)
            onStateRecord(line);
        return;
    case 'k':
        if (hasFields)
            onStateInfo(line);
        return;
    case 'm':
        if (m_annunciator)
            m_annunciator->tcFromString(line);
        return;
    case 'n':
        if (m_annunciator)
            m_annunciator->comFromString(line);
        return;
    case 'r': {
        if (!hasFields)
            return;
        const QList<int> numbers = scan.scanAllInts();
        if (m_annunciator)
            m_annunciator->windowFromArray(numbers);
        return;
    }
    case 't':
        if (m_annunciator)
            m_annunciator->annunciatorColorsFromString(line);
        return;
    case 'u': {
        if (!hasFields)
            return;
        int v = 0;
        scan.scanInt(v);
        onUpdateProgress(v);
        return;
    }
    case 'z': {
        if (!hasFields)
            return;
        const QList<int> numbers = scan.scanAllInts();
        if (!numbers.isEmpty() && m_annunciator)
            m_annunciator->pointsFromArray(numbers);
        return;
    }
    default:
        std::printf("unknown command: %c\n", letter ? letter : '?');
        std::fflush(stdout);
        return;
    }
}

bool StatusParser::checkMicroVersion(const QString& reply, const QString& minVersion) {
    const QString current = findVersion(reply);
    if (current.isEmpty() || findVersion(minVersion).isEmpty())
        return true;
    // Components compare as numbers of at most two digits: 3.4.10 (30410) is
    // older than 3.32.6 (33206).
    const bool older = versionNumber(minVersion) > versionNumber(current);
    if (older)
        alerts::show(QStringLiteral("update micro to %1 or greater").arg(minVersion));
    std::printf("%s %s\n", current.toUtf8().constData(), minVersion.toUtf8().constData());
    std::fflush(stdout);
    return !older;
}

void StatusParser::tickProgress() {
    if (m_progressDowncount == 1)
        hideProgress();
    if (m_progressDowncount != 0)
        --m_progressDowncount;
}

void StatusParser::showProgress(int maximum) {
    m_progress.visible = true;
    m_progress.maximum = maximum;
    emit showUnitTab();
}

void StatusParser::hideProgress() {
    if (!m_progress.visible)
        return;
    m_progress.visible = false;
    emit changed(PanelGroup::Progress);
}

// "f": the unit took one in/out pair; show how many are still queued.
void StatusParser::onTransferItem() {
    m_progressDowncount = 50;
    const int queued = m_sink ? m_sink->txCount() : 0;
    if (!m_progress.visible)
        showProgress(queued);
    m_progress.label = QStringLiteral("%1 items in queue").arg(queued);
    if (queued > m_progress.maximum)
        m_progress.maximum = queued;
    m_progress.value = queued;
    emit changed(PanelGroup::Progress);
}

// "h n": the unit counted n pairs at the end of an in/out list.
void StatusParser::onTransferEnd(const QString& line) {
    ReplyScanner scan(line);
    int n = 0;
    scan.scanHexInt(n);
    if (n == m_fMax) {
        m_progress.label = QStringLiteral("success!");
        m_progress.value = 100;
    } else if (n != 0) {
        m_progress.label = QStringLiteral("%1 of %2 items sent, try again").arg(n).arg(m_fMax);
    } else {
        return;
    }
    emit changed(PanelGroup::Progress);
}

// "u n": records of a network update written so far; "u 0" ends it.
void StatusParser::onUpdateProgress(int count) {
    if (count > 0) {
        const long long scaled = (long long)count * 100;
        const long long percent = m_progressMaxCount != 0 ? scaled / m_progressMaxCount : scaled;
        if (!m_progress.visible)
            showProgress(100);
        m_progress.value = int(qMin<long long>(percent, 0x7fffffff));
        emit changed(PanelGroup::Progress);
        return;
    }
    if (m_progress.visible)
        alerts::show(QStringLiteral("close the GUI, wait for QZ62A reset to finish, restart GUI"));
    hideProgress();
    inhibitPing.store(false);
}

// "j addr b0 .. b15": sixteen bytes of the unit's state memory. Only the
// settings area is kept; a byte that cannot be read repeats the one before.
void StatusParser::onStateRecord(const QString& line) {
    std::printf("%s\n", line.toUtf8().constData());
    std::fflush(stdout);
    SRecord record;
    record.fromJString(line);
    const std::uint32_t address = record.address();
    if (address < kStateBase || address >= kStateBase + 0x100)
        return;
    const std::size_t offset = address - kStateBase;
    const QByteArray data = record.buffer();
    for (std::size_t i = 0;
         i < std::size_t(data.size()) && offset + i < m_memory.stateBuffer.size(); ++i)
        m_memory.stateBuffer[offset + i] = std::uint8_t(data.at(qsizetype(i)));
    emit changed(PanelGroup::UnitMemory);
}

// "k addr size version": where the settings live and which firmware runs.
void StatusParser::onStateInfo(const QString& line) {
    m_memory.stateBuffer.fill(0xff);
    ReplyScanner scan(line);
    scan.scanHexInt(m_memory.stateAddress);
    if (!scan.atEnd())
        scan.scanHexInt(m_memory.stateSize);
    m_memory.firmwareVersion = findVersion(line.mid(2));
    emit changed(PanelGroup::UnitMemory);
    checkMicroVersion(line, QString::fromLatin1(kMinMicroVersion));
}
