// The serial firmware engine on the simulated unit's serial line. The unit
// has no command that starts a firmware update there, so these tests give
// the simulated unit one of their own ("fw-test") and the engine the same.
#include "link/ComThread.h"
#include "sim/SimulatedUnit.h"
#include "update/FirmwareUpdateThread.h"

#include "support/AlertsAndWaiting.h"

#include <gtest/gtest.h>
#include <optional>

namespace {

using testsupport::waitFor;

constexpr int kRunWaitMs = 30000;
const QString kTestStart = QStringLiteral("fw-test");

struct Owner final : UpdateListener {
    void threadHasProgress(const Progress& p) override { last = p; }
    void threadUpdateComplete(const Progress& p) override { end = p; }
    Progress last;
    std::optional<Progress> end;
};

// The engine on the port of a link to a started simulated unit.
struct EngineOnSim {
    explicit EngineOnSim(const QString& unitStart) {
        EXPECT_TRUE(sim.start());
        sim.setFirmwareStartCommand(unitStart);
        link.setPort(sim.ptyPath());
        EXPECT_EQ(link.openUsbSerial(), 0);
    }
    // Runs the lines through the engine; the final report.
    Progress run(const QStringList& lines, const QByteArray& start,
                 const std::function<void()>& meanwhile = {}) {
        TransportLoan loan = link.lendTransport();
        engine.setTransport(loan.port());
        engine.setStartCommand(start);
        engine.setArray(lines);
        EXPECT_EQ(engine.startThread(&owner), 0);
        if (meanwhile)
            meanwhile();
        EXPECT_TRUE(waitFor([&] { return owner.end.has_value(); }, kRunWaitMs));
        engine.stopThread();
        return owner.end.value_or(Progress{});
    }
    SimulatedUnit sim;
    ComThread link;
    FirmwareUpdateThread engine;
    Owner owner;
};

QStringList image(int length, int count) {
    QStringList lines;
    for (int i = 0; i < count; ++i)
        lines << ":" + QString(length - 1, QChar(u'0' + i % 10));
    return lines << ":00000001FF";
}

TEST(FirmwareEngine, SendsTransmissionsOfWholeLines) {
    // 600-character lines one per transmission, 100-character lines ten
    // (1000 packed plus 100 more is not below 1022); the end record joins the
    // last transmission.
    const struct {
        int length;
        int count;
        QList<int> perTransmission;
    } cases[] = {{600, 4, {1, 1, 1, 2}}, {100, 25, {10, 10, 6}}, {1021, 2, {1, 1, 1}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.length);
        const QStringList lines = image(c.length, c.count);
        QList<QByteArray> expected;
        qsizetype next = 0;
        for (int n : c.perTransmission) {
            expected << lines.mid(next, n).join(QString()).toLatin1();
            next += n;
        }
        EngineOnSim e(kTestStart);
        const Progress end = e.run(lines, kTestStart.toLatin1() + '\r');
        EXPECT_EQ(end.msg, "success!");
        EXPECT_EQ(end.status, UpdateStatus::Success);
        EXPECT_EQ(e.sim.firmwareTransmissions(), expected);
        EXPECT_EQ(e.engine.linesSent(), lines.size());
    }
}

TEST(FirmwareEngine, EachFailureEndsWithItsMessage) {
    const struct {
        const char* name;
        SimBootLoader::Faults faults;
        bool abortWhileErasing;
        const char* message;
        UpdateStatus status;
    } cases[] = {
        {"the erase fails",
         {.noReady = true},
         false,
         "flash erase failed, try again",
         UpdateStatus::NoEraseAck},
        {"transmission 1 comes back damaged",
         {.badEchoAt = 1},
         false,
         "echo failed, try again",
         UpdateStatus::RecordRefused},
        {"aborted while the unit erases",
         {.firmwareEraseMs = 20000},
         true,
         "operation aborted, cycle power and try again",
         UpdateStatus::Aborted},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EngineOnSim e(kTestStart);
        e.sim.setBootFaults(c.faults);
        const Progress end = e.run(image(100, 30), kTestStart.toLatin1() + '\r', [&] {
            if (c.abortWhileErasing) {
                EXPECT_TRUE(waitFor([&] { return e.owner.last.msg == "erasing flash"; }));
                e.engine.requestAbort();
            }
        });
        EXPECT_EQ(end.msg, c.message);
        EXPECT_EQ(end.status, c.status);
    }
}

} // namespace
