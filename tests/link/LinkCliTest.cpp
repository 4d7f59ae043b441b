#include <QElapsedTimer>
#include <QFile>
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

TEST(LinkCli, ProbeFindsTheUnit) {
    SimProcess sim;
    ASSERT_FALSE(sim.path().isEmpty());
    const CtlResult byOption = ctl({QStringLiteral("probe"), QStringLiteral("--port"), sim.path()});
    EXPECT_EQ(byOption.exitCode, 0) << byOption.err.toStdString();
    EXPECT_EQ(byOption.out, sim.path() + QLatin1Char('\n'));
    const CtlResult byEnvironment = ctl({QStringLiteral("probe")}, sim.path());
    EXPECT_EQ(byEnvironment.exitCode, 0);
    EXPECT_EQ(byEnvironment.out, sim.path() + QLatin1Char('\n'));
}

TEST(LinkCli, ProbeReportsAUnitThatDoesNotAnswer) {
    struct Case {
        const char* name;
        QStringList simArgs;
    };
    const Case cases[] = {
        {"silent", {QStringLiteral("--silent")}},
        {"another device", {QStringLiteral("--not-qz62")}},
    };
    for (const Case& c : cases) {
        SimProcess sim(c.simArgs);
        const CtlResult run = ctl({QStringLiteral("probe"), QStringLiteral("--port"), sim.path()});
        EXPECT_EQ(run.exitCode, 1) << c.name;
        EXPECT_EQ(run.out, QStringLiteral("QZ62 not found\n")) << c.name;
    }
}

TEST(LinkCli, SendPrintsEveryReplyLine) {
    SimProcess sim;
    const CtlResult run =
        ctl({QStringLiteral("send"), QStringLiteral("--port"), sim.path(), QStringLiteral("C"),
             QStringLiteral("H 1 2 3 4 5"), QStringLiteral("H"), QStringLiteral("k")});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts),
              (QStringList{"C", "C 0 28 0 64 0 ff ff 0", "H 1 2 3 4 5", "H", "H 1 2 3 4 5", "k",
                           "k fc00 30 3.32.6"}));
}

TEST(LinkCli, BadArgumentsAndUnusablePortsExitWithStatus2) {
    QTemporaryDir dir;
    const QString plainFile = dir.filePath(QStringLiteral("plain"));
    QFile file(plainFile);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    const QStringList cases[] = {
        {QStringLiteral("probe"), QStringLiteral("--port")},
        {QStringLiteral("probe"), QStringLiteral("--port"), dir.filePath(QStringLiteral("none"))},
        {QStringLiteral("probe"), QStringLiteral("--port"), plainFile},
        {QStringLiteral("probe"), QStringLiteral("extra")},
        {QStringLiteral("send"), QStringLiteral("--port"), plainFile, QStringLiteral("C")},
        {QStringLiteral("send"), QStringLiteral("--speed"), QStringLiteral("C")},
        {QStringLiteral("send"), QStringLiteral("--port"), plainFile},
    };
    for (const QStringList& args : cases) {
        const CtlResult run = ctl(args);
        EXPECT_EQ(run.exitCode, 2) << args.join(' ').toStdString();
        EXPECT_TRUE(isOneErrorLine(run.err)) << run.err.toStdString();
        EXPECT_TRUE(run.out.isEmpty()) << args.join(' ').toStdString();
    }
}

} // namespace
