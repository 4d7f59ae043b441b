#include "cues/CueSheet.h"

#include "cues/CueListImporter.h"
#include "cues/CueText.h"
#include "cues/CueWalk.h"
#include "protocol/Coding78.h"
#include "protocol/CommandSink.h"
#include "protocol/Commands.h"
#include "protocol/MidiMessages.h"
#include "timecode/MtcFrame.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <vector>

namespace {

// Boolean reading of a header value: leading blanks skipped; "Y", "y", "T",
// "t" or a digit 1-9 (after an optional sign and zeros) mean on.
bool boolValue(const QString& value) {
    qsizetype i = 0;
    while (i < value.size() && value[i].isSpace())
        ++i;
    if (i < value.size()) {
        const QChar c = value[i];
        if (c == u'Y' || c == u'y' || c == u'T' || c == u't')
            return true;
    }
    if (i < value.size() && (value[i] == u'+' || value[i] == u'-'))
        ++i;
    while (i < value.size() && value[i] == u'0')
        ++i;
    return i < value.size() && value[i] >= u'1' && value[i] <= u'9';
}

// Integer reading of a header value: leading blanks, an optional sign and
// the digits that follow; 0 when there are none, clamped to int.
int integerValue(const QString& value) {
    qsizetype i = 0;
    while (i < value.size() && value[i].isSpace())
        ++i;
    bool negative = false;
    if (i < value.size() && (value[i] == u'+' || value[i] == u'-')) {
        negative = value[i] == u'-';
        ++i;
    }
    long long result = 0;
    while (i < value.size() && value[i] >= u'0' && value[i] <= u'9') {
        result = result * 10 + (value[i].unicode() - u'0');
        if (result > INT_MAX)
            return negative ? INT_MIN : INT_MAX;
        ++i;
    }
    return int(negative ? -result : result);
}

// Stable merge sort of `order` by `less`. The in-time compare is circular
// (within half a day either way), which is not a strict weak ordering, so the
// standard sorts may not be used with it; this merge only ever asks whether
// the right-hand row is earlier and is safe with any answer.
template <typename Less>
void mergeSort(std::vector<int>& order, std::vector<int>& scratch, size_t begin, size_t end,
               const Less& less) {
    if (end - begin < 2)
        return;
    const size_t mid = begin + (end - begin) / 2;
    mergeSort(order, scratch, begin, mid, less);
    mergeSort(order, scratch, mid, end, less);
    size_t left = begin;
    size_t right = mid;
    size_t out = begin;
    while (left < mid && right < end) {
        // Take from the right only when strictly earlier: equal keys keep order.
        if (less(order[right], order[left]))
            scratch[out++] = order[right++];
        else
            scratch[out++] = order[left++];
    }
    while (left < mid)
        scratch[out++] = order[left++];
    while (right < end)
        scratch[out++] = order[right++];
    for (size_t i = begin; i < end; ++i)
        order[i] = scratch[i];
}

} // namespace

QString CueSheet::cueSheetInitValues() const {
    // One pass over the placeholders: a start value holding "%" (the header
    // takes any text there) must not be read as a placeholder by a later arg().
    const auto flag = [](bool on) { return on ? QStringLiteral("1") : QStringLiteral("0"); };
    return QStringLiteral(";duplicate\t%1\n;midnight\t%2\n;text\t%3\n;cueId\t%4\n"
                          ";pulldown\t%5\n;start\t%6\n;tctype\t%7\n")
        .arg(flag(m_settings.duplicate), flag(m_settings.midnight), flag(m_settings.text),
             flag(m_settings.cueId), flag(m_settings.pulldown),
             sheettext::oneLine(m_settings.start), QString::number(m_settings.tctype));
}

void CueSheet::initValueFromString(const QString& line) {
    const QString trimmed = line.trimmed();
    const qsizetype tab = trimmed.indexOf(u'\t');
    if (tab < 0)
        return;
    const QString key = trimmed.left(tab);
    const QString value = trimmed.mid(tab + 1);
    if (key == QLatin1String(";duplicate")) {
        m_settings.duplicate = boolValue(value);
    } else if (key == QLatin1String(";midnight")) {
        m_settings.midnight = boolValue(value);
    } else if (key == QLatin1String(";text")) {
        m_settings.text = boolValue(value);
    } else if (key == QLatin1String(";cueId")) {
        m_settings.cueId = boolValue(value);
    } else if (key == QLatin1String(";pulldown")) {
        m_settings.pulldown = boolValue(value);
    } else if (key == QLatin1String(";start")) {
        m_settings.start = value;
    } else if (key == QLatin1String(";tctype")) {
        // The type list has four entries; another number selects nothing.
        const int type = integerValue(value);
        if (type >= 0 && type <= 3)
            m_settings.tctype = type;
    }
}

