#include "base/BarsPalette.h"

namespace barspalette {

namespace {
struct Entry {
    const char* name;
    int red, green, blue;
};
constexpr Entry kEntries[kCount] = {
    {"white", 255, 255, 255}, {"yellow", 255, 255, 0}, {"cyan", 0, 255, 255}, {"green", 0, 255, 0},
    {"purple", 255, 0, 255},  {"red", 255, 0, 0},      {"blue", 0, 0, 255},   {"black", 0, 0, 0},
};
} // namespace

const QStringList& names() {
    static const QStringList kNames = [] {
        QStringList list;
        for (const Entry& e : kEntries)
            list << QString::fromLatin1(e.name);
        return list;
    }();
    return kNames;
}

QString name(int code) {
    return code >= 0 && code < kCount ? names().at(code) : QString();
}

QColor color(int code) {
    if (code < 0 || code >= kCount)
        return QColor();
    const Entry& e = kEntries[code];
    return QColor(e.red, e.green, e.blue);
}

int codeForName(const QString& name) {
    return int(names().indexOf(name));
}

int codeForColor(const QColor& color) {
    const QColor rgb = color.toRgb();
    int code = 0;
    if (rgb.blueF() < 0.5f)
        code |= 1;
    if (rgb.redF() < 0.5f)
        code |= 2;
    if (rgb.greenF() < 0.5f)
        code |= 4;
    return code;
}

} // namespace barspalette
