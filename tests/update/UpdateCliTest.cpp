// qz62ctl update against the simulated unit: each update, and each way one
// can fail with its own exit status and one line on standard error.
#include "sim/SimulatedUnit.h"
#include "update/MicroUpdateThread.h"

#include "support/AlertsAndWaiting.h"
#include "support/FilesAndTools.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using testsupport::readFile;
using testsupport::waitFor;
using testsupport::writeFile;

constexpr int kRunMs = 60000;

struct CtlRun {
    int status = -1; // -1: did not run, or did not end in time
    QString out;
    QString err;
};

// Starts argv[0] with its standard input, output and error on those files.
// Through fork and exec, not QProcess or posix_spawn: a child started
// vfork-style shares this process's memory until its exec, which leaves the
// thread checker blind to the starting thread's locks (it then reports races
// on the simulated unit's state that are none). The child calls only what is
// safe after a fork in a process with threads.
pid_t start(char* const* argv, const QByteArray& in, const QByteArray& out, const QByteArray& err) {
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid;
    const char* const paths[] = {in.constData(), out.constData(), err.constData()};
    for (int fd = 0; fd < 3; ++fd) {
        const int flags = fd == 0 ? O_RDONLY : O_WRONLY | O_CREAT | O_TRUNC;
        const int opened = ::open(paths[fd], flags, 0600);
        if (opened < 0 || ::dup2(opened, fd) < 0)
            ::_exit(127);
        ::close(opened);
    }
    ::execv(argv[0], argv);
    ::_exit(127);
}

// qz62ctl with `input` on its standard input. meanwhile(pid) runs while it
// does (a test pulls the plug or presses Ctrl-C there).
CtlRun qz62ctl(const QStringList& args, const QByteArray& input = {},
               const std::function<void(pid_t)>& meanwhile = {}) {
    QTemporaryDir dir;
    const QString in = dir.filePath("in"), out = dir.filePath("out"), err = dir.filePath("err");
    writeFile(in, input);
    std::vector<QByteArray> bytes{QByteArray(QZ62_BINARY_DIR "/src/cli/qz62ctl")};
    for (const QString& a : args)
        bytes.push_back(a.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& b : bytes)
        argv.push_back(b.data());
    argv.push_back(nullptr);
    CtlRun run;
    const pid_t pid = start(argv.data(), in.toLocal8Bit(), out.toLocal8Bit(), err.toLocal8Bit());
    if (pid > 0) {
        if (meanwhile)
            meanwhile(pid);
        int status = 0;
        if (!waitFor([&] { return waitpid(pid, &status, WNOHANG) == pid; }, kRunMs)) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
        } else if (WIFEXITED(status)) {
            run.status = WEXITSTATUS(status);
        } else if (WIFSIGNALED(status)) {
            run.status = 128 + WTERMSIG(status);
        }
    }
    run.out = QString::fromLocal8Bit(readFile(out));
    run.err = QString::fromLocal8Bit(readFile(err));
    return run;
}

QByteArray randomBytes(int count, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(count, '\0');
    for (char& b : bytes)
        b = char(random.bounded(255)); // never 0xff: no row is left out
    return bytes;
}

