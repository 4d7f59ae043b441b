#include "update/NetworkProgress.h"

#include "update/UpdatePlan.h"

#include <QStringList>

bool NetworkProgress::takeReply(const QString& line) {
    const QStringList fields = line.simplified().split(QLatin1Char(' '));
    bool ok = false;
    const int count = fields.value(1).toInt(&ok);
    if (fields.size() != 2 || fields.first() != QLatin1String("u") || !ok)
        return false;
    if (count > 0)
        m_count = count;
    else if (m_count > 0)
        m_ended = true;
    return true;
}

Progress NetworkProgress::progress() const {
    if (m_ended)
        return {QStringLiteral("the unit has written every line"), 100};
    const int percent = qMin(updateplan::networkPercent(m_count, m_lines), 100);
    return {QStringLiteral("the unit has written %1 of %2 lines").arg(m_count).arg(m_lines),
            percent};
}