sheettext::Reading CueSheet::cueTableFromString(const QString& text) {
    return CueListImporter(*this).cueTableFromString(text);
}

QString CueSheet::stringFromCueTable() const {
    return CueListImporter::stringFromCueTable(*this);
}

void CueSheet::paste(const QString& block) {
    CueListImporter(*this).paste(block);
}

QByteArray CueSheet::dataOfType(int* osStatusError) const {
    if (osStatusError)
        *osStatusError = -4;
    if (m_rows.isEmpty())
        return QByteArray();
    QString text;
    for (const CueItem& item : m_rows)
        text += item.cueIn + u'\t' + item.cueOut + u'\t' + item.cueText + u'\n';
    return text.toUtf8();
}

bool CueSheet::readFromData(const QByteArray& /*data*/, int* osStatusError) {
    if (osStatusError)
        *osStatusError = -4;
    return true;
}

QString CueSheet::cueItemText(const CueItem& item) const {
    return cuetext::build(item, m_settings.cueId, m_settings.text);
}

int CueSheet::OnSort(QString* spanWarning) {
    // Each row's in time is looked at once: its display form, frames and hours.
    struct Key {
        QString in;
        int frames = 0;
        int hours = 0;
    };
    const int n = count();
    std::vector<Key> keys(static_cast<size_t>(n));
    std::vector<int> order(static_cast<size_t>(n));
    std::vector<int> validFrames;
    for (int i = 0; i < n; ++i) {
        Key& key = keys[size_t(i)];
        key.in = m_rows[i].getCueIn();
        // Always compared as 30 fps, whatever the sheet's type; unusable times
        // count as midnight.
        const std::optional<int> frames = m_tcc.framesIfTc(key.in, 3);
        if (frames && spanWarning)
            validFrames.push_back(*frames);
        key.frames = frames.value_or(0);
        key.hours = key.frames / (30 * 3600);
        order[size_t(i)] = i;
    }
    if (spanWarning)
        *spanWarning = inTimeSpanWarning(std::move(validFrames));
    std::vector<int> scratch(static_cast<size_t>(n));
    mergeSort(order, scratch, 0, size_t(n), [&keys](int a, int b) {
        return TcCalculator::compareFrames(keys[size_t(a)].frames, keys[size_t(b)].frames, 3) < 0;
    });

    if (m_settings.duplicate) {
        // The first row of a run of equal in times stays.
        std::vector<int> kept;
        kept.reserve(order.size());
        for (int index : order) {
            if (!kept.empty() && keys[size_t(index)].in.compare(keys[size_t(kept.back())].in,
                                                                Qt::CaseInsensitive) == 0)
                continue;
            kept.push_back(index);
        }
        order.swap(kept);
    }
    const int removed = n - int(order.size());

    size_t first = 0;
    if (m_settings.midnight) {
        // A sheet running across midnight starts with its late-evening cues:
        // at the first jump of more than 12 hours, the rows before it move to
        // the end.
        for (size_t i = 0; i + 1 < order.size(); ++i) {
            if (keys[size_t(order[i + 1])].hours - keys[size_t(order[i])].hours > 12) {
                first = i + 1;
                break;
            }
        }
    }
    QList<CueItem> sorted;
    sorted.reserve(qsizetype(order.size()));
    for (size_t i = 0; i < order.size(); ++i)
        sorted.append(std::move(m_rows[order[(first + i) % order.size()]]));
    m_rows = std::move(sorted);
    return removed;
}

QString CueSheet::inTimeSpanWarning() const {
    std::vector<int> frames;
    for (const CueItem& row : m_rows) {
        if (const std::optional<int> f = m_tcc.framesIfTc(row.getCueIn(), 3))
            frames.push_back(*f);
    }
    return inTimeSpanWarning(std::move(frames));
}

