#include "cues/CueText.h"

#include "protocol/Coding78.h"

namespace cuetext {

QString withoutLeadingSymbols(const QString& text) {
    qsizetype begin = 0;
    while (begin < text.size() && text.at(begin).unicode() > 0xF000)
        ++begin;
    return text.mid(begin);
}

QString build(const CueItem& item, bool includeId, bool includeText) {
    QString text;
    if (includeId) {
        text = withoutLeadingSymbols(item.cueId).trimmed();
        if (includeText)
            text += QLatin1String("\\n");
    }
    if (includeText)
        text += withoutLeadingSymbols(item.cueText).trimmed();
    return text;
}

QString quotedCharacters(const QString& characters) {
    QStringList each;
    for (qsizetype i = 0; i < characters.size(); ++i) {
        const qsizetype length = characters[i].isHighSurrogate() ? 2 : 1;
        each << QStringLiteral("\u201c%1\u201d").arg(characters.mid(i, length));
        i += length - 1;
    }
    return each.join(QLatin1String(", "));
}

QString substitutionNote(const QList<CueItem>& rows, bool includeId, bool includeText) {
    int cues = 0;
    QString missing;
    for (const CueItem& row : rows) {
        const QString characters =
            coding78::unshowableCharacters(build(row, includeId, includeText));
        cues += characters.isEmpty() ? 0 : 1;
        missing += characters;
    }
    if (cues == 0)
        return QString();
    return QStringLiteral("%1 characters the unit cannot show (%2): it gets \u201c?\u201d for each")
        .arg(cues == 1 ? QStringLiteral("1 cue has") : QStringLiteral("%1 cues have").arg(cues),
             quotedCharacters(coding78::unshowableCharacters(missing)));
}

QString substitutionNote(const CueItem& row, bool includeId, bool includeText) {
    const QString missing = coding78::unshowableCharacters(build(row, includeId, includeText));
    if (missing.isEmpty())
        return QString();
    const QString id = row.cueId.trimmed();
    return QStringLiteral("Cue %1: the unit cannot show %2 and shows \u201c?\u201d instead")
        .arg(id.isEmpty() ? row.getCueIn() : id, quotedCharacters(missing));
}

} // namespace cuetext
