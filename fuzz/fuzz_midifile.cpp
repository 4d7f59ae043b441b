// MIDI files users open to inspect or import, and system-exclusive messages
// from the unit: the reader logs whatever it finds and never reads outside
// the file, and every cue it finds becomes a row with a valid in time.
#include "FuzzSupport.h"

#include "cues/CueMidiExport.h"
#include "midi/MidiFileReader.h"
#include "timecode/TcCalculator.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    MidiFileReader reader;
    qsizetype logged = 0;
    reader.setLogSink([&logged](const QByteArray& text) { logged += text.size(); });
    const QByteArray file = fuzzsupport::bytes(data, size);
    reader.importMidi(file);
    if (const auto read = cuemidi::rowsFromCues(reader.fileCues(), CueSheetSettings())) {
        fuzzsupport::check(read->rows.size() == reader.fileCues().cues.size(), "a cue was lost");
        for (const CueItem& row : read->rows)
            fuzzsupport::check(TcCalculator().isTc(row.cueIn), "imported in time not a timecode");
    }
    if (file.startsWith(char(0xF0)))
        reader.decodeSysexData(file.mid(1));
    return 0;
}
