// MIDI files users open to inspect, and system-exclusive messages from the
// unit: the reader logs whatever it finds and never reads outside the file.
#include "FuzzSupport.h"

#include "midi/MidiTrack.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    MidiTrack track;
    qsizetype logged = 0;
    track.setLogSink([&logged](const QByteArray& text) { logged += text.size(); });
    const QByteArray file = fuzzsupport::bytes(data, size);
    track.importMidi(file);
    if (file.startsWith(char(0xF0)))
        track.decodeSysexData(file.mid(1));
    return 0;
}
