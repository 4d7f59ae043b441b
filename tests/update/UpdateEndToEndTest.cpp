// The Update menu's microcontroller update end to end: the main window on
// the real serial link to the simulated unit, whose update side checks what
// the engine sends.
#include "UpdateTestSupport.h"

using namespace updatetest;

TEST(UpdateEndToEnd, MicroUpdateKeepsEveryRowOfTheUnitsSettings) {
    UnitData data;
    // A program over the whole upper half with erased rows and a half-erased
    // one, written by srec_cat; one copy as an upper-case .S19 with blank
    // lines and an end-of-file character at its end.
    QByteArray program = randomBytes(0x8000, 62);
    program.replace(0x100, 0x40, QByteArray(0x40, char(0xff)));
    program.replace(0x200, 8, QByteArray(8, char(0xff)));
    program.replace(0x7000, 0x100, QByteArray(0x100, char(0xff)));
    const QByteArray s19 = srecCat(data, program, 0x8000);
    ASSERT_TRUE(writeFile(data.path("program.S19"), s19 + "\r\n\r\n \t\r\n\x1a"));
    ASSERT_TRUE(writeFile(data.path("plain.s19"), s19));

    // The unit's size, the rows it is asked for; the row after the settings
    // reads all 0xff, as on a unit whose FLASH past them is erased.
    const struct {
        int size;
        const char* file;
        QStringList rows;
    } cases[] = {{0x30, "program.S19", {"j fc00", "j fc10", "j fc20"}},
                 {0x40, "plain.s19", {"j fc00", "j fc10", "j fc20", "j fc30"}}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.size);
        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        sim.setSettingsSize(c.size);
        UpdateApp u(sim);
        ASSERT_TRUE(startUpSent(sim));
        sim.clearRecord();
        u.file = data.path(c.file);

        u.panel()->updateMicroAction()->trigger();
        if (waitFor([&] { return u.label().startsWith("micro download 4"); }))
            shoot(u.app.window, "update-running");
        ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs))
            << u.label().toStdString();

        const QStringList sent = QStringList{"k"} + c.rows + QStringList{"A 1", "L"};
        EXPECT_EQ(withoutPings(sim.commandLines()), sent);
        EXPECT_EQ(u.finals, QStringList{"success!"});
        EXPECT_EQ(u.label(), "success!");
        EXPECT_EQ(u.app.find<QProgressBar>("progressBarUpdate")->value(), 100);
        ASSERT_EQ(u.app.alerts.asked.size(), 1);
        EXPECT_TRUE(u.app.alerts.asked.first().contains(
            QStringLiteral("settings (%1 bytes at fc00) are kept").arg(c.size)));
        EXPECT_TRUE(u.app.alerts.shown.isEmpty()) << u.app.alerts.shown.join('\n').toStdString();
        EXPECT_EQ(sim.bootLoaderBytes(), data.loader);
        EXPECT_EQ(sim.bootRecords(), expectedRecords(program, sim.settingsArea().left(c.size)));
        u.expectLinkBack();
        shoot(u.app.window, "update-done");
    }
}

TEST(UpdateEndToEnd, MicroUpdateReadsTheSerialUnitWhileTheNetworkLinkIsOpen) {
    UnitData data;
    ASSERT_TRUE(writeFile(data.path("p.s19"), smallProgram()));
    SimulatedUnit sim;
    ASSERT_NE(sim.listenTcp(), 0);
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim, QStringLiteral("127.0.0.1:%1").arg(sim.tcpPort()));
    ASSERT_TRUE(waitFor([&] { return u.updates().hasNetworkLink(); }));
    ASSERT_TRUE(waitFor([&] { return sim.commandLines().count("t") == 2; })); // both start-ups
    sim.clearRecord();
    u.file = data.path("p.s19");
    u.panel()->updateMicroAction()->trigger();
    ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs)) << u.label().toStdString();
    EXPECT_EQ(u.finals, QStringList{"success!"});
    for (const SimProtocol::Command& c : sim.commands())
        EXPECT_EQ(c.channel, SimProtocol::kSerialChannel) << c.line.toStdString();
    EXPECT_EQ(sim.bootRecords().size(), 5); // the program, three rows of settings, the end
}

namespace {
enum class Unit { Answers, SilentOnceRead, Unplugged };
const struct FailureCase {
    const char* name;
    SimBootLoader::Faults faults;
    Unit unit;
    const char* message;
    const char* nextStep;
} kFailureCases[] = {
    {"loader byte 10 echoed wrongly",
     {.wrongEchoAt = 10},
     Unit::Answers,
     "preload failed",
     "program is unchanged"},
    {"erase not acknowledged",
     {.noEraseAck = true},
     Unit::Answers,
     "FLASH erase failed, FLASH corrupted!",
     "may be erased"},
    {"record 3 refused",
     {.nakRecordAt = 3},
     Unit::Answers,
     "update failed, FLASH corrupted!",
     "part of the new program"},
    {"silent unit, the user aborts",
     {},
     Unit::SilentOnceRead,
     "operation aborted, cycle power and try again",
     "may have no working program"},
    {"unplugged while the loader goes out",
     {},
     Unit::Unplugged,
     "preload failed",
     "connection went away"},
};
} // namespace

