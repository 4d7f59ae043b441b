// MIDI files users open to inspect, and system-exclusive messages from the
// unit: the reader logs whatever it finds and never reads outside the file.
#include "FuzzSupport.h"

#include "midi/MidiFileReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    MidiFileReader reader;
    qsizetype logged = 0;
    reader.setLogSink([&logged](const QByteArray& text) { logged += text.size(); });
    const QByteArray file = fuzzsupport::bytes(data, size);
    reader.importMidi(file);
    if (file.startsWith(char(0xF0)))
        reader.decodeSysexData(file.mid(1));
    return 0;
}
