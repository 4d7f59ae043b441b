#include "cues/CueSheet.h"

#include "cues/CueListImporter.h"
#include "midi/Coding78.h"

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

// Symbol-font glyphs at the front are dropped, then blanks and line breaks
// at both ends.
QString cleanForUnit(const QString& text) {
    return CueListImporter::removeUniChars(text).trimmed();
}

// Stable merge sort of `order` by `less`.
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
    return QStringLiteral(";duplicate\t%1\n;midnight\t%2\n;text\t%3\n;cueId\t%4\n"
                          ";pulldown\t%5\n;start\t%6\n;tctype\t%7\n")
        .arg(int(m_settings.duplicate))
        .arg(int(m_settings.midnight))
        .arg(int(m_settings.text))
        .arg(int(m_settings.cueId))
        .arg(int(m_settings.pulldown))
        .arg(m_settings.start)
        .arg(m_settings.tctype);
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

void CueSheet::cueTableFromString(const QString& text) {
    CueListImporter(*this).cueTableFromString(text);
}

QString CueSheet::stringFromCueTable() const {
    return CueListImporter(const_cast<CueSheet&>(*this)).stringFromCueTable();
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
        text = QStringLiteral("%1%2\t%3\t%4\n").arg(text, item.cueIn, item.cueOut, item.cueText);
    return text.toUtf8();
}

bool CueSheet::readFromData(const QByteArray& /*data*/, int* osStatusError) {
    if (osStatusError)
        *osStatusError = -4;
    return true;
}

QString CueSheet::cueItemText(const CueItem& item) const {
    QString text;
    if (m_settings.cueId) {
        text = cleanForUnit(item.cueId);
        if (m_settings.text)
            text += QLatin1String("\\n"); // the unit's line-break escape
    }
    if (!m_settings.text)
        return text;
    return text + cleanForUnit(item.cueText);
}

void CueSheet::OnSort() {
    const int n = count();
    std::vector<int> keys(static_cast<size_t>(n));
    std::vector<int> order(static_cast<size_t>(n));
    for (int i = 0; i < n; ++i) {
        // Always compared as 30 fps, whatever the sheet's type; unusable times
        // count as midnight.
        keys[size_t(i)] = m_tcc.tcToBinary(m_rows[i].getCueIn(), 3);
        order[size_t(i)] = i;
    }
    std::vector<int> scratch(static_cast<size_t>(n));
    mergeSort(order, scratch, 0, size_t(n), [&keys](int a, int b) {
        return TcCalculator::compareFrames(keys[size_t(a)], keys[size_t(b)], 3) < 0;
    });

    QList<CueItem> sorted;
    sorted.reserve(n);
    QString lastIn;
    for (int index : order) {
        const CueItem& item = m_rows[index];
        if (m_settings.duplicate && !sorted.isEmpty()) {
            // The first row of a run of equal in times stays.
            const QString in = item.getCueIn();
            if (in.compare(lastIn, Qt::CaseInsensitive) == 0)
                continue;
            lastIn = in;
        } else if (m_settings.duplicate) {
            lastIn = item.getCueIn();
        }
        sorted.append(item);
    }

    if (m_settings.midnight) {
        // A sheet running across midnight starts with its late-evening cues:
        // at the first jump of more than 12 hours, the rows before it move to
        // the end.
        for (qsizetype i = 0; i + 1 < sorted.size(); ++i) {
            const int hours = m_tcc.hrsToBinary(sorted[i].getCueIn());
            const int nextHours = m_tcc.hrsToBinary(sorted[i + 1].getCueIn());
            if (nextHours - hours > 12) {
                QList<CueItem> rotated = sorted.mid(i + 1);
                rotated.append(sorted.mid(0, i + 1));
                sorted = rotated;
                break;
            }
        }
    }
    m_rows = sorted;
}

int CueSheet::leadFrames(int type) const {
    return m_stepperStreamerDuration * TcCalculator::frameRate(type) / 50;
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
    std::fputs(line, stdout);
    return QString::fromLatin1(line);
}
