// Service discovery end to end: simulated units announced through a real
// avahi-daemon appear in the unit tab's network list, the first (alone on the
// network) is connected and its settings read, and choosing another
// reconnects.
//
// The daemon runs in a network namespace of its own (avahi-netns.sh), so the
// test re-runs itself in there; where the machine cannot make one it is
// skipped with the reason.
#include "link/ComThread.h"
#include "link/ServiceDiscovery.h"
#include "panel/view/NetworkPanel.h"
#include "support/FilesAndTools.h"
#include "support/PanelTestSupport.h"

#include <QLabel>
#include <QListWidget>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

const std::string kScript = QT_TESTCASE_SOURCEDIR "/avahi-netns.sh";

// Runs a program; its standard error goes to *errors when given, else where
// ours goes. Returns the exit status.
int run(const std::vector<std::string>& args, std::string* errors = nullptr) {
    int pipeFds[2] = {-1, -1};
    if (errors && ::pipe(pipeFds) != 0)
        return -1;
    std::vector<char*> argv;
    for (const std::string& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        if (errors) {
            ::dup2(pipeFds[1], 2);
            ::close(pipeFds[0]);
        }
        ::execv(argv[0], argv.data());
        ::_exit(127);
    }
    if (errors) {
        ::close(pipeFds[1]);
        char buffer[512];
        ssize_t n = 0;
        while ((n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0)
            errors->append(buffer, std::size_t(n));
        ::close(pipeFds[0]);
    }
    int status = 0;
    if (pid < 0 || ::waitpid(pid, &status, 0) != pid)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

// Inside the namespace: true; outside: runs this test in there (the status
// is checked here) and returns false.
bool insideNamespace() {
    if (!qEnvironmentVariableIsEmpty("QZ62_AVAHI_NETNS"))
        return true;
    const auto* info = testing::UnitTest::GetInstance()->current_test_info();
    const std::string filter =
        std::string("--gtest_filter=") + info->test_suite_name() + "." + info->name();
    const std::string self = QCoreApplication::applicationFilePath().toStdString();
    EXPECT_EQ(run({kScript, self, filter}), 0);
    return false;
}

} // namespace

TEST(NetworkDiscovery, AnnouncedProxiesAreListedTheFirstConnectedAnotherChosen) {
    if (qEnvironmentVariableIsEmpty("QZ62_AVAHI_NETNS")) {
        std::string why;
        if (run({kScript, "--check"}, &why) != 0)
            GTEST_SKIP() << "service discovery needs a network namespace here: " << why;
    }
    if (!insideNamespace())
        return;

    const testsupport::Scratch scratch; // no proxy remembered from an earlier run
    SimulatedUnit first;
    SimulatedUnit second;
    const quint16 firstPort = first.listenTcp();
    const quint16 secondPort = second.listenTcp();
    ASSERT_TRUE(first.start() && second.start());

    RecordingAlerts alerts;
    MainWindow window;
    PanelOptions options;
    options.explicitPort = QStringLiteral("/nonexistent/qz62-port");
    options.tickIntervalMs = kQuietTickMs;
    window.awakeFromNib(options);
    NetworkLink& link = window.panel()->networkPanel()->link();
    ASSERT_NE(link.state(), NetworkLink::State::Unavailable) << link.discoveryError().toStdString();
    auto* list = window.findChild<QListWidget*>("theTableView");
    auto* state = window.findChild<QLabel*>("labelNetworkState");
    ASSERT_TRUE(list && state);

    ServiceAnnouncer firstAnnouncer;
    ASSERT_TRUE(firstAnnouncer.announce(QStringLiteral("QZ62 first proxy"), firstPort));
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->count() == 1; }, kWaitMs));
    EXPECT_EQ(list->item(0)->text(), "QZ62 first proxy");
    // Alone once discovery has settled: connected, every setting read over
    // the network.
    EXPECT_TRUE(startUpSent(first));
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.windowTitle().endsWith("-QZ62 first proxy"); },
                                kWaitMs));
    EXPECT_EQ(state->text(), "Network: connected to QZ62 first proxy");
    EXPECT_EQ(list->currentRow(), 0);

    // A second proxy joins the list without taking the stream away.
    ServiceAnnouncer secondAnnouncer;
    ASSERT_TRUE(secondAnnouncer.announce(QStringLiteral("QZ62 second proxy"), secondPort));
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->count() == 2; }, kWaitMs));
    EXPECT_EQ(link.currentService().name, "QZ62 first proxy");

    // Choosing it reconnects there.
    list->setCurrentRow(1);
    EXPECT_TRUE(startUpSent(second));
    EXPECT_TRUE(QTest::qWaitFor([&] { return window.windowTitle().endsWith("-QZ62 second proxy"); },
                                kWaitMs));
    EXPECT_EQ(state->text(), "Network: connected to QZ62 second proxy");
    window.panel()->controller().comThread()->sendString(QStringLiteral("X 24"));
    EXPECT_TRUE(QTest::qWaitFor([&] { return second.setting("X") == "24"; }, kWaitMs));
    EXPECT_EQ(first.setting("X"), "12");

    // A proxy that leaves goes from the list.
    firstAnnouncer.withdraw();
    ASSERT_TRUE(QTest::qWaitFor([&] { return list->count() == 1; }, kWaitMs));
    EXPECT_EQ(list->item(0)->text(), "QZ62 second proxy");
    window.windowClosing();
}
