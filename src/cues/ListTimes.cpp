#include "cues/ListTimes.h"

#include "timecode/TcCalculator.h"

#include <QObject>

namespace {

// Digits at `pos`, at least `min` and at most `max` of them; -1 when fewer.
int digitsAt(const QString& text, qsizetype& pos, int min, int max) {
    int value = 0;
    int count = 0;
    while (pos < text.size() && count < max && text[pos] >= u'0' && text[pos] <= u'9') {
        value = value * 10 + (text[pos].unicode() - u'0');
        ++pos;
        ++count;
    }
    return count >= min ? value : -1;
}

struct Fields {
    int hours = 0, minutes = 0, seconds = 0;
    int frames = 0;
    int millis = -1; // given as milliseconds instead of frames
    QChar separator = u':';
};

std::optional<Fields> fieldsOf(const QString& text) {
    Fields f;
    qsizetype pos = 0;
    f.hours = digitsAt(text, pos, 1, 2);
    if (f.hours < 0 || pos >= text.size() || text[pos++] != u':')
        return std::nullopt;
    f.minutes = digitsAt(text, pos, 2, 2);
    if (f.minutes < 0 || pos >= text.size() || text[pos++] != u':')
        return std::nullopt;
    f.seconds = digitsAt(text, pos, 2, 2);
    if (f.seconds < 0)
        return std::nullopt;
    if (pos < text.size()) {
        f.separator = text[pos++];
        const qsizetype start = pos;
        const int value = digitsAt(text, pos, 2, 3);
        if (value < 0 || pos != text.size())
            return std::nullopt;
        const bool decimal = f.separator == u'.' || f.separator == u',';
        if (pos - start == 3 && decimal)
            f.millis = value;
        else if (pos - start == 2 && (decimal || f.separator == u':' || f.separator == u';'))
            f.frames = value;
        else
            return std::nullopt;
        if (decimal && f.millis < 0)
            f.separator = u':';
    } else {
        f.millis = 0;
    }
    if (f.hours > 23 || f.minutes > 59 || f.seconds > 59 || f.frames > 29)
        return std::nullopt;
    return f;
}

// Milliseconds as the nearest frame, carried into the seconds (and on,
// round midnight) when they round up to a whole second.
void millisToFrames(Fields& f, int tctype) {
    const int rate = TcCalculator::frameRate(tctype);
    f.frames = (f.millis * rate + 500) / 1000;
    if (f.frames == rate) {
        f.frames = 0;
        const int total = (f.hours * 3600 + f.minutes * 60 + f.seconds + 1) % 86400;
        f.hours = total / 3600;
        f.minutes = total / 60 % 60;
        f.seconds = total % 60;
    }
    f.separator = tctype == 2 ? u';' : u':';
    if (tctype == 2) {
        // Frames 00 and 01 of a minute not divisible by ten have no label.
        if (f.seconds == 0 && f.minutes % 10 != 0 && f.frames < 2)
            f.frames = 2;
    }
}

} // namespace

namespace listtime {

std::optional<QString> read(const QString& text, int tctype) {
    std::optional<Fields> f = fieldsOf(text.trimmed());
    if (!f)
        return std::nullopt;
    if (f->millis >= 0)
        millisToFrames(*f, tctype);
    QString tc = TcCalculator::formatTc(f->hours, f->minutes, f->seconds, f->frames);
    tc[8] = f->separator;
    return tc;
}

QString problemsNote(const ListRows& read) {
    QStringList parts;
    if (read.skipped == 1)
        parts << QObject::tr("1 row skipped (its in time cannot be read)");
    else if (read.skipped > 1)
        parts << QObject::tr("%1 rows skipped (their in time cannot be read)").arg(read.skipped);
    if (read.outsDropped == 1)
        parts << QObject::tr("1 out time that cannot be read left empty");
    else if (read.outsDropped > 1)
        parts << QObject::tr("%1 out times that cannot be read left empty").arg(read.outsDropped);
    return parts.join(QStringLiteral("; "));
}

} // namespace listtime
