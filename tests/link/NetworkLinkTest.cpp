// The network link against the simulated unit's TCP side and against peers
// that misbehave, with the control panel's controller (no widgets) as the
// receiver of what arrives.
#include "link/NetworkLink.h"
#include "link/ComThread.h"
#include "link/ServiceDiscovery.h"
#include "panel/InhibitPing.h"
#include "panel/PanelController.h"
#include "sim/SimNetworkUpdate.h"
#include "sim/SimulatedUnit.h"
#include "support/PanelTestSupport.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <functional>

using testsupport::waitFor;

namespace {

constexpr int kWaitMs = 10000;
const QString kEndAlert =
    QStringLiteral("close the GUI, wait for QZ62A reset to finish, restart GUI");

// The panel's controller without a serial unit: every command goes to the
// network link or nowhere.
struct Panel {
    Panel() {
        controller.setExplicitPort(QStringLiteral("/nonexistent/qz62-port"));
        controller.setTickIntervalMs(3600 * 1000);
        controller.setPrompts(&alerts);
        controller.startUp();
        controller.setNetworkLink(&link);
        QObject::connect(&controller, &PanelController::rxLine,
                         [this](const QString& line) { lines << line; });
    }
    ~Panel() { controller.setNetworkLink(nullptr); }
    bool connected() {
        return waitFor([this] { return link.state() == NetworkLink::State::Connected; }, kWaitMs);
    }
    bool lost() {
        return waitFor([this] { return link.state() == NetworkLink::State::Lost; }, kWaitMs);
    }

    RecordingPrompts alerts;
    NetworkLink link;
    PanelController controller;
    QStringList lines;
};

} // namespace

TEST(NetworkLink, CarriesCommandsRepliesAndUpdateProgressToTheSimulatedUnit) {
    SimulatedUnit sim;
    const quint16 port = sim.listenTcp();
    ASSERT_NE(port, 0);
    ASSERT_TRUE(sim.start());
    Panel panel;
    EXPECT_EQ(panel.link.sendStringToNetwork("X 1"), -1) << "no stream yet: serial's turn";

    panel.link.connectToHost(QStringLiteral("127.0.0.1"), port);
    // Before the stream has opened a command is taken but goes nowhere.
    EXPECT_EQ(panel.link.sendStringToNetwork("X 30"), 0);
    ASSERT_TRUE(panel.connected());
    EXPECT_EQ(panel.controller.windowTitle().section('-', -1), QString("127.0.0.1:%1").arg(port));

    // On opening, the panel reads every setting over the network, and the
    // replies reach the parser.
    ASSERT_TRUE(waitFor([&] { return panel.lines.contains("t 70 70 70"); }, kWaitMs));
    EXPECT_EQ(withoutPings(sim.commandLines()), kInitCommands);
    EXPECT_EQ(panel.controller.parser().memory().firmwareVersion, "3.32.6");

    // The panel's commands take the network path (no serial port exists).
    panel.controller.comThread()->sendString(QStringLiteral("X 24"));
    ASSERT_TRUE(waitFor([&] { return sim.setting("X") == "24"; }, kWaitMs));

    // An update: " u 0" and the text; the unit's "u n" replies move the
    // progress bar, and its final "u 0" ends the update with the alert.
    const int records = 1000;
    panel.controller.parser().setProgressMaxCount(records + 1);
    inhibitPing.store(true);
    int highest = 0;
    QObject::connect(&panel.controller.parser(), &StatusParser::changed, [&] {
        highest = std::max(highest, panel.controller.parser().progress().value);
    });
    EXPECT_EQ(panel.link.sendStringToNetwork(QStringLiteral(" u 0")), 0);
    EXPECT_EQ(panel.link.sendStringToNetwork(SimNetworkUpdate::sampleImage(records)), 0);
    ASSERT_TRUE(waitFor([&] { return panel.alerts.shown.contains(kEndAlert); }, kWaitMs));
    EXPECT_EQ(sim.networkUpdatesDone(), 1);
    EXPECT_EQ(sim.networkUpdateRecords(), records + 1);
    EXPECT_EQ(highest, 100);
    EXPECT_FALSE(panel.controller.parser().progress().visible);
    EXPECT_FALSE(inhibitPing.load());
    EXPECT_FALSE(sim.commandLines().contains("X 30"));

    // A second client beside the first, then the first reconnects: each gets
    // its own answers.
    Panel other;
    other.link.connectToHost(QStringLiteral("127.0.0.1"), port);
    ASSERT_TRUE(other.connected());
    ASSERT_TRUE(waitFor([&] { return other.lines.contains("X 24"); }, kWaitMs));
    panel.lines.clear();
    panel.link.connectToHost(QStringLiteral("127.0.0.1"), port);
    ASSERT_TRUE(panel.connected());
    ASSERT_TRUE(waitFor([&] { return panel.lines.contains("t 70 70 70"); }, kWaitMs));
}

