// The unit's reply stream, cut by the receive buffer as the panel cuts it and
// handed to the reply parser with a receiver for every editor, a command
// sink and a cue sheet attached: any reply, well formed or not, may only set
// settings, never crash. The same lines go to the reader of the unit's
// settings area, which may only ever ask for rows of the area, once each,
// and to the network update's progress, which stays within 0 to 100.
#include "FuzzSupport.h"

#include "cues/CueSheet.h"
#include "panel/StatusParser.h"
#include "protocol/CommandSink.h"
#include "protocol/MsgClass.h"
#include "protocol/ReplyReceivers.h"
#include "update/NetworkProgress.h"
#include "update/SettingsAreaReader.h"

namespace {

// Each receiver reads the line the way an editor does: fields from index 2.
class Receivers final : public StreamerReceiver,
                        public PunchReceiver,
                        public AnnunciatorReceiver,
                        public CueDocumentTarget,
                        public CommandSink {
public:
    explicit Receivers(CueSheet& sheet) : m_sheet(sheet) {}

    void fromString(const QString& line) override { take(line); }
    double offset() const override { return m_fields * 0.02; }
    int streamerDuration() const override { return m_fields; }
    void tcFromString(const QString& line) override { take(line); }
    void comFromString(const QString& line) override { take(line); }
    void annunciatorColorsFromString(const QString& line) override { take(line); }
    void windowFromArray(const QList<int>& numbers) override { m_fields += int(numbers.size()); }
    void pointsFromArray(const QList<int>& numbers) override { m_fields += int(numbers.size()); }
    void forgetReported() override { m_fields = 0; }

    void setOffset(double seconds) override { m_sheet.setOffset(seconds); }
    void setStepperStreamerDuration(int fiftieths) override {
        m_sheet.setStepperStreamerDuration(fiftieths);
    }

    void sendString(const QString& command) override { m_sent += int(command.size()); }
    void sendBytes(const QByteArray& bytes) override { m_sent += int(bytes.size()); }
    void sendTimingBytes(const QByteArray& bytes) override { m_sent += int(bytes.size()); }
    int txCount() const override { return m_sent % 300; }

private:
    void take(const QString& line) {
        m_fields = int(line.mid(2).split(QLatin1Char(' '), Qt::SkipEmptyParts).size());
    }

    CueSheet& m_sheet;
    int m_fields = 0;
    int m_sent = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzzsupport::quietProcess();
    CueSheet sheet;
    Receivers receivers(sheet);
    StatusParser parser;
    parser.setCommandSink(&receivers);
    parser.setStreamerReceiver(&receivers);
    parser.setPunchReceiver(&receivers);
    parser.setAnnunciatorReceiver(&receivers);
    parser.setCueDocument(&receivers);
    parser.setFMax(3);
    parser.setProgressMaxCount(40);

    MsgClass stream;
    MsgClass chunk;
    chunk.txBytes(reinterpret_cast<const char*>(data), int(size));
    // The stream's end: a last line without CR LF is still read.
    chunk.txBytes("\r\n", 2);
    SettingsAreaReader settings;
    NetworkProgress network(40);
    QStringList asked;
    for (const QString& line : stream.drain(chunk)) {
        parser.processRxString(line);
        parser.tickProgress();
        asked += settings.takeReply(line);
        network.takeReply(line);
        const int percent = network.progress().percent;
        fuzzsupport::check(percent >= 0 && percent <= 100, "network progress out of range");
    }
    fuzzsupport::check(asked.size() <= int(SettingsArea::kMaxBytes) / SettingsArea::kRowBytes &&
                           asked.removeDuplicates() == 0,
                       "settings rows asked for beyond the area or twice");
    fuzzsupport::check(settings.area().bytes.size() == int(SettingsArea::kMaxBytes),
                       "settings area changed size");
    fuzzsupport::check(settings.done() == settings.problem().isEmpty(),
                       "settings done and refused at once");
    return 0;
}
