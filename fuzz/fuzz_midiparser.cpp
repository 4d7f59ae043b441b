// The studio's MIDI byte stream: channel messages with running status, time
// code quarter frames and full frames, system exclusive of any length, HUI
// pings and controllers. Any bytes are parsed without reading past the
// message buffer, the only answer ever sent is the ping answer, and every
// timecode step goes through the cue sheet's firing rule.
#include "FuzzSupport.h"

#include "cues/CueSheet.h"
#include "midi/MidiParser.h"

namespace {

const char* const kSheet = ";tctype\t3\n"
                           "1M1\t00:00:00:02\t---\tfirst\t\n"
                           "1M2\t01:00:10:00\t---\tsecond\t\n"
                           "1M3\t23:59:59:29\t---\tlast\t\n";

class Steps final : public MidiParser::Listener {
public:
    Steps() { m_sheet.cueTableFromString(QString::fromLatin1(kSheet)); }
    void mtcEvent(const MidiParser::Mtc& mtc) override {
        m_sheet.mtcEvent(QByteArray(reinterpret_cast<const char*>(mtc.data()), 4));
    }
    void showTcDigits(const MidiParser::Mtc& mtc) override { mtcframe::format(mtc); }
    void txMidi(const QByteArray& bytes) override {
        fuzzsupport::check(bytes == MidiParser::pingResponse(), "sent something but a ping answer");
    }

private:
    CueSheet m_sheet;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    if (size == 0)
        return 0;
    Steps steps;
    MidiParser parser(&steps);
    // The first byte picks the drop-frame counting and how the stream is cut
    // into deliveries (the MIDI system hands over packets of any size).
    parser.setExactDropFrame(data[0] & 1);
    const std::size_t chunk = 1 + (data[0] >> 1);
    for (std::size_t at = 1; at < size; at += chunk)
        parser.decodeData(data + at, std::min(chunk, size - at));
    for (int i = 0; i < 8; ++i)
        mtcframe::format(parser.mtc());
    return 0;
}
