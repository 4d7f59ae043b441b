// Cue sheet text (header lines and rows), pasted cue lists and the plain text
// of EdiCue sheets, as users bring them from other tools. Whatever a text
// gives, the sheet saved from it must be a sheet in every line and load back
// with the same header and the same rows field by field, and saving that
// again must give the same bytes. Sorting and the in/out list must cope with
// whatever rows the import gave.
#include "FuzzSupport.h"

#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"
#include "cues/CueSheetText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    const QString text = fuzzsupport::text(data, size);

    CueSheet sheet;
    sheet.cueTableFromString(text);
    const QString saved = sheet.stringFromCueTable();
    CueSheet reread;
    const sheettext::Reading reading = reread.cueTableFromString(saved);
    fuzzsupport::check(reading.isSheet() && reading.otherRows == 0,
                       "saved sheet has lines not in the sheet's form");
    fuzzsupport::check(reread.settings() == sheet.settings(),
                       "saved sheet loads back with other header values");
    fuzzsupport::check(reread.count() == sheet.count(), "saved sheet loads back with other rows");
    for (int i = 0; i < sheet.count() && i < reread.count(); ++i)
        fuzzsupport::check(sheettext::lineForRow(sheet.rows().at(i)) ==
                               sheettext::lineForRow(reread.rows().at(i)),
                           "saved row loads back differently");
    fuzzsupport::check(reread.stringFromCueTable() == saved, "save, open, save gives other bytes");

    sheet.OnSort();
    sheet.onTxInOuts();
    sheet.dataOfType();

    CueSheet pasted;
    pasted.paste(text);
    CueListImporter(pasted).ediCueToCueTable(text);
    pasted.OnSort();
    return 0;
}