TEST(UpdateEndToEnd, AFailureStaysInSightAndTheLinkWaitsForConnect) {
    UnitData data;
    ASSERT_TRUE(writeFile(data.path("p.s19"), smallProgram()));
    for (const FailureCase& c : kFailureCases) {
        SCOPED_TRACE(c.name);
        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        sim.setBootFaults(c.faults);
        UpdateApp u(sim);
        ASSERT_TRUE(startUpSent(sim));
        u.chooseAfterTheSettings();
        if (c.unit == Unit::SilentOnceRead)
            u.beforeChoosing = [&, read = u.beforeChoosing] {
                read();
                sim.setSilent(true);
            };
        if (c.unit == Unit::Unplugged)
            sim.setWireBaud(38400); // slow enough to pull the plug in the middle
        u.file = data.path("p.s19");
        u.panel()->updateMicroAction()->trigger();
        ASSERT_TRUE(u.updates().isRunning());
        EXPECT_TRUE(u.panel()->abortButton()->isVisibleTo(&u.app.window));
        if (c.unit == Unit::SilentOnceRead) {
            ASSERT_TRUE(waitFor([&] { return u.label() == "initializing update, stand by..."; }));
            u.panel()->abortButton()->click();
        }
        if (c.unit == Unit::Unplugged) {
            ASSERT_TRUE(waitFor([&] { return u.label().startsWith("micro preload 2"); }));
            sim.unplug();
        }
        ASSERT_TRUE(waitFor([&] { return u.finished(); }, kUpdateWaitMs))
            << u.label().toStdString();
        EXPECT_EQ(u.finals, QStringList{c.message});

        // The failure stays on the Unit tab, an alert says what to do next,
        // and the banner asks for a power cycle.
        ASSERT_EQ(u.app.alerts.shown.size(), 1);
        EXPECT_TRUE(
            u.app.alerts.shown.first().startsWith(QStringLiteral("Update failed: ") + c.message));
        EXPECT_TRUE(u.app.alerts.shown.first().contains(QLatin1String(c.nextStep)));
        for (int tick = 0; tick < 2 * PanelController::kPingTicks; ++tick)
            u.controller().timer_service();
        EXPECT_TRUE(u.progressShown());
        EXPECT_EQ(u.label(), c.message);
        EXPECT_EQ(u.controller().linkState(), PanelController::LinkState::UpdateFailed);
        EXPECT_EQ(u.app.window.panel()->linkStateText(),
                  "Update failed: power-cycle the unit, then Connect");
        if (c.unit == Unit::Answers)
            shoot(u.app.window, "update-failed");
        // Nothing, not even a ping, goes into the unit's loader.
        EXPECT_FALSE(u.controller().comThread()->isRunning());
        EXPECT_EQ(u.controller().unansweredPings(), 0);
        EXPECT_FALSE(inhibitPing.load());
        EXPECT_FALSE(u.panel()->abortButton()->isVisibleTo(&u.app.window));

        // Power cycled: Connect finds the unit and the failure goes.
        sim.setSilent(false);
        sim.powerCycle();
        EXPECT_EQ(u.controller().reconnect(), c.unit != Unit::Unplugged);
        u.controller().timer_service();
        EXPECT_FALSE(u.progressShown());
        if (c.unit != Unit::Unplugged)
            u.expectLinkBack();
    }
}

