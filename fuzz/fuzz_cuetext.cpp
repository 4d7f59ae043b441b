// Cue sheet text (header lines and rows), pasted cue lists and the plain text
// of EdiCue sheets, as users bring them from other tools. A sheet read from
// text and saved must load back with the same header and, when every row
// reads back unambiguously, the same rows, times and texts. Not so when an in
// or out time of 00:00:00:00 is written "---", which reads as no time, and a
// later timecode in the text takes its place. Identifiers are not compared
// (the reader keeps what stands before the in time). Sorting and the in/out
// list must cope with whatever rows the import gave.
#include "FuzzSupport.h"

#include "cues/CueListImporter.h"
#include "cues/CueSheet.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    const QString text = fuzzsupport::text(data, size);

    CueSheet sheet;
    sheet.cueTableFromString(text);
    const QString saved = sheet.stringFromCueTable();
    CueSheet reread;
    reread.cueTableFromString(saved);
    fuzzsupport::check(reread.settings() == sheet.settings(),
                       "saved sheet loads back with other header values");
    const bool unambiguous =
        std::none_of(sheet.rows().begin(), sheet.rows().end(), [](const CueItem& row) {
            return row.getCueIn() == "---" ||
                   (row.getCueOut() == "---" &&
                    CueListImporter::containsTimecode(row.cueText + row.cueNotes));
        });
    fuzzsupport::check(!unambiguous || reread.count() == sheet.count(),
                       "saved sheet loads back with other rows");
    for (int i = 0; unambiguous && i < sheet.count(); ++i) {
        const CueItem& a = sheet.rows().at(i);
        const CueItem& b = reread.rows().at(i);
        fuzzsupport::check(a.getCueIn() == b.getCueIn() && a.getCueOut() == b.getCueOut() &&
                               a.cueText == b.cueText && a.cueNotes == b.cueNotes,
                           "saved row loads back differently");
    }

    sheet.OnSort();
    sheet.onTxInOuts();
    sheet.dataOfType();

    CueSheet pasted;
    pasted.paste(text);
    CueListImporter(pasted).ediCueToCueTable(text);
    pasted.OnSort();
    return 0;
}
