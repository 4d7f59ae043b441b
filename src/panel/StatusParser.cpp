#include "panel/StatusParser.h"

#include "base/Diagnostics.h"
#include "base/PosixRegex.h"
#include "panel/InhibitPing.h"
#include "panel/PanelPrompts.h"
#include "protocol/CommandSink.h"
#include "protocol/Commands.h"
#include "protocol/Replies.h"
#include "protocol/ReplyReceivers.h"
#include "protocol/ReplyScanner.h"
#include "update/SRecord.h"
#include "update/UpdatePlan.h"

#include <QByteArray>
#include <QList>

namespace {

// The first "N.N.N" (one or two digits per component) in text, or empty.
QString findVersion(const QString& text) {
    static const PosixRegex pattern(
        "(([0-9])|([0-9][0-9]))\\.(([0-9])|([0-9][0-9]))\\.(([0-9])|([0-9][0-9]))");
    const QByteArray bytes = text.toUtf8();
    int start = 0;
    int end = 0;
    if (!pattern.search(bytes, 0, &start, &end))
        return QString();
    return QString::fromUtf8(bytes.mid(start, end - start));
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

// The handler of each reply letter; the protocol's reply table says who
// takes the letter and how its fields are read.
const StatusParser::Route StatusParser::kRoutes[] = {
    {'A', &StatusParser::onRate},           {'G', &StatusParser::onBarsAndGray},
    {'H', &StatusParser::onMasking},        {'J', &StatusParser::onDelayTrim},
    {'M', &StatusParser::onSdiGenerator},   {'Q', &StatusParser::onBypass},
    {'X', &StatusParser::onPopEnables},     {'Y', &StatusParser::onColorSpace},
    {'C', &StatusParser::onStreamer},       {'E', &StatusParser::onPunch},
    {'U', &StatusParser::onAnnunciator},    {'m', &StatusParser::onAnnunciator},
    {'n', &StatusParser::onAnnunciator},    {'t', &StatusParser::onAnnunciator},
    {'r', &StatusParser::onAnnunciator},    {'z', &StatusParser::onAnnunciator},
    {'f', &StatusParser::onTransferItem},   {'h', &StatusParser::onTransferEnd},
    {'u', &StatusParser::onUpdateProgress}, {'j', &StatusParser::onStateRecord},
    {'k', &StatusParser::onStateInfo},      {'S', &StatusParser::onSessionReply},
};

void StatusParser::processRxString(const QString& raw) {
    // Blanks, line ends and the unit's ">" prompt around the line are not
    // part of it; echoed commands such as "ping", comments and text that is
    // not a reply give nothing.
    const std::optional<cmd::Reply> recognised = cmd::recogniseReply(raw);
    if (!recognised)
        return;
    const char letter = recognised->letter;
    const reply::Entry* entry = reply::find(letter);
    if (!entry) {
        diag::print("unknown command: %c\n", letter ? letter : '?');
        return;
    }
    if (entry->receiver == reply::Receiver::Echo)
        return;
    if (entry->needsFields && recognised->line.size() <= 2)
        return;
    const reply::Parsed parsed = reply::parse(*entry, recognised->line);
    for (const Route& route : kRoutes)
        if (route.letter == letter) {
            (this->*route.handler)(parsed);
            return;
        }
}

bool StatusParser::isRead(PanelGroup group) const {
    const int index = int(group);
    return index >= kSettingGroups || m_read[std::size_t(index)];
}

void StatusParser::reported(PanelGroup group) {
    m_read[std::size_t(group)] = true;
    emit changed(group);
}

void StatusParser::forgetReported() {
    m_read.fill(false);
    for (int g = 0; g < kSettingGroups; ++g)
        emit changed(PanelGroup(g));
    if (m_streamer)
        m_streamer->forgetReported();
    if (m_punch)
        m_punch->forgetReported();
    if (m_annunciator)
        m_annunciator->forgetReported();
}

void StatusParser::onRate(const reply::Parsed& r) {
    const unsigned v = unsigned(r.numbers.value(0));
    m_state.rateCell = (v & 3) <= 1 ? int(v & 3) : 2;
    m_state.priorityCell = (v & 8) ? 0 : 1;
    m_state.streamerEndPunch = (v & 4) != 0;
    reported(PanelGroup::Rate);
}

void StatusParser::onBarsAndGray(const reply::Parsed& r) {
    const int v = r.numbers.value(0);
    m_state.bars = (v & 1) != 0;
    m_state.grayScale = (v & 2) != 0;
    reported(PanelGroup::BarsAndGray);
}

void StatusParser::onMasking(const reply::Parsed& r) {
    for (std::size_t i = 0; i < m_state.masking.size(); ++i)
        m_state.masking[i] = r.numbers.value(qsizetype(i));
    reported(PanelGroup::Masking);
}

void StatusParser::onDelayTrim(const reply::Parsed& r) {
    m_state.delayTrimSteps = r.numbers.value(0);
    reported(PanelGroup::DelayTrim);
}

void StatusParser::onSdiGenerator(const reply::Parsed& r) {
    const int v = r.numbers.value(0);
    if (v < 0 || v > 15)
        return;
    m_state.sdiGenerator = v;
    reported(PanelGroup::SdiGenerator);
}

void StatusParser::onBypass(const reply::Parsed& r) {
    m_state.bypass = r.numbers.value(0) != 0;
    reported(PanelGroup::Bypass);
}

void StatusParser::onPopEnables(const reply::Parsed& r) {
    const int v = r.numbers.value(0);
    m_state.popStreamerAccum = (v & 1) != 0;
    m_state.popPunch = (v & 2) != 0;
    m_state.popStreamer = (v & 4) != 0;
    m_state.popCell = (v >> 3) & 3;
    reported(PanelGroup::PopEnables);
}

void StatusParser::onColorSpace(const reply::Parsed& r) {
    m_state.colorSpaceRow = r.numbers.value(0);
    reported(PanelGroup::ColorSpace);
}

void StatusParser::onStreamer(const reply::Parsed& r) {
    if (!m_streamer)
        return;
    m_streamer->fromString(r.line);
    if (m_cueDocument) {
        m_cueDocument->setOffset(-m_streamer->offset());
        m_cueDocument->setStepperStreamerDuration(m_streamer->streamerDuration());
    }
}

void StatusParser::onPunch(const reply::Parsed& r) {
    if (m_punch)
        m_punch->fromString(r.line);
}

void StatusParser::onAnnunciator(const reply::Parsed& r) {
    if (!m_annunciator)
        return;
    switch (r.entry->letter) {
    case 'U':
        m_annunciator->fromString(r.line);
        break;
    case 'm':
        m_annunciator->tcFromString(r.line);
        break;
    case 'n':
        m_annunciator->comFromString(r.line);
        break;
    case 't':
        m_annunciator->annunciatorColorsFromString(r.line);
        break;
    case 'r':
        m_annunciator->windowFromArray(r.numbers);
        break;
    case 'z':
        if (!r.numbers.isEmpty())
            m_annunciator->pointsFromArray(r.numbers);
        break;
    }
}

// "S": the unit is back from a session that stopped the keep-alive.
void StatusParser::onSessionReply(const reply::Parsed&) {
    inhibitPing.store(false);
    diag::print("got S response\n");
}

bool StatusParser::checkMicroVersion(const QString& reply, const QString& minVersion) {
    const QString current = findVersion(reply);
    if (current.isEmpty() || findVersion(minVersion).isEmpty())
        return true;
    // Components compare as numbers of at most two digits: 3.4.10 (30410) is
    // older than 3.32.6 (33206).
    const bool older = versionNumber(minVersion) > versionNumber(current);
    if (older)
        PanelPrompts::alert(m_prompts,
                            QStringLiteral("update micro to %1 or greater").arg(minVersion));
    diag::print("%s %s\n", current.toUtf8().constData(), minVersion.toUtf8().constData());
    return !older;
}

void StatusParser::tickProgress() {
    if (m_progressDowncount == 1)
        hideProgress();
    if (m_progressDowncount != 0)
        --m_progressDowncount;
}

void StatusParser::showUpdateProgress(int percent, const QString& label) {
    if (!m_progress.visible)
        showProgress(100);
    m_progress.maximum = 100;
    m_progress.value = percent;
    m_progress.label = label;
    emit changed(PanelGroup::Progress);
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
void StatusParser::onTransferItem(const reply::Parsed&) {
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
void StatusParser::onTransferEnd(const reply::Parsed& r) {
    const int n = r.numbers.value(0);
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
void StatusParser::onUpdateProgress(const reply::Parsed& r) {
    const int count = r.numbers.value(0);
    if (count > 0) {
        if (!m_progress.visible)
            showProgress(100);
        m_progress.value = updateplan::networkPercent(count, m_progressMaxCount);
        emit changed(PanelGroup::Progress);
        return;
    }
    if (m_progress.visible)
        PanelPrompts::alert(
            m_prompts,
            QStringLiteral("close the GUI, wait for QZ62A reset to finish, restart GUI"));
    hideProgress();
    inhibitPing.store(false);
}

// "j addr b0 .. b15": sixteen bytes of the unit's state memory. Only the
// settings area is kept; a byte that cannot be read repeats the one before.
void StatusParser::onStateRecord(const reply::Parsed& r) {
    const QString& line = r.line;
    diag::print("%s\n", line.toUtf8().constData());
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
void StatusParser::onStateInfo(const reply::Parsed& r) {
    const QString& line = r.line;
    m_memory.stateBuffer.fill(0xff);
    ReplyScanner scan(line);
    scan.scanHexInt(m_memory.stateAddress);
    if (!scan.atEnd())
        scan.scanHexInt(m_memory.stateSize);
    m_memory.firmwareVersion = findVersion(line.mid(2));
    emit changed(PanelGroup::UnitMemory);
    checkMicroVersion(line, QString::fromLatin1(kMinMicroVersion));
}
