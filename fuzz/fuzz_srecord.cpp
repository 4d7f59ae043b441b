// S-record lines and whole update files. A line the reader accepts must come
// back the same from the record it gives (type, address, bytes), and the
// update image built from any file must be a list of good S1 records inside
// the sent range, closed by the end record.
#include "FuzzSupport.h"

#include "update/SRecord.h"

namespace {

// True when the line is a data record the update image takes.
bool checkLine(const QString& line) {
    SRecord record;
    if (line.startsWith(QLatin1Char('j'))) {
        record.fromJString(line);
        SRecord again;
        fuzzsupport::check(again.parse(record.sRec()) == SRecord::ParseResult::Ok,
                           "memory dump record does not read back");
        return false;
    }
    if (record.parse(line) != SRecord::ParseResult::Ok) {
        fuzzsupport::check(record.count() == 0, "refused line left bytes behind");
        return false;
    }
    SRecord built;
    built.encode(record.buffer(), record.recType(), record.address(), record.count());
    SRecord reread;
    fuzzsupport::check(reread.parse(built.sRec()) == SRecord::ParseResult::Ok,
                       "rebuilt record refused");
    fuzzsupport::check(reread.recType() == record.recType() &&
                           reread.address() == record.address() &&
                           reread.buffer() == record.buffer(),
                       "rebuilt record differs");
    return record.recType() == 1 && record.count() > 0;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    const QStringList lines = fuzzsupport::text(data, size).split(QLatin1Char('\n'));
    bool anyData = false;
    for (const QString& line : lines)
        anyData |= checkLine(line.trimmed());
    // Building the image costs 2,048 records: only when there is data for it.
    if (!anyData)
        return 0;

    const QStringList records = SRecord::updateImage(lines);
    fuzzsupport::check(!records.isEmpty() && records.last() == QLatin1String(SRecord::kEndRecord),
                       "update list not closed by the end record");
    SRecord record;
    for (qsizetype i = 0; i + 1 < records.size(); ++i) {
        fuzzsupport::check(record.parse(records.at(i)) == SRecord::ParseResult::Ok &&
                               record.recType() == 1 &&
                               record.address() >= SRecord::kFirstSentAddress &&
                               record.count() == std::uint32_t(SRecord::kBytesPerRecord),
                           "update record malformed");
    }
    return 0;
}
