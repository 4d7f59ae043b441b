#include "link/ComThread.h"
#include "link/TcpTransport.h"
#include "protocol/Coding78.h"
#include "protocol/MidiMessages.h"
#include "sim/SimulatedUnit.h"
#include "support/LinkTestSupport.h"

#include <arpa/inet.h>
#include <chrono>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

using linktest::Receiver;
using linktest::waitFor;
using namespace std::chrono_literals;

namespace {

qint64 msBetween(const SimProtocol::Command& a, const SimProtocol::Command& b) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(b.time - a.time).count();
}

QStringList withoutProbes(const QStringList& lines) {
    QStringList rest;
    for (const QString& l : lines)
        if (l != QLatin1String("B"))
            rest << l;
    return rest;
}

// A unit on a pseudo-terminal and a link that has found it.
class LinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(sim.start());
        link.setDriverCheckEnabled(false);
        link.setPort(sim.ptyPath());
        ASSERT_EQ(linktest::openWithRetries(link), 0);
    }
    void startLink() {
        link.startThread(&receiver);
        ASSERT_TRUE(link.isRunning());
    }
    bool simReceived(const QString& line, int timeoutMs = 2000) {
        return waitFor([&] { return sim.commandLines().contains(line); }, timeoutMs);
    }

    // The owner outlives the link thread, the unit outlives the link.
    Receiver receiver;
    SimulatedUnit sim;
    ComThread link;
};

TEST_F(LinkTest, ExplicitPortIsIdentified) {
    EXPECT_GE(link.fd(), 0);
    EXPECT_EQ(link.com(), sim.ptyPath());
    EXPECT_EQ(link.getBaud(), 38400);
    EXPECT_EQ(sim.commandLines(), QStringList{QStringLiteral("B")}); // found on the first try
}

TEST_F(LinkTest, PollingExchangeWaitsForThePromptAndMissesLateAnswers) {
    const QString reply = link.sendStringPolling(QStringLiteral("B\r\n"));
    EXPECT_TRUE(reply.contains(QLatin1String("C190")));
    EXPECT_TRUE(reply.endsWith(QLatin1String("\r\n>")));

    sim.setReplyDelayMs(130);
    EXPECT_FALSE(link.sendStringPolling(QStringLiteral("B\r\n")).contains(QLatin1String("C190")));
    // The late answer is discarded before the next exchange.
    sim.setReplyDelayMs(0);
    ASSERT_TRUE(waitFor([&] { return link.bytesAvailable() > 0; }));
    EXPECT_EQ(link.sendStringPolling(QStringLiteral("X\r\n")), QStringLiteral("X\r\nX 12\r\n>"));
}

TEST_F(LinkTest, QueriesAreAnsweredOnTheMainThreadInOrder) {
    startLink();
    link.sendString(QStringLiteral("C"));
    link.sendString(QStringLiteral("H 1 2 3 4 5"));
    link.sendString(QStringLiteral("H"));
    ASSERT_TRUE(waitFor([&] { return receiver.lines.count(QStringLiteral("H 1 2 3 4 5")) == 2; }));
    EXPECT_EQ(receiver.lines,
              (QStringList{"C", "C 0 28 0 64 0 ff ff 0", "H 1 2 3 4 5", "H", "H 1 2 3 4 5"}));
    // Chunks are numbered from 1 in arrival order.
    ASSERT_FALSE(receiver.chunkLabels.isEmpty());
    for (qsizetype i = 0; i < receiver.chunkLabels.size(); ++i)
        EXPECT_EQ(receiver.chunkLabels[i], QString::number(i + 1));
    EXPECT_EQ(link.txCount(), 0);
}

TEST_F(LinkTest, CommandsGoOutFramedAndMidiRaw) {
    startLink();
    const QString longText = QStringLiteral("s ") + QString(298, QLatin1Char('x'));
    link.sendString(longText);
    link.sendMidiTrigger(midimsg::kAccumulateNote);
    const QByteArray body = QByteArray("\x20\x01", 2) + coding78::encode78("Cue 12");
    link.sendBytes(QByteArray(1, char(0xF0)) + body + QByteArray(1, char(0xF7)));
    link.sendString(QStringLiteral("s caf\u00e9"));
    ASSERT_TRUE(simReceived(QStringLiteral("s caf\u00e9")));
    EXPECT_EQ(withoutProbes(sim.commandLines()),
              (QStringList{longText.left(251), QStringLiteral("s caf\u00e9")}));
    ASSERT_EQ(sim.triggers().size(), 1);
    EXPECT_EQ(sim.triggers().first().note, midimsg::kAccumulateNote);
    EXPECT_EQ(sim.triggers().first().velocity, 0x40);
    EXPECT_EQ(sim.sysexTexts(), QStringList{QStringLiteral("Cue 12")});
}

