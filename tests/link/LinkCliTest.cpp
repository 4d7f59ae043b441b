#include "support/FilesAndTools.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

const QString kSim = QStringLiteral(QZ62_BINARY_DIR "/src/sim/qz62-sim");

// qz62-sim in its own process; its first line is the terminal's path.
class SimProcess {
public:
    explicit SimProcess(const QStringList& args = {}) {
        m_process.start(kSim, args);
        QElapsedTimer timer;
        timer.start();
        while (!m_process.canReadLine() && timer.elapsed() < 5000)
            m_process.waitForReadyRead(100);
        m_path = QString::fromLocal8Bit(m_process.readLine()).trimmed();
    }
    ~SimProcess() {
        m_process.terminate();
        if (!m_process.waitForFinished(2000))
            m_process.kill();
    }
    QString path() const { return m_path; }

private:
    QProcess m_process;
    QString m_path;
};

using testsupport::qz62ctl;
using testsupport::refused;

QString text(const QByteArray& bytes) {
    return QString::fromLocal8Bit(bytes);
}

TEST(LinkCli, ProbePrintsThePortOrNotFound) {
    struct Case {
        const char* name;
        QStringList simArgs;
        bool byEnvironment; // QZ62_PORT instead of --port
        bool found;
    };
    const Case cases[] = {
        {"--port", {}, false, true},
        {"QZ62_PORT", {}, true, true},
        {"silent", {"--silent"}, false, false},
        {"another device", {"--not-qz62"}, false, false},
    };
    for (const Case& c : cases) {
        SimProcess sim(c.simArgs);
        ASSERT_FALSE(sim.path().isEmpty()) << c.name;
        const auto run = c.byEnvironment ? qz62ctl({"probe"}, sim.path())
                                         : qz62ctl({"probe", "--port", sim.path()});
        EXPECT_EQ(run.exitCode, c.found ? 0 : 1) << c.name << run.err.toStdString();
        EXPECT_EQ(text(run.out), c.found ? sim.path() + '\n' : QStringLiteral("QZ62 not found\n"))
            << c.name;
    }
}

TEST(LinkCli, SendPrintsEveryReplyLine) {
    SimProcess sim;
    const auto run = qz62ctl({"send", "--port", sim.path(), "C", "H 1 2 3 4 5", "H", "k"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(text(run.out).split(QLatin1Char('\n'), Qt::SkipEmptyParts),
              (QStringList{"C", "C 0 28 0 64 0 ff ff 0", "H 1 2 3 4 5", "H", "H 1 2 3 4 5", "k",
                           "k fc00 30 3.32.6"}));
}

TEST(LinkCli, BadArgumentsAndUnusablePortsExitWithStatus2) {
    QTemporaryDir dir;
    const QString plainFile = dir.filePath(QStringLiteral("plain"));
    ASSERT_TRUE(testsupport::writeFile(plainFile, QByteArray()));
    const QStringList cases[] = {
        {"probe", "--port"},
        {"probe", "--port", dir.filePath(QStringLiteral("none"))},
        {"probe", "--port", plainFile},
        {"probe", "extra"},
        {"send", "--port", plainFile, "C"},
        {"send", "--speed", "C"},
        {"send", "--port", plainFile},
    };
    for (const QStringList& args : cases)
        EXPECT_TRUE(refused(qz62ctl(args), QStringLiteral(""))) << args.join(' ').toStdString();
}

} // namespace
