#include "support/FilesAndTools.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <gtest/gtest.h>

namespace {

const QString kCtl = QStringLiteral(QZ62_BINARY_DIR "/src/cli/qz62ctl");
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

struct CtlResult {
    int exitCode = -1;
    QString out;
    QString err;
};

CtlResult ctl(const QStringList& args, const QString& envPort = QString()) {
    QProcess process;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove(QStringLiteral("QZ62_PORT"));
    if (!envPort.isEmpty())
        env.insert(QStringLiteral("QZ62_PORT"), envPort);
    process.setProcessEnvironment(env);
    process.start(kCtl, args);
    if (!process.waitForFinished(20000))
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            QString::fromLocal8Bit(process.readAllStandardOutput()),
            QString::fromLocal8Bit(process.readAllStandardError())};
}

bool isOneErrorLine(const QString& err) {
    return err.startsWith(QLatin1String("qz62ctl: ")) && err.count(QLatin1Char('\n')) == 1;
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
        const CtlResult run =
            c.byEnvironment ? ctl({"probe"}, sim.path()) : ctl({"probe", "--port", sim.path()});
        EXPECT_EQ(run.exitCode, c.found ? 0 : 1) << c.name << run.err.toStdString();
        EXPECT_EQ(run.out, c.found ? sim.path() + '\n' : QStringLiteral("QZ62 not found\n"))
            << c.name;
    }
}

TEST(LinkCli, SendPrintsEveryReplyLine) {
    SimProcess sim;
    const CtlResult run = ctl({"send", "--port", sim.path(), "C", "H 1 2 3 4 5", "H", "k"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts),
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
    for (const QStringList& args : cases) {
        const CtlResult run = ctl(args);
        EXPECT_EQ(run.exitCode, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(isOneErrorLine(run.err)) << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << args.join(' ').toStdString();
    }
}

} // namespace
