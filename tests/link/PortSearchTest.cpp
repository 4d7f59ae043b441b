// The port search: which directory entries are tried, in what order, how
// often, and when the user is pointed at the adapter's driver.
#include "link/ComThread.h"
#include "link/internal/SerialPortFinder.h"
#include "sim/SimulatedUnit.h"
#include "support/LinkTestSupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <cerrno>
#include <gtest/gtest.h>

using linktest::RecordingAlerts;

namespace {

class PortSearchTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(dir.isValid());
        link.setDriverCheckEnabled(false);
        link.setPort(QString());
        link.setSearchDirectory(dir.path());
    }
    void linkAs(const QString& name, const SimulatedUnit& unit) {
        ASSERT_TRUE(QFile::link(unit.ptyPath(), dir.filePath(name)));
    }

    QTemporaryDir dir;
    ComThread link;
};

TEST_F(PortSearchTest, SkipsAPortThatDoesNotAnswerAfterThreeTries) {
    SimulatedUnit silent, other, unit;
    ASSERT_TRUE(silent.start() && other.start() && unit.start());
    silent.setSilent(true);
    linkAs(QStringLiteral("ttyUSB0"), silent);
    linkAs(QStringLiteral("ttyUSB1"), unit);
    linkAs(QStringLiteral("ttyS0"), other); // not an adapter's name
    ASSERT_EQ(link.openUsbSerial(), 0);
    EXPECT_EQ(link.com(), QStringLiteral("ttyUSB1"));
    EXPECT_EQ(silent.commandLines(), (QStringList{"B", "B", "B"}));
    EXPECT_EQ(unit.commandLines(), QStringList{QStringLiteral("B")});
    EXPECT_TRUE(other.commandLines().isEmpty());
}

TEST_F(PortSearchTest, NoUnitMeansNotFound) {
    struct Case {
        const char* name;
        bool failIdentification;
        bool silent;
        const char* entry;
    };
    const Case cases[] = {
        {"another device answers", true, false, "tty.usbserial-A1"},
        {"nothing answers", false, true, "ttyUSB3"},
        {"no adapter name", false, false, "ttyACM0"},
    };
    for (const Case& c : cases) {
        QTemporaryDir local;
        SimulatedUnit unit;
        ASSERT_TRUE(unit.start());
        unit.setFailIdentification(c.failIdentification);
        unit.setSilent(c.silent);
        ASSERT_TRUE(QFile::link(unit.ptyPath(), local.filePath(QLatin1String(c.entry))));
        link.setSearchDirectory(local.path());
        EXPECT_EQ(link.openUsbSerial(), -1) << c.name;
        EXPECT_EQ(link.com(), QStringLiteral("QZ62 not found")) << c.name;
        EXPECT_EQ(link.fd(), -1) << c.name;
    }
}

// A USB device tree as the kernel lists it: "1-2" a device, "1-2:1.0" its
// first interface, "driver" the link to the driver bound to it.
void addUsbDevice(const QDir& root, const QString& name, const char* vendor, bool bound) {
    ASSERT_TRUE(root.mkpath(name));
    QFile id(root.filePath(name + QStringLiteral("/idVendor")));
    ASSERT_TRUE(id.open(QIODevice::WriteOnly));
    id.write(QByteArray(vendor) + '\n');
    const QString iface = name + QStringLiteral(":1.0");
    ASSERT_TRUE(root.mkpath(iface));
    if (bound) {
        ASSERT_TRUE(root.mkpath(iface + QStringLiteral("/driver")));
    }
}

TEST_F(PortSearchTest, DriverAlertOnlyForAnFtdiDeviceWithoutDriver) {
    const QString alert =
        QStringLiteral("install USB driver found at ") + ComThread::driverDownloadUrl();
    struct Case {
        const char* name;
        const char* vendor; // nullptr: no USB device at all
        bool bound;
        bool explicitPort;
        bool alerted;
    };
    const Case cases[] = {
        {"no USB device", nullptr, false, false, false},
        {"another maker's device", "067b", false, false, false},
        {"FTDI device with its driver", "0403", true, false, false},
        {"FTDI device without driver", "0403", false, false, true},
        {"explicit port says nothing about the driver", "0403", false, true, false},
    };
    link.setDriverCheckEnabled(true);
    for (const Case& c : cases) {
        QTemporaryDir usb;
        if (c.vendor)
            addUsbDevice(QDir(usb.path()), QStringLiteral("1-2"), c.vendor, c.bound);
        link.setUsbDevicesDirectory(usb.path());
        link.setPort(c.explicitPort ? dir.filePath(QStringLiteral("missing")) : QString());
        RecordingAlerts alerts;
        EXPECT_EQ(link.openUsbSerial(), -1) << c.name;
        EXPECT_EQ(alerts.shown, c.alerted ? QStringList{alert} : QStringList{}) << c.name;
    }
    EXPECT_TRUE(link.lastOpenError().contains(QLatin1String("missing")));
}

TEST_F(PortSearchTest, MissingDirectoryLeavesComUnchanged) {
    link.setSearchDirectory(dir.filePath(QStringLiteral("nowhere")));
    EXPECT_EQ(link.openUsbSerial(), -1);
    EXPECT_TRUE(link.com().isEmpty());
}

TEST(PortRemedy, FollowsTheInstalledAccessRule) {
    QTemporaryDir dir;
    const QString rule = dir.filePath(QStringLiteral("70-qz62.rules"));
    QFile file(rule);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    const QString absent = dir.filePath(QStringLiteral("none.rules"));
    struct Case {
        const char* name;
        int openErrno;
        QStringList ruleFiles;
        const char* remedy; // nullptr: none
    };
    const Case cases[] = {
        {"no rule: package or group",
         EACCES,
         {absent},
         "install the package, or join the dialout group"},
        {"rule in a later folder", EACCES, {absent, rule}, "unplug and replug the adapter"},
        {"not permitted, rule present", EPERM, {rule}, "unplug and replug the adapter"},
        {"no such port: nothing to fix", ENOENT, {rule}, nullptr},
        {"busy port: nothing to fix", EBUSY, {absent}, nullptr},
    };
    for (const Case& c : cases) {
        const QString remedy = SerialPortFinder::remedyFor(c.openErrno, c.ruleFiles);
        if (c.remedy)
            EXPECT_TRUE(remedy.contains(QLatin1String(c.remedy)))
                << c.name << ": " << qPrintable(remedy);
        else
            EXPECT_TRUE(remedy.isEmpty()) << c.name;
    }
}

} // namespace

// A pseudo-terminal has no latency setting: the port opens all the same,
// and the unit tab says that replies come as the port gives them.
TEST(SerialLatency, APortWithoutTheSettingStillOpens) {
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    SerialTransport port;
    EXPECT_EQ(port.lowLatency(), SerialTransport::LowLatency::Unknown);
    ASSERT_TRUE(port.open(sim.ptyPath())) << port.error().toStdString();
    EXPECT_EQ(port.lowLatency(), SerialTransport::LowLatency::Unavailable);
    ComThread link;
    link.setDriverCheckEnabled(false);
    link.setPort(sim.ptyPath());
    ASSERT_EQ(link.openUsbSerial(), 0);
    EXPECT_TRUE(link.serialLatencyText().startsWith(QStringLiteral("no latency setting")));
}
