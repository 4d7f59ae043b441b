// Delimited lists (CSV, semicolons, tabs) as spreadsheets and other programs
// write them. Whatever the text, the guessed columns must give rows whose
// CSV export reads back as the same rows, and a map parsed from any text
// must write back as a map that parses to the same columns.
#include "FuzzSupport.h"

#include "cues/DelimitedText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    const QString text = fuzzsupport::text(data, size);
    const int tctype = size > 0 ? data[0] % 4 : 3;

    const delimited::Table table = delimited::parse(text);
    const delimited::ColumnMapping guess = delimited::guessMapping(table, tctype);
    const listtime::ListRows read = delimited::rowsFromTable(table, guess, tctype);
    fuzzsupport::check(read.rows.size() + read.skipped <= table.records.size(),
                       "more rows than records");

    const delimited::Table again =
        delimited::parse(QString::fromUtf8(delimited::csvForRows(read.rows)));
    const listtime::ListRows back =
        delimited::rowsFromTable(again, delimited::guessMapping(again, tctype), tctype);
    fuzzsupport::check(back.rows.size() == read.rows.size(), "CSV export reads back other rows");
    for (qsizetype i = 0; i < read.rows.size() && i < back.rows.size(); ++i) {
        const CueItem& a = read.rows[i];
        const CueItem& b = back.rows[i];
        fuzzsupport::check(a.getCueIn() == b.getCueIn() && a.getCueOut() == b.getCueOut() &&
                               a.cueText == b.cueText && a.cueNotes == b.cueNotes &&
                               a.cueId.trimmed() == b.cueId,
                           "CSV export reads back a row changed");
    }

    if (const auto map = delimited::parseMapSpec(text))
        fuzzsupport::check(delimited::parseMapSpec(delimited::mapSpec(*map)) == map,
                           "map spec does not write back");
    return 0;
}
