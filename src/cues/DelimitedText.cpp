#include "cues/DelimitedText.h"

#include "cues/CueSheetText.h"

#include <QHash>
#include <QObject>
#include <algorithm>

namespace {

// Reads records one character at a time, as spreadsheets write them.
class RecordParser {
public:
    RecordParser(delimited::Table& table, QChar delimiter) : m_table(table), m_delim(delimiter) {}

    // False once `maxRecords` (> 0) records are read.
    bool feed(const QString& text, qsizetype& i, int maxRecords) {
        const QChar c = text[i];
        if (m_inQuotes) {
            if (c != u'"')
                m_field += c;
            else if (i + 1 < text.size() && text[i + 1] == u'"')
                m_field += text[++i];
            else
                m_inQuotes = false;
        } else if (c == u'"' && !m_quoted && m_field.trimmed().isEmpty()) {
            m_inQuotes = m_quoted = true;
            m_field.clear();
        } else if (c == m_delim) {
            endField();
        } else if (c == u'\r' || c == u'\n') {
            if (c == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n')
                ++i;
            endRecord();
            return maxRecords <= 0 || m_table.records.size() < maxRecords;
        } else if (!m_quoted || !c.isSpace()) {
            m_field += c; // after a closing quote only stray words, kept
        }
        return true;
    }

    void finish() {
        if (!m_field.isEmpty() || !m_record.isEmpty() || m_quoted)
            endRecord();
    }

private:
    void endField() {
        m_record << (m_quoted ? m_field : m_field.trimmed());
        m_field.clear();
        m_quoted = false;
    }
    void endRecord() {
        const bool blank = m_record.isEmpty() && !m_quoted && m_field.trimmed().isEmpty();
        endField();
        if (!blank)
            m_table.records << m_record;
        m_record.clear();
    }

    delimited::Table& m_table;
    QChar m_delim;
    QStringList m_record;
    QString m_field;
    bool m_inQuotes = false;
    bool m_quoted = false;
};

struct NamedField {
    const char* field;
    QStringList names;
};

const QList<NamedField>& knownNames() {
    static const QList<NamedField> names = {
        {"id", {"cue",   "cue id", "cueid",  "cue no",  "cue number",  "cue #", "id",
                "#",     "no",     "nr",     "num",     "number",      "loop",  "loop id",
                "event", "index",  "marker", "line no", "line number", "ref"}},
        {"in",
         {"in", "in time", "time in", "tc in", "timecode in", "start", "start time", "start tc",
          "start timecode", "position", "location", "time", "timecode", "tc", "begin", "record in",
          "rec in", "from"}},
        {"out",
         {"out", "out time", "time out", "tc out", "timecode out", "end", "end time", "end tc",
          "end timecode", "finish", "stop", "record out", "rec out", "to"}},
        {"text",
         {"dialogue", "dialog", "text", "line", "lines", "subtitle", "name", "description",
          "cue text", "caption", "words", "title"}},
        {"notes",
         {"notes", "note", "comment", "comments", "character", "char", "actor", "role", "take",
          "takes", "reason", "remarks", "memo", "speaker", "info"}},
    };
    return names;
}

bool readsAsTime(const QString& value, int tctype) {
    return listtime::read(value, tctype).has_value();
}

// Columns in which most non-empty values of the first records are times.
QList<int> timeColumns(const delimited::Table& table, int from, int tctype) {
    QList<int> columns;
    const int last = std::min(int(table.records.size()), from + 20);
    for (int c = 0; c < table.width(); ++c) {
        int filled = 0;
        int times = 0;
        for (int r = from; r < last; ++r) {
            const QString value = table.records[r].value(c);
            filled += value.isEmpty() ? 0 : 1;
            times += readsAsTime(value, tctype) ? 1 : 0;
        }
        if (times > 0 && times * 2 >= filled)
            columns << c;
    }
    return columns;
}

// Header names: true when at least one is known.
bool mapHeader(const QStringList& names, delimited::ColumnMapping& m) {
    bool known = false;
    for (int c = 0; c < names.size(); ++c) {
        const QString field = delimited::fieldForName(names[c]);
        int* slot = field == QLatin1String("id")     ? &m.id
                    : field == QLatin1String("in")   ? &m.in
                    : field == QLatin1String("out")  ? &m.out
                    : field == QLatin1String("text") ? &m.text
                                                     : nullptr;
        if (slot && *slot < 0)
            *slot = c;
        else if (field == QLatin1String("notes"))
            m.notes << c;
        known = known || !field.isEmpty();
    }
    return known;
}

// Without names: identifier left of the in time, text after the times, any
// other column with words in it as notes.
void guessFromValues(const delimited::Table& table, const QList<int>& times,
                     delimited::ColumnMapping& m) {
    const int from = m.header ? 1 : 0;
    auto used = [&](int c) {
        return c == m.in || c == m.out || c == m.id || c == m.text || times.contains(c);
    };
    auto filled = [&](int c) {
        for (int r = from; r < table.records.size() && r < from + 20; ++r) {
            if (!table.records[r].value(c).isEmpty())
                return true;
        }
        return false;
    };
    if (m.in > 0 && !used(0))
        m.id = 0;
    for (int c = std::max(m.in, m.out) + 1; c < table.width() && m.text < 0; ++c) {
        if (!used(c) && filled(c))
            m.text = c;
    }
    for (int c = 0; c < table.width(); ++c) {
        if (!used(c) && filled(c))
            m.notes << c;
    }
}

QString csvField(const QString& value) {
    QString clean = sheettext::cleanCell(value);
    const bool quote = clean.contains(u',') || clean.contains(u'"') || clean.contains(u';') ||
                       (!clean.isEmpty() && (clean.front().isSpace() || clean.back().isSpace()));
    if (!quote)
        return clean;
    clean.replace(QLatin1String("\""), QLatin1String("\"\""));
    return u'"' + clean + u'"';
}

QString csvTime(const QString& stored) {
    const QString shown = TCFormatter::stringForObjectValue(stored);
    return shown == QLatin1String("---") ? QString() : shown;
}

} // namespace

namespace delimited {

int Table::width() const {
    qsizetype width = 0;
    for (const QStringList& record : records)
        width = std::max(width, record.size());
    return int(width);
}

QChar detectDelimiter(const QString& text) {
    const QChar candidates[] = {u'\t', u';', u','};
    QChar best = u',';
    double bestFields = 1;
    for (QChar delimiter : candidates) {
        const Table sample = parse(text, delimiter, 20);
        if (sample.records.isEmpty())
            continue;
        const qsizetype fields = sample.records.first().size();
        const auto same = std::count_if(sample.records.begin(), sample.records.end(),
                                        [&](const QStringList& r) { return r.size() == fields; });
        if (fields >= 2 && same * 5 >= sample.records.size() * 4)
            return delimiter;
        if (double(fields) > bestFields) {
            bestFields = double(fields);
            best = delimiter;
        }
    }
    return best;
}

Table parse(const QString& text, std::optional<QChar> delimiter, int maxRecords) {
    Table table;
    table.delimiter = delimiter ? *delimiter : detectDelimiter(text);
    RecordParser parser(table, table.delimiter);
    qsizetype i = text.startsWith(QChar(0xFEFF)) ? 1 : 0;
    for (; i < text.size(); ++i) {
        if (!parser.feed(text, i, maxRecords))
            return table;
    }
    parser.finish();
    return table;
}

QString fieldForName(const QString& name) {
    QString key = name.toLower();
    for (QChar& c : key) {
        if (c == u'_' || c == u'-' || c == u'.' || c == u':' || c == u'/' || c == u'(' || c == u')')
            c = u' ';
    }
    key = key.simplified();
    for (const NamedField& known : knownNames()) {
        if (known.names.contains(key))
            return QLatin1String(known.field);
    }
    return QString();
}

ColumnMapping guessMapping(const Table& table, int tctype) {
    ColumnMapping m;
    if (table.records.isEmpty())
        return m;
    const QStringList& first = table.records.first();
    const bool firstHasTime = std::any_of(first.begin(), first.end(),
                                          [&](const QString& v) { return readsAsTime(v, tctype); });
    bool named = false;
    if (!firstHasTime) {
        named = mapHeader(first, m);
        m.header = named || table.records.size() > 1;
    }
    const QList<int> times = timeColumns(table, m.header ? 1 : 0, tctype);
    if (m.in < 0 && !times.isEmpty())
        m.in = times.first();
    if (m.out < 0 && !named && times.size() > 1)
        m.out = times[1];
    if (!named)
        guessFromValues(table, times, m);
    return m;
}

std::optional<ColumnMapping> parseMapSpec(const QString& spec, QString* error) {
    ColumnMapping m;
    auto fail = [&](const QString& why) -> std::optional<ColumnMapping> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    for (const QString& part : spec.split(u',', Qt::SkipEmptyParts)) {
        const qsizetype eq = part.indexOf(u'=');
        const QString field = part.left(eq).trimmed().toLower();
        QList<int> columns;
        for (const QString& number : part.mid(eq + 1).split(u'+')) {
            bool ok = false;
            const int column = number.trimmed().toInt(&ok);
            if (eq < 0 || !ok || column < 1)
                return fail(QObject::tr("'%1' is not FIELD=COLUMN (columns from 1)").arg(part));
            columns << column - 1;
        }
        int* slot = field == QLatin1String("id")     ? &m.id
                    : field == QLatin1String("in")   ? &m.in
                    : field == QLatin1String("out")  ? &m.out
                    : field == QLatin1String("text") ? &m.text
                                                     : nullptr;
        if (field == QLatin1String("notes"))
            m.notes << columns;
        else if (!slot || columns.size() != 1)
            return fail(QObject::tr("'%1': the fields are id, in, out, text and notes "
                                    "(only notes takes several columns)")
                            .arg(part));
        else
            *slot = columns.first();
    }
    if (m.in < 0)
        return fail(QObject::tr("the map names no in column"));
    return m;
}

QString mapSpec(const ColumnMapping& m) {
    QStringList parts;
    const std::pair<const char*, int> single[] = {
        {"id", m.id}, {"in", m.in}, {"out", m.out}, {"text", m.text}};
    for (const auto& [name, column] : single) {
        if (column >= 0)
            parts << QStringLiteral("%1=%2").arg(QLatin1String(name)).arg(column + 1);
    }
    QStringList notes;
    for (int column : m.notes)
        notes << QString::number(column + 1);
    if (!notes.isEmpty())
        parts << QStringLiteral("notes=") + notes.join(u'+');
    return parts.join(u',');
}

listtime::ListRows rowsFromTable(const Table& table, const ColumnMapping& m, int tctype) {
    listtime::ListRows read;
    read.rows.reserve(table.records.size());
    for (qsizetype r = m.header ? 1 : 0; r < table.records.size(); ++r) {
        const QStringList& record = table.records[r];
        auto cell = [&](int column) { return column >= 0 ? record.value(column) : QString(); };
        if (std::all_of(record.begin(), record.end(),
                        [](const QString& v) { return v.trimmed().isEmpty(); }))
            continue;
        const std::optional<QString> in = listtime::read(cell(m.in), tctype);
        if (!in) {
            ++read.skipped;
            continue;
        }
        CueItem item = CueItem::blank();
        item.cueIn = *in;
        if (const QString out = cell(m.out); !out.trimmed().isEmpty()) {
            if (const std::optional<QString> time = listtime::read(out, tctype))
                item.cueOut = *time;
            else
                ++read.outsDropped;
        }
        item.cueId = sheettext::cleanCell(cell(m.id));
        item.cueText = sheettext::cleanCell(cell(m.text));
        QStringList notes;
        for (int column : m.notes) {
            if (const QString value = cell(column); !value.trimmed().isEmpty())
                notes << sheettext::cleanCell(value);
        }
        item.cueNotes = notes.join(QStringLiteral(" / "));
        read.rows.append(item);
    }
    return read;
}

QByteArray csvForRows(const QList<CueItem>& rows) {
    QString text = QStringLiteral("\uFEFFCue,In,Out,Text,Notes\r\n");
    for (const CueItem& item : rows) {
        QString id = sheettext::cleanCell(item.cueId);
        while (id.endsWith(u' '))
            id.chop(1);
        text += csvField(id) + u',' + csvTime(item.cueIn) + u',' + csvTime(item.cueOut) + u',' +
                csvField(item.cueText) + u',' + csvField(item.cueNotes) + QLatin1String("\r\n");
    }
    return text.toUtf8();
}

} // namespace delimited