// Peers that send what no proxy should: the link must drop what does not
// decode, bound what it holds, keep going afterwards, and show the loss when
// the peer goes.
TEST(NetworkLink, BadPeersNeitherCrashNorHangAndShowAsLost) {
    struct Case {
        const char* name;
        std::function<void(QTcpSocket&, NetworkLink&)> send;
        QStringList expected;  // lines the parser must see
        QStringList forbidden; // lines it must not see
    };
    const QByteArray flood(4 * 1024 * 1024, 'A');
    const QList<Case> cases = {
        {"invalid UTF-8 read is dropped, the next line goes through",
         [](QTcpSocket& peer, NetworkLink& link) {
             peer.write("X 3\r\n\xff\xfe\xc3(\r\n");
             peer.flush();
             waitFor([&] { return link.droppedReads() > 0; }, kWaitMs);
             peer.write("X 5\r\n>");
         },
         {"X 5"},
         {"X 3"}},
        {"lines ended by LF alone are replies",
         [](QTcpSocket& peer, NetworkLink&) { peer.write("X 13\nQ 1\r\n>S\n"); },
         {"X 13", "Q 1", "S"},
         {}},
        {"a line cut off by the close is not a reply",
         [](QTcpSocket& peer, NetworkLink&) { peer.write("Q 1\r\nX 7"); },
         {"Q 1"},
         {"X 7", "X"}},
        {"a flood without line ends is bounded, the stream resynchronises",
         [&flood](QTcpSocket& peer, NetworkLink&) {
             peer.write(flood);
             peer.write("\r\nX 9\r\n");
         },
         {"X 9"},
         {}},
        {"a flood of lines is all parsed",
         [](QTcpSocket& peer, NetworkLink&) {
             QByteArray many;
             for (int i = 0; i < 20000; ++i)
                 many += "J " + QByteArray::number(i % 2) + "\r\n";
             peer.write(many + "X 11\r\n");
         },
         {"X 11"},
         {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        QTcpServer server;
        ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
        Panel panel;
        panel.link.connectToHost(QStringLiteral("127.0.0.1"), server.serverPort());
        ASSERT_TRUE(waitFor([&] { return server.hasPendingConnections(); }, kWaitMs));
        QTcpSocket* peer = server.nextPendingConnection();
        ASSERT_TRUE(panel.connected());
        c.send(*peer, panel.link);
        for (const QString& line : c.expected)
            EXPECT_TRUE(waitFor([&] { return panel.lines.contains(line); }, kWaitMs))
                << line.toStdString();
        peer->disconnectFromHost();
        ASSERT_TRUE(panel.lost());
        for (const QString& line : c.forbidden)
            EXPECT_FALSE(panel.lines.contains(line)) << line.toStdString();
        // Closed: sends go back to the serial link.
        EXPECT_EQ(panel.link.sendStringToNetwork("X"), -1);
        EXPECT_TRUE(panel.link.stateDetail().contains("127.0.0.1"));
    }
}

namespace {
// Service discovery as the test plays it.
struct FakeDiscovery : ServiceDiscovery {
    bool startBrowsing() override { return true; }
    QString error() const override { return QString(); }
    void announce(const NetService& service) { emit serviceFound(service); }
};
} // namespace

// Several units on a facility's network: the one used last is connected as
// soon as it is found, a lone one once discovery has settled; with several
// and none used before, none until the user chooses, and the choice is
// remembered.
TEST(NetworkLink, ConnectsOnlyTheUnitUsedLastOrTheOnlyOne) {
    QTcpServer a;
    QTcpServer b;
    ASSERT_TRUE(a.listen(QHostAddress::LocalHost) && b.listen(QHostAddress::LocalHost));
    auto service = [&](const char* name) {
        NetService s;
        s.name = QString::fromLatin1(name);
        s.type = QString::fromLatin1(ServiceDiscovery::kServiceType);
        s.domain = QString::fromLatin1(ServiceDiscovery::kDomain);
        s.host = QStringLiteral("127.0.0.1");
        s.port = (s.name == "B" ? b : a).serverPort();
        return s;
    };
    const struct {
        const char* name;
        const char* preferred;
        std::vector<const char*> found;
        int settleMs;
        const char* connected; // empty: the user is asked to choose
    } cases[] = {
        {"the only one, once settled", "", {"A"}, 50, "A"},
        {"the only one, though another was used last", "C", {"A"}, 50, "A"},
        {"several, none used before", "", {"A", "B"}, 50, ""},
        {"the one used last, at once", "B", {"A", "B"}, 600000, "B"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        NetworkLink link;
        link.setSettleMs(c.settleMs);
        link.setPreferredService(QString::fromLatin1(c.preferred));
        QStringList remembered;
        QObject::connect(&link, &NetworkLink::serviceConnected,
                         [&](const QString& name) { remembered << name; });
        auto discovery = std::make_unique<FakeDiscovery>();
        FakeDiscovery* fake = discovery.get();
        link.startBrowsing(std::move(discovery));
        for (const char* name : c.found)
            fake->announce(service(name));
        if (*c.connected == 0) {
            ASSERT_TRUE(
                waitFor([&] { return link.state() == NetworkLink::State::Choose; }, kWaitMs));
            EXPECT_EQ(link.selectedRow(), -1);
            link.serviceTableClickedAction(1);
        }
        const QString expected = QString::fromLatin1(*c.connected ? c.connected : c.found[1]);
        ASSERT_TRUE(
            waitFor([&] { return link.state() == NetworkLink::State::Connected; }, kWaitMs));
        EXPECT_EQ(link.currentService().name, expected);
        EXPECT_EQ(remembered, QStringList{expected});
    }
}
