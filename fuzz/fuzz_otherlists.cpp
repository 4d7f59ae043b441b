// SubRip subtitles, session marker lists and the times of other programs'
// lists. Every row read must hold an in time the sheet shows as a timecode,
// and a time read must read again as itself.
#include "FuzzSupport.h"

#include "cues/OtherLists.h"
#include "timecode/TcCalculator.h"

namespace {
void checkRows(const listtime::ListRows& read) {
    const TcCalculator tcc;
    for (const CueItem& row : read.rows) {
        fuzzsupport::check(tcc.isTc(row.getCueIn()), "row without an in time");
        fuzzsupport::check(row.cueOut.isEmpty() || tcc.isTc(row.getCueOut()), "bad out time");
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    const QString text = fuzzsupport::text(data, size);
    const int tctype = size > 0 ? data[0] % 4 : 3;
    checkRows(otherlists::readSubRip(text, tctype));
    if (otherlists::hasMarkerList(text))
        checkRows(otherlists::readMarkerList(text, tctype));
    for (const QString& line : text.split(u'\n')) {
        if (const std::optional<QString> time = listtime::read(line, tctype))
            fuzzsupport::check(listtime::read(*time, tctype) == time, "time does not read back");
    }
    return 0;
}
