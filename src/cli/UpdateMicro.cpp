// qz62ctl update micro: the microcontroller program over the serial port,
// with the unit's settings read back first, as the Update menu does it.
#include "UpdateCommon.h"
#include "UpdateTerminal.h"

#include "link/ComThread.h"
#include "protocol/MsgClass.h"
#include "update/MicroUpdateThread.h"

#include <QElapsedTimer>
#include <optional>

namespace {

using cli::updatecmd::UpdateOptions;
using updateplan::Route;

// How long the unit may take with each reply while its settings are read.
constexpr int kSettingsWaitMs = 3000;

// Reads the unit's settings from the link's replies: "k", then each row it
// reports; notes the echo of "A 1" that follows them.
class SettingsListener final : public LinkListener {
public:
    explicit SettingsListener(ComThread& link) : m_link(link) { lastReply.start(); }
    void threadHasMsg(MsgClass chunk) override {
        for (const QString& line : m_buffer.drain(chunk)) {
            if (line.isEmpty())
                continue;
            lastReply.restart();
            sawA1 = sawA1 || line == QLatin1String("A 1");
            for (const QString& command : reader.takeReply(line))
                m_link.sendString(command);
        }
    }
    void threadLinkLost(const QString& reason) override { lost = reason; }

    SettingsAreaReader reader;
    QElapsedTimer lastReply;
    bool sawA1 = false;
    QString lost;

private:
    ComThread& m_link;
    MsgClass m_buffer;
};

UpdateCheck openUnit(ComThread& link, const UpdateOptions& o) {
    link.setPort(o.port);
    if (link.openUsbSerial() == 0)
        return {};
    UpdateCheck check = updateplan::checkRoute(Route::Serial, false, false);
    if (!link.lastOpenError().isEmpty())
        check.message = link.lastOpenError() + QStringLiteral(". ") + check.message;
    return check;
}

// "k", the rows, then "A 1" once they are all in, as the Update menu does.
UpdateCheck readSettings(ComThread& link, SettingsListener& listener) {
    link.startThread(&listener);
    link.sendString(SettingsAreaReader::startCommand());
    listener.lastReply.restart();
    cli::waitUntil(
        [&] {
            return listener.reader.finished() || !listener.lost.isEmpty() ||
                   listener.lastReply.elapsed() > kSettingsWaitMs;
        },
        -1);
    UpdateCheck check = updateplan::checkSettings(listener.reader);
    if (check.ok()) {
        link.sendString(QStringLiteral("A 1"));
        cli::waitUntil([&] { return listener.sawA1 || !listener.lost.isEmpty(); }, kSettingsWaitMs);
    }
    link.stopThread();
    if (!listener.lost.isEmpty())
        return {UpdateStatus::LinkLost,
                QStringLiteral("The port went away (%1). Nothing was sent.").arg(listener.lost)};
    return check;
}

class EngineOwner final : public UpdateListener {
public:
    void threadHasProgress(const Progress& progress) override { show.show(progress); }
    void threadUpdateComplete(const Progress& progress) override { end = progress; }
    cli::ProgressShow show;
    std::optional<Progress> end;
};

// The engine on the port the link lends it; Ctrl-C is its Abort.
Progress runEngine(ComThread& link, UpdateEngine& engine) {
    EngineOwner owner;
    const cli::InterruptGuard interrupt;
    TransportLoan loan = link.lendTransport();
    engine.setTransport(loan.port());
    if (!loan || engine.startThread(&owner) != 0)
        return {QStringLiteral("The serial port is not open. Nothing was sent."), 0,
                UpdateStatus::NoUnit};
    bool stopping = false;
    cli::waitUntil(
        [&] {
            if (interrupt.interrupted() && !stopping) {
                stopping = true;
                engine.requestAbort();
            }
            return owner.end.has_value();
        },
        -1);
    engine.stopThread();
    engine.setTransport(nullptr);
    if (owner.end->status == UpdateStatus::Success)
        owner.show.complete(owner.end->msg);
    owner.show.finish();
    return *owner.end; // the port goes back to the link at 38400 baud
}

} // namespace

namespace cli::updatecmd {

int updateMicro(const UpdateOptions& o) {
    QStringList lines;
    QByteArray loader;
    UpdateCheck check = updateplan::readMicroFile(o.file, &lines);
    if (check.ok())
        check = updateplan::readLoader(&loader);
    ComThread link;
    if (check.ok())
        check = openUnit(link, o);
    SettingsListener listener(link);
    if (check.ok())
        check = readSettings(link, listener);
    if (!check.ok())
        return refused(check);
    if (!o.yes && !cli::confirm(eraseQuestion(listener.reader.summary())))
        return report(UpdateStatus::Declined, QStringLiteral("not confirmed: nothing was sent"));
    const MicroImage image = prepareMicroImage(lines, listener.reader.area());
    MicroUpdateThread engine;
    engine.setSRecArray(image.records);
    engine.setLoader(loader);
    return finished(runEngine(link, engine));
}

} // namespace cli::updatecmd
