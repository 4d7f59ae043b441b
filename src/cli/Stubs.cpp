// Weak fall-backs: a subcommand whose own file is not part of the build
// answers with an error. The real definitions replace these at link time.
#include "CliCommands.h"

#define QZ62_WEAK __attribute__((weak))

namespace cli {
QZ62_WEAK int probe(const QStringList&) {
    return fail(QStringLiteral("probe: not available"));
}
QZ62_WEAK int send(const QStringList&) {
    return fail(QStringLiteral("send: not available"));
}
QZ62_WEAK int import(const QStringList&) {
    return fail(QStringLiteral("import: not available"));
}
QZ62_WEAK int tc(const QStringList&) {
    return fail(QStringLiteral("tc: not available"));
}
QZ62_WEAK int exportMidi(const QStringList&) {
    return fail(QStringLiteral("export-midi: not available"));
}
QZ62_WEAK int dumpMidi(const QStringList&) {
    return fail(QStringLiteral("dump-midi: not available"));
}
QZ62_WEAK int srec(const QStringList&) {
    return fail(QStringLiteral("srec: not available"));
}
} // namespace cli
