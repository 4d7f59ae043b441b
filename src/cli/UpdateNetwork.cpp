// qz62ctl update firmware|fonts: an image through the unit's network proxy.
// " u 0" and the text go out as the Update menu sends them; the unit reports
// the records it has written ("u n") and ends with "u 0".
#include "UpdateCommon.h"
#include "UpdateTerminal.h"

#include "link/NetworkLink.h"
#include "update/NetworkProgress.h"
#include "update/UpdateEngine.h"
#include "update/UpdateFiles.h"

#include <QElapsedTimer>
#include <memory>
#include <optional>

namespace {

using cli::updatecmd::UpdateOptions;
using updateplan::Route;
using State = NetworkLink::State;

constexpr int kDiscoveryMs = 3000;
constexpr int kConnectMs = 5000;

// Connects to the proxy given, or to the first one service discovery finds.
UpdateCheck connectProxy(NetworkLink& network, const UpdateOptions& o) {
    const bool discover = o.host.isEmpty();
    if (discover)
        network.startBrowsing(std::make_unique<ServiceBrowser>());
    else
        network.connectToHost(o.host, o.hostPort);
    if (discover)
        cli::waitUntil([&] { return network.state() != State::Searching; }, kDiscoveryMs);
    cli::waitUntil(
        [&] {
            const State s = network.state();
            return s == State::Connected || s == State::Lost || s == State::Unavailable ||
                   s == State::Searching;
        },
        kConnectMs);
    if (network.state() == State::Connected)
        return {};
    QString why = network.stateDetail();
    if (network.state() == State::Searching)
        why = QStringLiteral("service discovery found none within %1 s").arg(kDiscoveryMs / 1000);
    else if (network.state() == State::Unavailable)
        why = QStringLiteral("service discovery is not available here (%1)").arg(why);
    UpdateCheck check = updateplan::checkRoute(Route::Network, false, false);
    check.message = QStringLiteral("No network proxy: %1; give its address with --host "
                                   "HOST:PORT. Nothing was sent.")
                        .arg(why);
    return check;
}

// Sends the text and follows the unit's reports until "u 0", a lost
// connection, timeoutS seconds without a report, or Ctrl-C.
Progress runNetworkUpdate(NetworkLink& network, const QString& text, int timeoutS) {
    cli::ProgressShow show;
    const cli::InterruptGuard interrupt;
    std::optional<Progress> end;
    const QObject context; // the connections below end with this function
    const int lines = updateplan::sendOverNetwork(network, text);
    NetworkProgress reports(lines);
    QElapsedTimer sinceReport;
    sinceReport.start();
    QObject::connect(&network, &NetworkLink::hasString, &context, [&](const QString& received) {
        for (const QString& line : received.split(QLatin1Char('\n'))) {
            if (end || !reports.takeReply(line))
                continue;
            sinceReport.restart();
            show.show(reports.progress());
            if (reports.ended())
                end = Progress{QStringLiteral("success: the unit restarts; wait for its reset "
                                              "to finish"),
                               100, UpdateStatus::Success};
        }
    });
    QObject::connect(&network, &NetworkLink::stateChanged, &context,
                     [&](State state, const QString& detail) {
                         if (state == State::Lost && !end)
                             end = Progress{QStringLiteral("The connection to the network proxy "
                                                           "went away (%1).")
                                                .arg(detail),
                                            0, UpdateStatus::LinkLost};
                     });
    if (lines < 0)
        end = Progress{QStringLiteral("The connection to the network proxy closed."), 0,
                       UpdateStatus::LinkLost};
    cli::waitUntil(
        [&] {
            if (!end && interrupt.interrupted())
                end = UpdateEngine::abortedEnd();
            if (!end && sinceReport.elapsed() > qint64(timeoutS) * 1000)
                end = Progress{
                    QStringLiteral("The unit reported no progress for %1 s.").arg(timeoutS), 0,
                    UpdateStatus::NoProgress};
            return end.has_value();
        },
        -1);
    show.finish();
    network.closeStreams();
    return *end;
}

} // namespace

namespace cli::updatecmd {

int updateNetwork(const UpdateOptions& o) {
    const bool fonts = o.kind == QLatin1String("fonts");
    QString text;
    UpdateCheck check =
        o.file.isEmpty()
            ? updateplan::readUnitImage(QString::fromLatin1(fonts ? updatefiles::kFontsResource
                                                                  : updatefiles::kFirmwareResource),
                                        &text)
            : updateplan::readImageFile(o.file, &text);
    NetworkLink network;
    if (check.ok())
        check = connectProxy(network, o);
    if (!check.ok())
        return refused(check);
    if (!o.yes && !cli::confirm(eraseQuestion(QString())))
        return report(UpdateStatus::Declined, QStringLiteral("not confirmed: nothing was sent"));
    // A firmware file of the user's goes out as from the Update Firmware… item.
    if (!fonts && !o.file.isEmpty())
        network.sendStringToNetwork(QStringLiteral("A 1"));
    return finished(runNetworkUpdate(network, text, o.timeoutS));
}

} // namespace cli::updatecmd