QString CueSheet::inTimeSpanWarning(std::vector<int> frames) const {
    constexpr int kType = 3; // as the sort compares
    if (frames.size() < 2)
        return QString();
    std::sort(frames.begin(), frames.end());
    // The shortest arc holding every time leaves out the widest gap between
    // neighbours round the clock.
    const int day = TcCalculator::framesPerDay(kType);
    int widestGap = frames.front() + day - frames.back();
    size_t first = 0;
    for (size_t i = 1; i < frames.size(); ++i) {
        if (frames[i] - frames[i - 1] > widestGap) {
            widestGap = frames[i] - frames[i - 1];
            first = i;
        }
    }
    if (day - widestGap <= day / 2)
        return QString();
    const int last = frames[(first + frames.size() - 1) % frames.size()];
    return QStringLiteral("the in times span more than 12 hours (%1 to %2): sorting by in time "
                          "may put the cues out of order")
        .arg(m_tcc.binaryToTc(frames[first], kType), m_tcc.binaryToTc(last, kType));
}

int CueSheet::leadFrames(int type) const {
    return cuewalk::leadFrames(m_stepperStreamerDuration, type);
}

QString CueSheet::onButtonTest() const {
    QByteArray bytes(256, '\0');
    for (int i = 0; i < 256; ++i)
        bytes[i] = char(i);
    const QByteArray encoded = coding78::encode78(bytes);
    const QByteArray decoded = coding78::decode78(encoded);
    char line[160];
    std::snprintf(line, sizeof line, "bytes: %d encoded bytes: %d decoded bytes: %d equal: %d\n",
                  int(bytes.size()), int(encoded.size()), int(decoded.size()),
                  int(decoded == bytes));
    return QString::fromLatin1(line);
}

// --- to the unit ---

void CueSheet::sendCueItemText(const CueItem& item) {
    if (!m_comThread)
        return;
    m_comThread->sendString(cmd::cueText(coding78::unitText(cueItemText(item))));
}

void CueSheet::tableViewSelectionDidChange(int firstSelectedRow) {
    m_selectionIndex = firstSelectedRow;
    if (firstSelectedRow >= 0 && firstSelectedRow < count())
        sendCueItemText(m_rows[firstSelectedRow]);
}

int CueSheet::onTxInOuts() {
    m_inOutPairsSent = 0;
    m_inOutStopRow = -1;
    m_inOutOutsDropped.clear();
    if (!m_comThread)
        return 0;
    m_comThread->sendString(cmd::inOutStart());
    for (int row = 0; row < count(); ++row) {
        const CueItem& item = m_rows[row];
        const QString in = item.getCueIn();
        if (!m_tcc.isTc(in)) {
            m_inOutStopRow = row; // the unit's list ends at the first unusable time
            break;
        }
        QString out = item.getCueOut();
        if (!m_tcc.isTc(out)) {
            if (!item.cueOut.isEmpty() && out != QLatin1String("---"))
                m_inOutOutsDropped.append(row);
            out = QString();
        }
        m_comThread->sendString(cmd::inOut(in, out));
        ++m_inOutPairsSent;
    }
    return m_inOutPairsSent;
}

void CueSheet::onClearText() {
    if (m_comThread)
        m_comThread->sendString(cmd::clearText());
}

void CueSheet::sendTriggerAndText(const CueItem& item, int trigger) {
    if (!m_comThread)
        return;
    m_comThread->sendTimingBytes(midimsg::noteOn(midimsg::kAccumulateNote, trigger));
    m_comThread->sendTimingBytes(midimsg::cueTextSysex(cueItemText(item)));
}

void CueSheet::mtcEvent(const QByteArray& mtc) {
    if (mtc.size() < 4)
        return;
    const mtcframe::Frame frame = {std::uint8_t(mtc[0]), std::uint8_t(mtc[1]), std::uint8_t(mtc[2]),
                                   std::uint8_t(mtc[3])};
    const int now = mtcframe::framesSinceMidnight(frame);
    if (now < 0 || m_rows.isEmpty())
        return;
    const int type = mtcframe::rateCode(frame);
    const cuewalk::Step step =
        cuewalk::walk(count(), m_selectionIndex, now, type, leadFrames(type), [&](int row) {
            const QString in = m_rows[row].getCueIn();
            return m_tcc.isTc(in) ? m_tcc.tcToBinary(in, type) : cuewalk::kNoInTime;
        });
    m_selectionIndex = step.selection;
    for (int i = 0; i < step.fireCount; ++i)
        sendTriggerAndText(m_rows[step.fire[size_t(i)]], midimsg::kTriggerVelocity);
}
