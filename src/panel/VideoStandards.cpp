#include "panel/VideoStandards.h"

namespace videostandards {

const QStringList& names() {
    static const QStringList kNames = {
        QStringLiteral("SMPTE_260M_1035i_30_Hz"),
        QStringLiteral("SMPTE_295M_1080i_25_Hz"),
        QStringLiteral("SMPTE_274M_1080i_or_1080sF_30_Hz"),
        QStringLiteral("SMPTE_274M_1080i_or_1080sF_25_Hz"),
        QStringLiteral("SMPTE_274M_1080p_30_Hz"),
        QStringLiteral("SMPTE_274M_1080p_25_Hz"),
        QStringLiteral("SMPTE_274M_1080p_24_Hz"),
        QStringLiteral("SMPTE_296M_720p_60_Hz"),
        QStringLiteral("SMPTE_274M_1080sF_24_Hz"),
        QStringLiteral("SMPTE_296M_720p_50_Hz"),
        QStringLiteral("SMPTE_296M_720p_30_Hz"),
        QStringLiteral("SMPTE_296M_720p_25_Hz"),
        QStringLiteral("SMPTE_296M_720p_24_Hz"),
        QStringLiteral("SMPTE_259M_480i_30_Hz"),
        QStringLiteral("SMPTE_259M_480i_25_Hz"),
        QStringLiteral("GENERATOR_OFF"),
    };
    return kNames;
}

QString displayName(int index) {
    if (index < 0 || index >= kCount)
        return QString();
    if (index == kGeneratorOff)
        return QStringLiteral("Generator off");
    // "SMPTE_274M_1080i_or_1080sF_25_Hz" -> "1080i / 1080sF 25 Hz (SMPTE 274M)"
    const QStringList parts = names().at(index).split(QLatin1Char('_'));
    if (parts.size() < 4)
        return names().at(index);
    const QString standard = parts.at(0) + QLatin1Char(' ') + parts.at(1);
    QStringList format = parts.mid(2, parts.size() - 4);
    format.replaceInStrings(QStringLiteral("or"), QStringLiteral("/"));
    const QString rate = parts.at(parts.size() - 2) + QLatin1Char(' ') + parts.last();
    return QStringLiteral("%1 %2 (%3)").arg(format.join(QLatin1Char(' ')), rate, standard);
}

} // namespace videostandards
