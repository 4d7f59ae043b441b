#include "cues/CueText.h"

namespace cuetext {

QString withoutLeadingSymbols(const QString& text) {
    qsizetype begin = 0;
    while (begin < text.size() && text.at(begin).unicode() > 0xF000)
        ++begin;
    return text.mid(begin);
}

QString build(const CueItem& item, bool includeId, bool includeText, bool trimBlanks) {
    auto clean = [trimBlanks](const QString& field) {
        const QString text = withoutLeadingSymbols(field);
        return trimBlanks ? text.trimmed() : text;
    };
    QString text;
    if (includeId) {
        text = clean(item.cueId);
        if (includeText)
            text += QLatin1String("\\n");
    }
    if (includeText)
        text += clean(item.cueText);
    return text;
}

} // namespace cuetext