TEST_F(LinkTest, NextCommandWaitsForTheReplyToStart) {
    struct Case {
        const char* name;
        bool silent;
        int delayMs;
        qint64 minGapMs;
        qint64 maxGapMs;
    };
    // The unit's clock stamps each command when it has fully arrived.
    const Case cases[] = {
        {"answer at once", false, 0, 0, 250},
        {"answer after 100 ms", false, 100, 95, 290},
        {"no answer: 300 ms", true, 0, 290, 1000},
    };
    startLink();
    for (const Case& c : cases) {
        sim.setSilent(c.silent);
        sim.setReplyDelayMs(c.delayMs);
        sim.clearRecord();
        receiver.lines.clear();
        link.sendString(QStringLiteral("X 1"));
        link.sendString(QStringLiteral("X 2"));
        ASSERT_TRUE(simReceived(QStringLiteral("X 2"))) << c.name;
        const auto commands = sim.commands();
        ASSERT_EQ(commands.size(), 2) << c.name;
        const qint64 gap = msBetween(commands[0], commands[1]);
        EXPECT_GE(gap, c.minGapMs) << c.name;
        EXPECT_LE(gap, c.maxGapMs) << c.name;
        // The replies of this case are in before the next one starts.
        if (!c.silent) {
            ASSERT_TRUE(waitFor([&] { return receiver.hasLine(QStringLiteral("X 2")); })) << c.name;
        }
    }
}

TEST_F(LinkTest, WithoutAThreadCommandsAreDroppedAndARestartQueuesAfresh) {
    link.sendString(QStringLiteral("X 0")); // before the first start
    link.sendMidiTrigger(120);
    EXPECT_EQ(link.txCount(), 0);
    sim.setSilent(true); // every command waits 300 ms, so the queue backs up
    startLink();
    for (int i = 1; i <= 5; ++i)
        link.sendString(QStringLiteral("X %1").arg(i));
    ASSERT_TRUE(simReceived(QStringLiteral("X 1")));
    link.stopThread();
    EXPECT_FALSE(link.isRunning());
    EXPECT_EQ(link.txCount(), 0);
    link.stopThread(); // no thread: nothing happens
    link.sendString(QStringLiteral("X 9"));
    link.sendMidiTrigger(121);
    sim.setSilent(false);
    startLink();
    link.sendString(QStringLiteral("Q 1"));
    ASSERT_TRUE(simReceived(QStringLiteral("Q 1")));
    EXPECT_EQ(withoutProbes(sim.commandLines()), (QStringList{"X 1", "Q 1"}));
    EXPECT_TRUE(sim.triggers().isEmpty());
}

TEST_F(LinkTest, NetworkLinkTakesCommandsFirst) {
    struct Network : NetworkSender {
        int answer = 0;
        QStringList strings;
        QList<QByteArray> bytes;
        int sendStringToNetwork(const QString& command) override {
            strings << command;
            return answer;
        }
        int sendBytesToNetwork(const QByteArray& data) override {
            bytes << data;
            return answer;
        }
        bool isOpen() const override { return answer >= 0; }
    } network;
    startLink();
    link.setNetworkSender(&network);
    link.sendString(QStringLiteral("X 1"));
    link.sendMidiTrigger(121);
    EXPECT_EQ(link.txCount(), 0);
    network.answer = -1; // not connected: serial
    link.sendString(QStringLiteral("X 2"));
    ASSERT_TRUE(simReceived(QStringLiteral("X 2")));
    link.setNetworkSender(nullptr);
    EXPECT_EQ(network.strings, (QStringList{"X 1", "X 2"}));
    EXPECT_EQ(network.bytes.size(), 1);
    EXPECT_EQ(withoutProbes(sim.commandLines()), QStringList{QStringLiteral("X 2")});
}

TEST_F(LinkTest, UnpluggedUnitStopsTheLinkWithoutSpinning) {
    startLink();
    link.sendString(QStringLiteral("C"));
    ASSERT_TRUE(waitFor([&] { return receiver.hasLine(QStringLiteral("C 0 28 0 64 0 ff ff 0")); }));
    sim.unplug();
    ASSERT_TRUE(waitFor([&] { return !receiver.lostReason.isEmpty(); }));
    EXPECT_FALSE(link.isRunning());
    EXPECT_EQ(link.fd(), -1);
    // A thread that spun on the dead port would have burnt its time here.
    EXPECT_LT(link.linkThreadCpuTime(), 50ms);
    link.sendString(QStringLiteral("X 1"));
    EXPECT_EQ(link.txCount(), 0);
    link.stopThread();
}