TEST(UpdateEndToEnd, MicroRefusalsSayWhyBeforeAnythingReachesTheLoader) {
    UnitData data;
    const QByteArray good = smallProgram();
    QByteArray damaged = good;
    damaged[good.indexOf('\n') - 1] ^= 1; // the checksum's last digit
    QFile huge(data.path("huge.s19"));
    ASSERT_TRUE(huge.open(QIODevice::WriteOnly) && huge.resize(100 * 1024 * 1024));
    huge.close();
    QDir().mkpath(data.path("empty"));
    QDir().mkpath(data.path("short"));
    writeFile(data.path("short/loader.bin"), QByteArray(771, 'x'));
    const QByteArray program = randomBytes(0x100, 7);

    const struct {
        const char* file;
        QByteArray content;   // written unless empty
        const char* unitData; // subfolder of the unit's data, or none
        int unreadableRow;    // a settings row the unit answers damaged, or -1
        QString message;
    } cases[] = {
        {"p.hex", good, nullptr, -1, "select a file with .s19 extension"},
        {"gone.s19", {}, nullptr, -1, "problem opening file, try again"},
        {"bad.s19", damaged, nullptr, -1,
         "Line 1 of bad.s19 is not a valid S-record (1 such lines)"},
        {"garbage.s19", randomBytes(4096, 9), nullptr, -1, "garbage.s19 is not a text file"},
        {"huge.s19", {}, nullptr, -1, "huge.s19 is 104857600 bytes, more than"},
        {"wide.s19", srecCat(data, program, 0x8000, {"-Address_Length=3"}), nullptr, -1,
         "wide.s19 holds no program for the unit: no S1 data between 8000 and fc00"},
        {"settings.s19", srecCat(data, program.left(0x40), 0xfc00), nullptr, -1,
         "settings.s19 holds no program"},
        {"low.s19", srecCat(data, program, 0x1000), nullptr, -1, "low.s19 holds no program"},
        {"p.s19", good, "empty", -1,
         "The unit's file loader.bin is missing. It comes with the unit's firmware: put it in "},
        {"p.s19", good, "short", -1, "the unit's loader is 772 bytes"},
        {"p.s19", good, nullptr, 0xfc10, "no good answer to \"j fc10\""},
    };

    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim);
    ASSERT_TRUE(startUpSent(sim));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.message.toStdString());
        u.app.alerts.shown.clear();
        u.finals.clear();
        sim.clearRecord();
        sim.setUnreadableRow(c.unreadableRow);
        if (c.unitData)
            qputenv("QZ62_UNIT_DATA", data.path(c.unitData).toLocal8Bit());
        u.file = data.path(c.file);
        if (!c.content.isEmpty()) {
            ASSERT_TRUE(writeFile(u.file, c.content));
        }
        u.panel()->updateMicroAction()->trigger();
        ASSERT_TRUE(waitFor([&] { return !u.finals.isEmpty() && !u.updates().isRunning(); },
                            2 * UpdateController::kSettingsWaitMs));
        qputenv("QZ62_UNIT_DATA", data.dir.path().toLocal8Bit());
        ASSERT_EQ(u.app.alerts.shown.size(), 1);
        const QString shown = u.app.alerts.shown.first();
        EXPECT_TRUE(shown.contains(c.message)) << shown.toStdString();
        EXPECT_TRUE(shown.endsWith("Nothing was sent.") || shown.contains("select a file") ||
                    shown.contains("problem opening"))
            << shown.toStdString();
        // A missing file of the unit's says where it belongs.
        const bool missing = shown.contains(QLatin1String("is missing"));
        EXPECT_EQ(shown.contains(QDir::toNativeSeparators(data.path("empty"))), missing);
        // The settings are read while the file is chosen, "A 1" after them;
        // settings that did not all come back keep even that from the unit.
        if (c.unreadableRow < 0)
            EXPECT_TRUE(waitFor([&] { return sim.commandLines().contains("A 1"); }));
        else
            EXPECT_FALSE(sim.commandLines().contains("A 1"));
    }
    sim.setUnreadableRow(-1);
    EXPECT_TRUE(u.app.alerts.asked.isEmpty());
    EXPECT_TRUE(sim.bootLoaderBytes().isEmpty());
    EXPECT_TRUE(sim.bootRecords().isEmpty());
    u.expectLinkBack();
}

TEST(UpdateEndToEnd, MicroUpdateNeedsAUnitThatAnswersOnTheSerialPort) {
    UnitData data;
    ASSERT_TRUE(writeFile(data.path("p.s19"), smallProgram()));
    const struct {
        const char* name;
        bool unitThere;
        QString message;
    } cases[] = {
        {"no unit on the serial port", false, "No unit is connected on a USB-serial port"},
        {"the unit says nothing to \"k\"", true, "no answer to \"k\""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SimulatedUnit sim;
        ASSERT_TRUE(sim.start());
        if (!c.unitThere)
            sim.setFailIdentification(true);
        UpdateApp u(sim);
        ASSERT_TRUE(waitFor(
            [&] { return u.controller().linkState() != PanelController::LinkState::Idle; }));
        sim.setSilent(c.unitThere);
        u.file = data.path("p.s19");
        u.panel()->updateMicroAction()->trigger();
        ASSERT_TRUE(waitFor([&] { return !u.finals.isEmpty() && !u.updates().isRunning(); },
                            2 * UpdateController::kSettingsWaitMs));
        ASSERT_EQ(u.app.alerts.shown.size(), 1);
        EXPECT_TRUE(u.app.alerts.shown.first().contains(c.message))
            << u.app.alerts.shown.first().toStdString();
        // Without a unit the file is not even asked for.
        EXPECT_EQ(u.chosen.size(), c.unitThere ? 1 : 0);
        EXPECT_TRUE(u.app.alerts.asked.isEmpty());
        EXPECT_TRUE(sim.bootLoaderBytes().isEmpty());
    }
}
