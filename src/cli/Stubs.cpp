// Subcommands not built yet answer with an error until their file replaces
// the stub here.
#include "CliCommands.h"

namespace cli {
int probe(const QStringList&) { return fail(QStringLiteral("probe: not available")); }
int send(const QStringList&) { return fail(QStringLiteral("send: not available")); }
int import(const QStringList&) { return fail(QStringLiteral("import: not available")); }
int tc(const QStringList&) { return fail(QStringLiteral("tc: not available")); }
int exportMidi(const QStringList&) { return fail(QStringLiteral("export-midi: not available")); }
int dumpMidi(const QStringList&) { return fail(QStringLiteral("dump-midi: not available")); }
int srec(const QStringList&) { return fail(QStringLiteral("srec: not available")); }
} // namespace cli