// As the application does when the adapter is pulled: drops the link at once,
// from inside the call that reports it.
class DroppingOwner final : public LinkListener {
public:
    std::unique_ptr<ComThread> link;
    bool told = false;
    void threadHasMsg(MsgClass) override {}
    void threadLinkLost(const QString&) override {
        told = true;
        link.reset();
    }
};

TEST(LinkOwner, MayDestroyTheLinkWhenToldItIsLost) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    DroppingOwner owner;
    owner.link = std::make_unique<ComThread>();
    owner.link->setPort(sim.ptyPath());
    ASSERT_EQ(linktest::openWithRetries(*owner.link), 0);
    owner.link->startThread(&owner);
    sim.unplug();
    ASSERT_TRUE(waitFor([&] { return owner.told; }));
    EXPECT_FALSE(owner.link);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

TEST_F(LinkTest, GarbageAndEndlessInputKeepMemoryBounded) {
    struct Case {
        const char* name;
        QByteArray garbage;
    };
    QByteArray binary(30000, 0);
    for (qsizetype i = 0; i < binary.size(); ++i)
        binary[i] = char((i * 131 + 7) & 0xff);
    const Case cases[] = {
        {"never-closed F0", QByteArray(1, char(0xF0)) + QByteArray(50000, 'z')},
        {"line without end", QByteArray(50000, 'y')},
        {"binary noise", binary},
        {"never-closed F0 with lines inside", QByteArray(1, char(0xF0)) + QByteArray(30000, 'z') +
                                                  "\r\nX 1\r\n" + QByteArray(20000, 'z') +
                                                  "\r\npart"},
    };
    startLink();
    for (const Case& c : cases) {
        receiver.lines.clear();
        sim.sendRaw(c.garbage);
        // A line end after the garbage resynchronises the stream; the next
        // answer then comes through.
        sim.sendRaw("\xF7\r\n");
        link.sendString(QStringLiteral("J"));
        ASSERT_TRUE(waitFor([&] { return receiver.hasLine(QStringLiteral("J 0")); }, 5000))
            << c.name;
        EXPECT_LE(receiver.maxHeldBytes, MsgClass::kMaxHeldBytes) << c.name;
    }
    EXPECT_TRUE(link.isRunning());
}

TEST_F(LinkTest, OwnerWithoutCallbacksIsSkipped) {
    link.startThread(nullptr); // no owner: chunks are reported and dropped
    link.sendString(QStringLiteral("Q 1"));
    ASSERT_TRUE(simReceived(QStringLiteral("Q 1")));
    EXPECT_TRUE(link.isRunning());
    link.stopThread();
}

// A cue's trigger and text overtake a command waiting for its reply; a Fire
// button's note waits its turn behind the command sent before it.
TEST_F(LinkTest, TimingBytesOvertakeAWaitingCommandOtherBytesDoNot) {
    startLink();
    sim.setReplyDelayMs(250);
    link.sendString(QStringLiteral("X 1"));
    ASSERT_TRUE(simReceived(QStringLiteral("X 1")));
    const auto sent = SimProtocol::Clock::now();
    link.sendTimingBytes(midimsg::trigger(124));
    link.sendTimingBytes(midimsg::textSysex(QStringLiteral("s Cue 7")));
    link.sendString(QStringLiteral("Q 1"));
    link.sendMidiTrigger(125);
    ASSERT_TRUE(waitFor([&] { return !sim.sysexTexts().isEmpty(); }));
    ASSERT_EQ(sim.triggers().size(), 1);
    // Well before the reply is due, and the frame after its trigger.
    EXPECT_LT(sim.triggers().first().time - sent, 100ms);
    EXPECT_EQ(sim.sysexTexts(), QStringList{QStringLiteral("s Cue 7")});
    EXPECT_FALSE(sim.commandLines().contains(QStringLiteral("Q 1")));
    ASSERT_TRUE(simReceived(QStringLiteral("Q 1")));
    const auto commands = sim.commands();
    EXPECT_GE(msBetween(commands[commands.size() - 2], commands.last()), 240);
    // The queued note follows "Q 1" once the unit has started answering it.
    ASSERT_TRUE(waitFor([&] { return sim.triggers().size() == 2; }));
    EXPECT_EQ(sim.triggers().last().note, 125);
    EXPECT_GE(sim.triggers().last().time - commands.last().time, 240ms);
}

