// The Update menu's firmware and font items: through the network proxy of
// the simulated unit, and only there.
#include "UpdateTestSupport.h"

using namespace updatetest;

namespace {
QAction* networkAction(UpdatePanel& panel, int i) {
    QAction* const actions[] = {panel.defaultMicroAction(), panel.updateFirmwareAction(),
                                panel.defaultFirmwareAction(), panel.defaultFontsAction()};
    return actions[i];
}
} // namespace

TEST(UpdateEndToEnd, FirmwareAndFontsNeedTheNetworkLinkAndSayWhy) {
    UnitData data;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim);
    ASSERT_TRUE(startUpSent(sim));
    for (int i = 0; i < 4; ++i) {
        QAction* action = networkAction(*u.panel(), i);
        SCOPED_TRACE(action->text().toStdString());
        EXPECT_FALSE(action->isEnabled());
        EXPECT_TRUE(action->toolTip().startsWith("Needs the network link"));
        action->trigger(); // a disabled item does nothing
    }
    EXPECT_TRUE(u.panel()->updateMicroAction()->isEnabled());
    shootMenu(u.app.window, u.panel()->updateFirmwareAction());
    EXPECT_TRUE(u.chosen.isEmpty());
    EXPECT_TRUE(u.app.alerts.shown.isEmpty());
    EXPECT_TRUE(u.app.alerts.asked.isEmpty());
    // Asked for all the same (a stale menu), the update says what it needs.
    EXPECT_FALSE(u.updates().defaultFontUpdate());
    ASSERT_EQ(u.app.alerts.shown.size(), 1);
    EXPECT_TRUE(u.app.alerts.shown.first().startsWith("No network link is open"));
    EXPECT_FALSE(inhibitPing.load());
    EXPECT_FALSE(withoutPings(sim.commandLines()).contains("u 0"));
}

TEST(UpdateEndToEnd, FirmwareGoesToTheNetworkProxyAfterAOne) {
    UnitData data;
    // 250 lines, one of them longer than the serial engine could take.
    QByteArray image;
    for (int i = 0; i < 248; ++i)
        image += ":10000000000102030405060708090A0B0C0D0E0F00\r\n";
    image += ":" + QByteArray(1500, 'A') + "\r\n:00000001FF\r\n";
    ASSERT_TRUE(writeFile(data.path("f.MCS"), image));
    ASSERT_TRUE(writeFile(data.path("f.bin"), image));

    SimulatedUnit sim;
    ASSERT_NE(sim.listenTcp(), 0);
    ASSERT_TRUE(sim.start());
    UpdateApp u(sim, QStringLiteral("127.0.0.1:%1").arg(sim.tcpPort()));
    ASSERT_TRUE(waitFor([&] { return networkAction(*u.panel(), 1)->isEnabled(); }));
    EXPECT_FALSE(networkAction(*u.panel(), 1)->toolTip().startsWith("Needs"));
    ASSERT_TRUE(waitFor([&] { return sim.commandLines().count("t") == 2; }));
    sim.clearRecord();

    // "A 1" reaches the unit before the file is chosen, even when none is.
    u.beforeChoosing = [&] {
        EXPECT_TRUE(waitFor([&] { return sim.commandLines().contains("A 1"); }));
    };
    u.file.clear();
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_EQ(u.chosen.size(), 1);
    u.file = data.path("f.bin");
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_EQ(u.app.alerts.shown.value(0), "select a file with .mcs extension");
    u.app.alerts.answerOk = false;
    u.file = data.path("f.MCS");
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_EQ(u.app.alerts.asked.size(), 1);
    EXPECT_EQ(sim.networkUpdatesDone(), 0);

    u.app.alerts.answerOk = true;
    u.panel()->updateFirmwareAction()->trigger();
    EXPECT_TRUE(inhibitPing.load());
    ASSERT_TRUE(waitFor([&] { return sim.networkUpdatesDone() == 1; }, kUpdateWaitMs));
    EXPECT_EQ(sim.networkUpdateRecords(), 250);
    // The unit's "u 0" ends it: the alert of the Part, and the keep-alive again.
    ASSERT_TRUE(waitFor([&] { return !inhibitPing.load(); }));
    EXPECT_EQ(u.app.alerts.shown.last(),
              "close the GUI, wait for QZ62A reset to finish, restart GUI");
    for (const SimProtocol::Command& c : sim.commands())
        EXPECT_NE(c.channel, SimProtocol::kSerialChannel) << c.line.toStdString();
}
