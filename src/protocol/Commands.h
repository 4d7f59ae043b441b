#pragma once

#include <QString>
#include <QStringView>
#include <array>
#include <optional>

// The unit's command protocol. Every command string the program sends is
// built here, from the one table in Commands.cpp; no other code formats a
// command by hand. Numbers are "%d" decimal or "%x" lower-case hexadecimal
// without prefix, as each command's format says. A letter alone is a query.
namespace cmd {

// --- queries and fixed commands ---
QString query(char letter);          // "A", "B", "C", ... the letter alone
QString identifyProbe();             // "B\r\n", written raw during the port search
QString updateStart();               // "A 1"
QString generatorOff();              // "M 15"
QString ping();                      // "ping"
QString resetFlash();                // "w 1"
QString streamerFields();            // "l"
QString stateQuery();                // "k"
QString stateRead(unsigned address); // "j fc00"
QString windowQuery(int window);     // "r 0" .. "r 3"
QString inOutStart();                // "h 0"
QString networkUpdateStart();        // " u 0\n"
QString clearText();                 // "V"
QString sampleText();                // "V Sample Text"
QString sampleCounter();             // "V2 Protools counter"
QString clearCounter();              // "V2 "

// --- settings ---
QString rate(int flags);                                 // "A %x"
QString streamer(const std::array<unsigned, 8>& fields); // "C %x %x %x %x %x %x %x %x"
QString punch(const std::array<unsigned, 8>& fields);    // "E %x %x %x %x %x %x %x %x"
QString barsAndGray(int bits);                           // "G %d"
QString masking(int top, int bottom, int left, int right, int transparency); // "H %d %d %d %d %d"
QString delayTrim(int steps);                                                // "J %d"
QString sdiGenerator(int standard);                                          // "M %d"
QString hdmiTiming(bool extended);                                           // "N 1" / "N 0"
QString bypass(int on);                                                      // "Q %d"
QString annunciator(int mode);                                               // "U %d"
QString popEnables(int bits);                                                // "X %d"
QString colorSpace(int row);                                                 // "Y %d"
QString inOut(const QString& in, const QString& out);                        // "f %s %s"
QString tcDisplay(int mode);                                                 // "m %d"
QString counterDisplay(int mode);                                            // "n %d"
QString window(int w, int a, int b, int c, int d);                           // "r %d %d %d %d %d"
QString cueText(const QString& text);                                        // "s %s"
QString annunciatorColors(unsigned a, unsigned b, unsigned c);               // "t %x %x %x"

// --- replies ---
// A reply line as the unit sends it, after trimming white space and ">" from
// both ends. Empty lines, "#" comments and lines whose second character is not
// a blank give nothing.
struct Reply {
    char letter = 0;
    QString line; // the whole trimmed line, letter included
};
std::optional<Reply> recogniseReply(QStringView raw);

} // namespace cmd