// The unit's data folder (a loader, a font set) and the files of the tests.
struct Files {
    Files() {
        writeFile(path("loader.bin"), randomBytes(MicroUpdateThread::kLoaderBytes, 772));
        QByteArray image;
        for (int i = 0; i < 450; ++i)
            image += ":10000000000102030405060708090A0B0C0D0E0F00\r\n";
        writeFile(path("fonts.mcs"), image + ":00000001FF\r\n");
        writeFile(path("f.mcs"), image + ":00000001FF\r\n");
        writeFile(path("f.bin"), image);
        program = randomBytes(0x800, 1);
        srecCat(program, 0x8000, {}, "p.s19");
        srecCat(program, 0x8000, {"-Address_Length=3"}, "wide.s19");
        QDir().mkpath(path("empty"));
    }
    QString path(const QString& name) const { return dir.filePath(name); }
    void srecCat(const QByteArray& bytes, unsigned address, const QStringList& extra,
                 const QString& name) {
        writeFile(path("in.bin"), bytes);
        std::vector<QByteArray> words{"/usr/bin/srec_cat",
                                      path("in.bin").toLocal8Bit(),
                                      "-binary",
                                      "-offset",
                                      QByteArray::number(address),
                                      "-o",
                                      path(name).toLocal8Bit()};
        for (const QString& e : extra)
            words.push_back(e.toLocal8Bit());
        std::vector<char*> argv;
        for (QByteArray& w : words)
            argv.push_back(w.data());
        argv.push_back(nullptr);
        const pid_t pid = start(argv.data(), "/dev/null", "/dev/null", "/dev/null");
        int status = -1;
        EXPECT_TRUE(pid > 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) &&
                    WEXITSTATUS(status) == 0)
            << name.toStdString();
    }
    QTemporaryDir dir;
    QByteArray program;
};

// The records the unit must get for the program, its settings (size bytes) kept.
QStringList expectedRecords(const QByteArray& program, const QByteArray& settings) {
    QByteArray image(0x8000, char(0xff));
    image.replace(0, program.size(), program);
    image.replace(0x7c00, settings.size(), settings);
    QStringList records;
    for (int offset = 0; offset < image.size(); offset += 16) {
        const QByteArray row = image.mid(offset, 16);
        if (row == QByteArray(16, char(0xff)))
            continue;
        QByteArray body =
            QByteArray(1, char(19)) + char((0x8000 + offset) >> 8) + char(offset) + row;
        unsigned sum = 0;
        for (char b : body)
            sum += uchar(b);
        records << "S1" + QString::fromLatin1((body + char(~sum & 0xff)).toHex().toUpper());
    }
    return records << QStringLiteral("S9030000FC");
}

TEST(UpdateCli, MicroUpdateAsksThenRunsTheMenusUpdate) {
    Files files;
    SimulatedUnit sim;
    ASSERT_TRUE(sim.start());
    const CtlRun run = qz62ctl({"update", "micro", files.path("p.s19"), "--port", sim.ptyPath(),
                                "--unit-data", files.dir.path()},
                               "y\n");
    EXPECT_EQ(run.status, 0) << run.err.toStdString();
    EXPECT_TRUE(run.err.startsWith("This update erases the unit's FLASH memory"));
    EXPECT_TRUE(run.err.endsWith("The unit's settings (48 bytes at fc00) are kept. Start the "
                                 "update? [y/N] \n"));
    // Not a terminal: plain lines, a few per step, then the outcome.
    const QStringList lines = run.out.split('\n', Qt::SkipEmptyParts);
    EXPECT_EQ(lines.first(), "  0%  initializing update, stand by...");
    EXPECT_TRUE(lines.contains(" 50%  micro preload 50 percent"));
    EXPECT_LT(lines.size(), 40);
    EXPECT_EQ(lines.last(), "success!");
    EXPECT_EQ(sim.commandLines(),
              QStringList({"B", "k", "j fc00", "j fc10", "j fc20", "A 1", "L"}));
    EXPECT_EQ(sim.bootRecords(), expectedRecords(files.program, sim.settingsArea().left(0x30)));
}

