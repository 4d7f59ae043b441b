#include "timecode/TCFormatter.h"

#include <QMetaType>

namespace {
QString lastEightDigits(const QString& text) {
    QString digits;
    digits.reserve(text.size());
    for (const QChar c : text) {
        if (c.isDigit())
            digits.append(c);
    }
    return (QStringLiteral("00000000") + digits).right(8);
}
} // namespace

namespace TCFormatter {

QString stringForObjectValue(const QString& value) {
    const QString digits = lastEightDigits(value);
    if (digits == QLatin1String("00000000"))
        return QStringLiteral("---");
    return QStringLiteral("%1:%2:%3:%4")
        .arg(digits.mid(0, 2), digits.mid(2, 2), digits.mid(4, 2), digits.mid(6, 2));
}

QString stringForObjectValue(const QVariant& value) {
    if (value.metaType().id() != QMetaType::QString)
        return QString();
    return stringForObjectValue(value.toString());
}

QString objectValueForString(const QString& typed) {
    return lastEightDigits(typed);
}

} // namespace TCFormatter