TEST_F(LinkTest, LentPortComesBackAt38400AndTheLinkRunsAgain) {
    startLink();
    {
        TransportLoan loan = link.lendTransport();
        ASSERT_TRUE(loan);
        EXPECT_FALSE(link.isRunning());
        EXPECT_EQ(link.fd(), -1);
        link.sendString(QStringLiteral("X 3")); // the link is stopped: dropped
        loan.port()->setBaud(115200);
        EXPECT_TRUE(loan.port()->sendStringPolling(QStringLiteral("B\r\n")).contains("C190"));
    }
    EXPECT_TRUE(link.isRunning());
    EXPECT_EQ(link.getBaud(), 38400);
    link.sendString(QStringLiteral("X 4"));
    ASSERT_TRUE(simReceived(QStringLiteral("X 4")));
    EXPECT_FALSE(sim.commandLines().contains(QStringLiteral("X 3")));
}

TEST(LinkOverTcp, CarriesCommandsAndReplies) {
    SimulatedUnit sim;
    const quint16 port = sim.listenTcp();
    ASSERT_NE(port, 0);
    ASSERT_TRUE(sim.start());
    auto tcp = std::make_unique<TcpTransport>();
    ASSERT_TRUE(tcp->connectTo(QStringLiteral("127.0.0.1"), port)) << tcp->error().toStdString();
    Receiver receiver;
    ComThread link;
    link.useTransport(std::move(tcp), QStringLiteral("proxy"));
    link.startThread(&receiver);
    link.sendString(QStringLiteral("H 1 2 3 4 5"));
    EXPECT_TRUE(waitFor([&] { return receiver.hasLine(QStringLiteral("H 1 2 3 4 5")); }));
    sim.stop();
    EXPECT_TRUE(waitFor([&] { return !receiver.lostReason.isEmpty(); }));
    EXPECT_FALSE(link.isRunning());
}

// A TCP peer that reads only when told to: lets a write stall for real.
class SlowPeer {
public:
    SlowPeer() {
        m_listen = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        int small = 4096;
        ::setsockopt(m_listen, SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof a;
        ::bind(m_listen, reinterpret_cast<sockaddr*>(&a), len);
        ::listen(m_listen, 1);
        ::getsockname(m_listen, reinterpret_cast<sockaddr*>(&a), &len);
        port = ntohs(a.sin_port);
    }
    ~SlowPeer() {
        ::close(m_peer);
        ::close(m_listen);
    }
    void accept() { m_peer = ::accept(m_listen, nullptr, nullptr); }
    // Everything sent so far, read until the sender has been quiet 200 ms.
    QByteArray readAll() {
        char buffer[65536];
        pollfd p{m_peer, POLLIN, 0};
        while (::poll(&p, 1, 200) > 0) {
            const ssize_t n = ::read(m_peer, buffer, sizeof buffer);
            if (n <= 0)
                break;
            m_received.append(buffer, n);
        }
        return m_received;
    }
    quint16 port = 0;

private:
    int m_listen = -1;
    int m_peer = -1;
    QByteArray m_received;
};

TEST(LinkOverTcp, AStalledWriteIsFinishedOrEndedBeforeTheNextCommand) {
    const QByteArray blob(8 * 1024 * 1024, 'z'); // far more than the socket buffers
    for (const bool stopWhileStalled : {false, true}) {
        SCOPED_TRACE(stopWhileStalled ? "stopped while stalled" : "the peer reads it all");
        SlowPeer peer;
        auto tcp = std::make_unique<TcpTransport>();
        ASSERT_TRUE(tcp->connectTo(QStringLiteral("127.0.0.1"), peer.port));
        peer.accept();
        Receiver receiver;
        ComThread link;
        link.useTransport(std::move(tcp), QStringLiteral("peer"));
        link.startThread(&receiver);
        link.sendTimingBytes(blob); // written by the caller at once
        link.sendString(QStringLiteral("X 1"));
        if (stopWhileStalled) {
            link.stopThread();
            link.startThread(&receiver);
            link.sendString(QStringLiteral("X 2"));
        }
        QByteArray got;
        const QByteArray tail = stopWhileStalled ? "\r\nX 2\r\n" : "X 1\r\n";
        ASSERT_TRUE(waitFor([&] { return (got = peer.readAll()).endsWith(tail); }, 10000));
        if (stopWhileStalled) {
            EXPECT_LT(got.size(), blob.size() + 2 + 5);
            EXPECT_EQ(got.count('z'), got.size() - tail.size());
        } else {
            EXPECT_EQ(got, blob + tail);
        }
    }
}

} // namespace
