#include "protocol/Replies.h"

#include "protocol/ReplyScanner.h"

namespace reply {
namespace {

using R = Receiver;
using F = Fields;

constexpr Entry kTable[] = {
    {'B', R::Echo, F::None, false},
    {'V', R::Echo, F::None, false},
    {'s', R::Echo, F::None, false},
    {'w', R::Echo, F::None, false},
    {'A', R::Panel, F::Hex, true},
    {'G', R::Panel, F::Hex, true},
    {'H', R::Panel, F::Decimal5, true},
    {'J', R::Panel, F::Decimal, true},
    {'M', R::Panel, F::Decimal, true},
    {'Q', R::Panel, F::Decimal, true},
    {'X', R::Panel, F::Decimal, true},
    // The unit reports the colour space in hexadecimal.
    {'Y', R::Panel, F::Hex, true},
    {'C', R::Streamer, F::Line, false},
    {'E', R::Punch, F::Line, false},
    {'U', R::Annunciator, F::Line, false},
    {'m', R::Annunciator, F::Line, false},
    {'n', R::Annunciator, F::Line, false},
    {'t', R::Annunciator, F::Line, false},
    {'r', R::Annunciator, F::DecimalList, true},
    {'z', R::Annunciator, F::DecimalList, true},
    {'f', R::Progress, F::None, false},
    {'h', R::Progress, F::Hex, true},
    {'u', R::Progress, F::Decimal, true},
    {'j', R::StateMemory, F::Line, true},
    {'k', R::StateMemory, F::Line, true},
    {'S', R::Session, F::None, false},
};

} // namespace

const Entry* find(char letter) {
    for (const Entry& e : kTable)
        if (e.letter == letter)
            return &e;
    return nullptr;
}

Parsed parse(const Entry& entry, const QString& line) {
    Parsed parsed;
    parsed.entry = &entry;
    parsed.line = line;
    ReplyScanner scan(line);
    switch (entry.fields) {
    case F::None:
    case F::Line:
        break;
    case F::Hex: {
        unsigned v = 0;
        scan.scanHexInt(v);
        parsed.numbers << int(v);
        break;
    }
    case F::Decimal: {
        int v = 0;
        scan.scanInt(v);
        parsed.numbers << v;
        break;
    }
    case F::Decimal5: {
        int v = 0;
        for (int i = 0; i < 5; ++i) {
            scan.scanInt(v);
            parsed.numbers << v;
        }
        break;
    }
    case F::DecimalList:
        parsed.numbers = scan.scanAllInts();
        break;
    }
    return parsed;
}

} // namespace reply