TEST(UpdateCli, NetworkUpdatesFollowTheUnitsReports) {
    Files files;
    SimulatedUnit sim;
    ASSERT_NE(sim.listenTcp(), 0);
    ASSERT_TRUE(sim.start());
    const QString host = QStringLiteral("127.0.0.1:%1").arg(sim.tcpPort());
    const struct {
        QStringList args;
        QStringList commands; // what the unit saw besides the update
    } cases[] = {
        {{"update", "fonts", "--host", host, "--unit-data", files.dir.path(), "--yes"}, {}},
        {{"update", "firmware", files.path("f.mcs"), "--host=" + host, "-y"}, {"A 1"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(' ').toStdString());
        sim.clearRecord();
        const int before = sim.networkUpdatesDone();
        const CtlRun run = qz62ctl(c.args);
        EXPECT_EQ(run.status, 0) << run.err.toStdString();
        EXPECT_EQ(run.err, "");
        EXPECT_TRUE(run.out.contains(" 22%  the unit has written 100 of 452 lines"));
        EXPECT_TRUE(run.out.endsWith("100%  the unit has written every line\nsuccess: the unit "
                                     "restarts; wait for its reset to finish\n"))
            << run.out.toStdString();
        EXPECT_EQ(sim.networkUpdatesDone(), before + 1);
        EXPECT_EQ(sim.networkUpdateRecords(), 451);
        EXPECT_EQ(sim.commandLines(), c.commands);
    }
}

enum class During { Nothing, Unplug, Interrupt };

const struct FailureCase {
    const char* name;
    QStringList args; // {pty}, {host} and {data} stand for the unit's port, proxy, data
    SimBootLoader::Faults faults;
    SimNetworkUpdate::Faults networkFaults;
    int unreadableRow;
    During during;
    int status;
    const char* says;
} kFailures[] = {
    {"not confirmed",
     {"micro", "p.s19", "--port", "{pty}"},
     {},
     {},
     -1,
     During::Nothing,
     1,
     "not confirmed: nothing was sent"},
    {"no unit on the port",
     {"micro", "p.s19", "--port", "{data}/none", "-y"},
     {},
     {},
     -1,
     During::Nothing,
     3,
     "No unit is connected on a USB-serial port"},
    {"no loader",
     {"micro", "p.s19", "--port", "{pty}", "--unit-data", "{data}/empty", "-y"},
     {},
     {},
     -1,
     During::Nothing,
     4,
     "loader.bin is missing"},
    {"no program in the file",
     {"micro", "wide.s19", "--port", "{pty}", "-y"},
     {},
     {},
     -1,
     During::Nothing,
     5,
     "holds no program for the unit"},
    {"a settings row damaged",
     {"micro", "p.s19", "--port", "{pty}", "-y"},
     {},
     {},
     0xfc10,
     During::Nothing,
     6,
     "no good answer to \"j fc10\""},
    {"loader echoed wrongly",
     {"micro", "p.s19", "--port", "{pty}", "-y"},
     {.wrongEchoAt = 5},
     {},
     -1,
     During::Nothing,
     7,
     "preload failed. The unit's program is unchanged"},
    {"erase not acknowledged",
     {"micro", "p.s19", "--port", "{pty}", "-y"},
     {.noEraseAck = true},
     {},
     -1,
     During::Nothing,
     8,
     "FLASH erase failed, FLASH corrupted! The unit's FLASH"},
    {"a record refused",
     {"micro", "p.s19", "--port", "{pty}", "-y"},
     {.nakRecordAt = 2},
     {},
     -1,
     During::Nothing,
     9,
     "update failed, FLASH corrupted! The unit holds part"},
    {"unplugged",
     {"micro", "p.s19", "--port", "{pty}", "-y"},
     {},
     {},
     -1,
     During::Unplug,
     10,
     "The connection went away"},
    {"Ctrl-C",
     {"micro", "p.s19", "--port", "{pty}", "-y"},
     {},
     {},
     -1,
     During::Interrupt,
     130,
     "operation aborted, cycle power and try again"},
    {"no proxy there",
     {"fonts", "--host", "127.0.0.1:1", "-y"},
     {},
     {},
     -1,
     During::Nothing,
     3,
     "No network proxy: 127.0.0.1:1"},
    {"no proxy found", {"fonts", "-y"}, {}, {}, -1, During::Nothing, 3, "No network proxy: "},
    {"no fonts",
     {"fonts", "--host", "{host}", "--unit-data", "{data}/empty", "-y"},
     {},
     {},
     -1,
     During::Nothing,
     4,
     "fonts.mcs is missing"},
    {"not an image",
     {"firmware", "f.bin", "--host", "{host}", "-y"},
     {},
     {},
     -1,
     During::Nothing,
     5,
     "select a file with .mcs extension"},
    {"connection dropped",
     {"fonts", "--host", "{host}", "-y"},
     {},
     {.dropAfter = 200},
     -1,
     During::Nothing,
     10,
     "The connection to the network proxy went away"},
    {"no more progress",
     {"fonts", "--host", "{host}", "-y", "--timeout", "1"},
     {},
     {.stallAfter = 200},
     -1,
     During::Nothing,
     11,
     "The unit reported no progress for 1 s"},
};

QStringList filledIn(const QStringList& args, const SimulatedUnit& sim, const Files& files) {
    QStringList out{"update"};
    for (QString a : args) {
        a.replace("{pty}", sim.ptyPath());
        a.replace("{host}", QStringLiteral("127.0.0.1:%1").arg(sim.tcpPort()));
        a.replace("{data}", files.dir.path());
        out << (a.endsWith(".s19") || a.endsWith(".bin") ? files.path(a) : a);
    }
    if (!args.contains("--unit-data"))
        out << "--unit-data" << files.dir.path();
    return out;
}

TEST(UpdateCli, EachFailureHasItsExitStatusAndOneLine) {
    Files files;
    for (const FailureCase& c : kFailures) {
        SCOPED_TRACE(c.name);
        SimulatedUnit sim;
        ASSERT_NE(sim.listenTcp(), 0);
        ASSERT_TRUE(sim.start());
        sim.setBootFaults(c.faults);
        sim.setNetworkUpdateFaults(c.networkFaults);
        sim.setUnreadableRow(c.unreadableRow);
        if (c.during != During::Nothing)
            sim.setWireBaud(38400); // slow enough to step in half-way
        const CtlRun run = qz62ctl(filledIn(c.args, sim, files), "n\n", [&](pid_t pid) {
            if (c.during == During::Nothing)
                return;
            EXPECT_TRUE(waitFor([&] { return sim.bootLoaderBytes().size() > 50; }, kRunMs));
            if (c.during == During::Unplug)
                sim.unplug();
            else
                kill(pid, SIGINT);
        });
        EXPECT_EQ(run.status, c.status) << run.err.toStdString();
        const QStringList lines = run.err.split('\n', Qt::SkipEmptyParts);
        ASSERT_FALSE(lines.isEmpty());
        EXPECT_TRUE(lines.last().startsWith("qz62ctl: update: ")) << lines.last().toStdString();
        EXPECT_TRUE(lines.last().contains(c.says)) << lines.last().toStdString();
        EXPECT_EQ(lines.size(), c.status == 1 ? 2 : 1) << run.err.toStdString();
        if (c.status <= 6) { // nothing reached the unit's update side
            EXPECT_TRUE(sim.bootLoaderBytes().isEmpty());
            EXPECT_EQ(sim.networkUpdatesDone(), 0);
        }
        if (c.during == During::Interrupt) { // the port is free for the next program
            sim.powerCycle();
            EXPECT_EQ(qz62ctl({"probe", "--port", sim.ptyPath()}).status, 0);
        }
    }
}

TEST(UpdateCli, BadArgumentsSendNothing) {
    const QStringList cases[] = {
        {"update"},
        {"update", "everything"},
        {"update", "micro"},
        {"update", "micro", "a.s19", "b.s19"},
        {"update", "micro", "a.s19", "--host", "127.0.0.1:4000"},
        {"update", "fonts", "--port", "/dev/ttyUSB0"},
        {"update", "fonts", "--host", "nowhere"},
        {"update", "fonts", "--timeout", "0"},
        {"update", "firmware", "--unit-data"},
    };
    for (const QStringList& args : cases) {
        const CtlRun run = qz62ctl(args);
        EXPECT_EQ(run.status, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(run.err.startsWith("usage: qz62ctl update")) << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty());
    }
}

} // namespace
