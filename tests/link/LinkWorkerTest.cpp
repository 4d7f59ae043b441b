// The link thread's error paths and pacing on a port and a clock the test
// plays (LinkFakes.h): nothing here waits for real time to pass.
#include "LinkFakes.h"
#include "base/QueuedCalls.h"
#include "link/ComThread.h"
#include "protocol/MidiMessages.h"
#include "support/LinkTestSupport.h"

#include <functional>
#include <gtest/gtest.h>

using linktest::FakeTransport;
using linktest::ManualClock;
using linktest::Receiver;
using linktest::waitFor;

namespace {

QByteArray framed(const char* command) {
    MsgClass message;
    message.txString(QString::fromLatin1(command));
    return message.buffer();
}

// A link worker on the fake port, its owner and mailbox.
struct Rig {
    void start() { worker.start(&port, &receiver, &mailbox); }
    void queue(const char* command) { worker.queueCommand(framed(command)); }
    bool portGot(const QByteArray& bytes) {
        return waitFor([&] { return port.written() == bytes; });
    }

    ManualClock clock;
    FakeTransport port;
    Receiver receiver;
    QueuedCalls mailbox{nullptr};
    LinkWorker worker{&clock}; // stops before the rest goes
};

TEST(LinkWorker, ATransportThatGoesAwayEndsTheLinkAndDropsTheQueue) {
    using Step = std::function<void(Rig&)>;
    const Step nothing = [](Rig&) {};
    const struct {
        const char* name;
        Step before; // on the port, before the link starts
        Step fault;  // once "X 1" and "X 2" are queued
        QByteArray written;
        const char* reason;
    } cases[] = {
        {"a write that fails at once",
         [](Rig& r) { r.port.failWritesAfter(0, QStringLiteral("Input/output error")); }, nothing,
         "", "Input/output error"},
        {"a write that fails part-way",
         [](Rig& r) { r.port.failWritesAfter(2, QStringLiteral("No such device")); }, nothing, "X ",
         "No such device"},
        {"a read error", nothing,
         [](Rig& r) {
             ASSERT_TRUE(r.portGot("X 1\r\n"));
             r.port.failReads(QStringLiteral("Input/output error"));
             r.port.unitSends("X 1\r\n>");
         },
         "X 1\r\n", "Input/output error"},
        {"a hang-up while a command waits for its reply", nothing,
         [](Rig& r) {
             ASSERT_TRUE(r.portGot("X 1\r\n"));
             ASSERT_TRUE(r.clock.waitUntilAsleep());
             r.port.hangUp();
         },
         "X 1\r\n", "port hung up"},
        // Each empty read counts; X 2 goes out between them.
        {"input that never reads", nothing,
         [](Rig& r) {
             r.port.readNothing();
             r.port.unitSends("X");
         },
         "X 1\r\nX 2\r\n", "end of file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Rig r;
        c.before(r);
        r.start();
        r.queue("X 1");
        r.queue("X 2");
        c.fault(r);
        ASSERT_TRUE(waitFor([&] { return !r.receiver.lostReason.isEmpty(); }));
        EXPECT_EQ(r.receiver.lostReason, QString::fromLatin1(c.reason));
        EXPECT_FALSE(r.worker.isRunning());
        EXPECT_FALSE(r.port.isOpen());
        EXPECT_EQ(r.port.written(), c.written);
        // Later sends are dropped as with no port.
        r.queue("X 3");
        r.worker.sendNow(midimsg::trigger(120));
        EXPECT_EQ(r.worker.queuedCount(), 0);
        EXPECT_EQ(r.port.written(), c.written);
    }
}

TEST(LinkWorker, AStalledWriteIsFinishedFirstWhileReadingGoesOn) {
    Rig r;
    r.port.takeOnly(3);
    r.start();
    r.queue("X 1");
    ASSERT_TRUE(r.portGot("X 1"));
    r.port.unitSends("Q 0\r\n>");
    // Past the stall time the thread reads again; the line waits.
    ASSERT_TRUE(r.clock.advanceMs(LinkWorker::kWriteStallMs));
    ASSERT_TRUE(waitFor([&] { return r.receiver.hasLine(QStringLiteral("Q 0")); }));
    const QByteArray trigger = midimsg::trigger(124);
    r.worker.sendNow(trigger);
    r.queue("X 2");
    ASSERT_TRUE(r.clock.waitUntilAsleep());
    EXPECT_EQ(r.port.written(), "X 1");
    r.port.takeAll();
    EXPECT_TRUE(r.portGot("X 1\r\n" + trigger + "X 2\r\n"));
}

TEST(LinkWorker, APortLentAwayDropsTheQueueAndACutLineIsEndedOnReturn) {
    const struct {
        const char* name;
        int room; // bytes the port takes before it stalls; -1 all
        QByteArray beforeLoan;
        QByteArray afterReturn;
    } cases[] = {
        {"lent while a command waits for its reply", -1, "X 1\r\n", "X 1\r\nQ 1\r\n"},
        {"lent while a write is stalled", 2, "X ", "X \r\nQ 1\r\n"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Rig r;
        if (c.room >= 0)
            r.port.takeOnly(c.room);
        r.start();
        for (const char* command : {"X 1", "X 2", "X 3"})
            r.queue(command);
        ASSERT_TRUE(r.portGot(c.beforeLoan));
        ASSERT_TRUE(r.clock.waitUntilAsleep());
        r.worker.stop(); // what lending the port does to the link
        EXPECT_FALSE(r.worker.isRunning());
        EXPECT_EQ(r.worker.queuedCount(), 0);
        r.port.takeAll();
        r.start();
        r.queue("Q 1");
        EXPECT_TRUE(r.portGot(c.afterReturn));
    }
}

TEST(LinkWorker, PriorityBytesGoOutWhileACommandWaitsForItsReply) {
    enum class End { Reply, Timeout };
    const struct {
        const char* name;
        int room; // the port's room when the trigger comes; -1 all
        End end;
    } cases[] = {
        {"written by the caller; the reply ends the wait", -1, End::Reply},
        {"the rest written by the link thread; the wait times out", 1, End::Timeout},
    };
    const QByteArray trigger = midimsg::trigger(124);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Rig r;
        r.start();
        r.queue("X 1");
        r.queue("X 2");
        ASSERT_TRUE(r.portGot("X 1\r\n"));
        ASSERT_TRUE(r.clock.waitUntilAsleep());
        if (c.room >= 0)
            r.port.takeOnly(c.room);
        r.worker.sendNow(trigger);
        r.port.takeAll();
        ASSERT_TRUE(r.portGot("X 1\r\n" + trigger));
        // Still waiting: X 2 goes out only after the reply or 300 ms.
        ASSERT_TRUE(r.clock.advanceMs(LinkWorker::kReplyWaitMs - 1));
        ASSERT_TRUE(r.clock.waitUntilAsleep());
        EXPECT_EQ(r.port.written(), "X 1\r\n" + trigger);
        if (c.end == End::Reply)
            r.port.unitSends("X 1\r\n>");
        else
            ASSERT_TRUE(r.clock.advanceMs(1));
        EXPECT_TRUE(r.portGot("X 1\r\n" + trigger + "X 2\r\n"));
    }
}

// Queued raw bytes (a Fire button's note) keep their place behind a command
// waiting for its reply, and the next command follows them at once.
TEST(LinkWorker, QueuedBytesWaitTheirTurnButForNoReply) {
    Rig r;
    r.start();
    const QByteArray trigger = midimsg::trigger(124);
    r.queue("C 1");
    r.worker.queueBytes(trigger);
    r.queue("X 2");
    ASSERT_TRUE(r.portGot("C 1\r\n"));
    ASSERT_TRUE(r.clock.waitUntilAsleep());
    EXPECT_EQ(r.port.written(), "C 1\r\n");
    r.port.unitSends("C 1\r\n>");
    EXPECT_TRUE(r.portGot("C 1\r\n" + trigger + "X 2\r\n"));
}

// With no serial port there is nothing to lend: the link goes on as it was.
TEST(LinkLoan, WithoutASerialPortLeavesTheLinkRunning) {
    auto fake = std::make_unique<FakeTransport>();
    FakeTransport* port = fake.get();
    Receiver receiver;
    ComThread link;
    link.useTransport(std::move(fake), QStringLiteral("fake"));
    link.startThread(&receiver);
    {
        const TransportLoan loan = link.lendTransport();
        EXPECT_FALSE(loan);
        EXPECT_TRUE(link.isRunning());
    }
    EXPECT_TRUE(link.isRunning());
    link.sendString(QStringLiteral("X 1"));
    EXPECT_TRUE(waitFor([&] { return port->written() == "X 1\r\n"; }));
}

} // namespace
