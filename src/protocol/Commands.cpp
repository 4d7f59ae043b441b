#include "protocol/Commands.h"

#include <QStringList>
#include <initializer_list>
#include <variant>

namespace cmd {
namespace {

// Every command the program sends, with its exact form. "%d" is a signed
// decimal, "%x" lower-case hexadecimal without prefix (negative values as
// their 32-bit two's complement, as the unit reads them), "%s" a text sent as
// it is, "%c" the command letter of a query.
enum class Id {
    Query,
    IdentifyProbe,
    UpdateStart,
    GeneratorOff,
    Ping,
    ResetFlash,
    StreamerFields,
    StateQuery,
    StateRead,
    WindowQuery,
    InOutStart,
    NetworkUpdateStart,
    ClearText,
    SampleText,
    SampleCounter,
    ClearCounter,
    Rate,
    Streamer,
    Punch,
    BarsAndGray,
    Masking,
    DelayTrim,
    SdiGenerator,
    HdmiTimingExtended,
    HdmiTimingNormal,
    Bypass,
    Annunciator,
    PopEnables,
    ColorSpace,
    InOut,
    TcDisplay,
    CounterDisplay,
    Window,
    CueText,
    AnnunciatorColors,
};

struct Entry {
    Id id;
    const char* format;
};

// The command table.
constexpr Entry kTable[] = {
    {Id::Query, "%c"},
    {Id::IdentifyProbe, "B\r\n"},
    {Id::UpdateStart, "A 1"},
    {Id::GeneratorOff, "M 15"},
    {Id::Ping, "ping"},
    {Id::ResetFlash, "w 1"},
    {Id::StreamerFields, "l"},
    {Id::StateQuery, "k"},
    {Id::StateRead, "j %x"},
    {Id::WindowQuery, "r %d"},
    {Id::InOutStart, "h 0"},
    {Id::NetworkUpdateStart, " u 0\n"},
    {Id::ClearText, "V"},
    {Id::SampleText, "V Sample Text"},
    {Id::SampleCounter, "V2 Protools counter"},
    {Id::ClearCounter, "V2 "},
    {Id::Rate, "A %x"},
    {Id::Streamer, "C %x %x %x %x %x %x %x %x"},
    {Id::Punch, "E %x %x %x %x %x %x %x %x"},
    {Id::BarsAndGray, "G %d"},
    {Id::Masking, "H %d %d %d %d %d"},
    {Id::DelayTrim, "J %d"},
    {Id::SdiGenerator, "M %d"},
    {Id::HdmiTimingExtended, "N 1"},
    {Id::HdmiTimingNormal, "N 0"},
    {Id::Bypass, "Q %d"},
    {Id::Annunciator, "U %d"},
    {Id::PopEnables, "X %d"},
    {Id::ColorSpace, "Y %d"},
    {Id::InOut, "f %s %s"},
    {Id::TcDisplay, "m %d"},
    {Id::CounterDisplay, "n %d"},
    {Id::Window, "r %d %d %d %d %d"},
    {Id::CueText, "s %s"},
    {Id::AnnunciatorColors, "t %x %x %x"},
};

using Arg = std::variant<long long, QString, char>;

const char* formatOf(Id id) {
    for (const Entry& e : kTable)
        if (e.id == id)
            return e.format;
    return "";
}

// Fills the command's format with the arguments, in order.
QString build(Id id, std::initializer_list<Arg> args) {
    const char* format = formatOf(id);
    QString out;
    auto next = args.begin();
    for (const char* p = format; *p; ++p) {
        if (*p != '%' || !p[1]) {
            out += QLatin1Char(*p);
            continue;
        }
        const char conversion = *++p;
        if (next == args.end()) { // a table mistake; keep the format visible
            out += QLatin1Char('%');
            out += QLatin1Char(conversion);
            continue;
        }
        const Arg& arg = *next++;
        switch (conversion) {
        case 'd':
            out += QString::number(std::get<long long>(arg));
            break;
        case 'x':
            out += QString::number(quint32(std::get<long long>(arg)), 16);
            break;
        case 's':
            out += std::get<QString>(arg);
            break;
        case 'c':
            out += QLatin1Char(std::get<char>(arg));
            break;
        default:
            out += QLatin1Char('%');
            out += QLatin1Char(conversion);
        }
    }
    return out;
}

template <std::size_t N>
QString build8(Id id, const std::array<unsigned, N>& f) {
    static_assert(N == 8);
    return build(id, {(long long)f[0], (long long)f[1], (long long)f[2], (long long)f[3],
                      (long long)f[4], (long long)f[5], (long long)f[6], (long long)f[7]});
}

} // namespace

QString query(char letter) {
    return build(Id::Query, {letter});
}
QString identifyProbe() {
    return build(Id::IdentifyProbe, {});
}
QString updateStart() {
    return build(Id::UpdateStart, {});
}
QString generatorOff() {
    return build(Id::GeneratorOff, {});
}
QString ping() {
    return build(Id::Ping, {});
}
QString resetFlash() {
    return build(Id::ResetFlash, {});
}
QString streamerFields() {
    return build(Id::StreamerFields, {});
}
QString stateQuery() {
    return build(Id::StateQuery, {});
}
QString stateRead(unsigned address) {
    return build(Id::StateRead, {(long long)address});
}
QString windowQuery(int window) {
    return build(Id::WindowQuery, {(long long)window});
}
QString inOutStart() {
    return build(Id::InOutStart, {});
}
QString networkUpdateStart() {
    return build(Id::NetworkUpdateStart, {});
}
QString clearText() {
    return build(Id::ClearText, {});
}
QString sampleText() {
    return build(Id::SampleText, {});
}
QString sampleCounter() {
    return build(Id::SampleCounter, {});
}
QString clearCounter() {
    return build(Id::ClearCounter, {});
}

QString rate(int flags) {
    return build(Id::Rate, {(long long)flags});
}
QString streamer(const std::array<unsigned, 8>& fields) {
    return build8(Id::Streamer, fields);
}
QString punch(const std::array<unsigned, 8>& fields) {
    return build8(Id::Punch, fields);
}
QString barsAndGray(int bits) {
    return build(Id::BarsAndGray, {(long long)bits});
}
QString masking(int top, int bottom, int left, int right, int transparency) {
    return build(Id::Masking, {(long long)top, (long long)bottom, (long long)left, (long long)right,
                               (long long)transparency});
}
QString delayTrim(int steps) {
    return build(Id::DelayTrim, {(long long)steps});
}
QString sdiGenerator(int standard) {
    return build(Id::SdiGenerator, {(long long)standard});
}
QString hdmiTiming(bool extended) {
    return build(extended ? Id::HdmiTimingExtended : Id::HdmiTimingNormal, {});
}
QString bypass(int on) {
    return build(Id::Bypass, {(long long)on});
}
QString annunciator(int mode) {
    return build(Id::Annunciator, {(long long)mode});
}
QString popEnables(int bits) {
    return build(Id::PopEnables, {(long long)bits});
}
QString colorSpace(int row) {
    return build(Id::ColorSpace, {(long long)row});
}
QString inOut(const QString& in, const QString& out) {
    return build(Id::InOut, {in, out});
}
QString tcDisplay(int mode) {
    return build(Id::TcDisplay, {(long long)mode});
}
QString counterDisplay(int mode) {
    return build(Id::CounterDisplay, {(long long)mode});
}
QString window(int w, int a, int b, int c, int d) {
    return build(Id::Window,
                 {(long long)w, (long long)a, (long long)b, (long long)c, (long long)d});
}
QString cueText(const QString& text) {
    return build(Id::CueText, {text});
}
QString annunciatorColors(unsigned a, unsigned b, unsigned c) {
    return build(Id::AnnunciatorColors, {(long long)a, (long long)b, (long long)c});
}

std::optional<Reply> recogniseReply(QStringView raw) {
    QStringView line = raw.trimmed();
    while (!line.isEmpty() && line.front() == QLatin1Char('>'))
        line = line.mid(1);
    while (!line.isEmpty() && line.back() == QLatin1Char('>'))
        line.chop(1);
    if (line.isEmpty() || line.front() == QLatin1Char('#'))
        return std::nullopt;
    if (line.size() > 1 && line.at(1) != QLatin1Char(' '))
        return std::nullopt;
    Reply reply;
    reply.letter = line.front().toLatin1();
    reply.line = line.toString();
    return reply;
}

} // namespace cmd
