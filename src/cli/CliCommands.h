#pragma once

#include <QStringList>

// Each qz62ctl subcommand gets the arguments after its name and returns the
// process exit status: 0 done, 1 a negative answer (unit not found), 2 a bad
// argument or an unusable file or port (a one-line error on stderr). update
// has more, one per way an update can fail (its usage lists them).
namespace cli {
int probe(const QStringList& args);      // LinkCommands.cpp
int send(const QStringList& args);       // LinkCommands.cpp
int import(const QStringList& args);     // CueCommands.cpp
int tc(const QStringList& args);         // CueCommands.cpp
int exportMidi(const QStringList& args); // MidiCommands.cpp
int dumpMidi(const QStringList& args);   // MidiCommands.cpp
int srec(const QStringList& args);       // SRecCommands.cpp
int update(const QStringList& args);     // UpdateCommon.cpp
int midiPorts(const QStringList& args);  // MtcCommands.cpp
int mtc(const QStringList& args);        // MtcCommands.cpp

// The help of a command (the empty name: qz62ctl's own), or nullptr for an
// unknown one. CliHelp.cpp.
const char* usageOf(const QString& command);

// "qz62ctl: <message>" on stderr, returns 2.
int fail(const QString& message);
} // namespace cli
