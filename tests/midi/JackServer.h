#pragma once

// A JACK server of its own for one test: dummy back end, a unique name, made
// the default for this process (and for the programs it starts) while it runs.
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <atomic>
#include <cstdlib>
#include <unistd.h>

class JackServer {
public:
    JackServer() {
        static std::atomic<int> counter{0};
        m_name = QStringLiteral("qz62test-%1-%2").arg(::getpid()).arg(counter++);
        m_process.setProcessChannelMode(QProcess::MergedChannels);
        m_process.setStandardOutputFile(QProcess::nullDevice());
        m_process.start(QStringLiteral("jackd"),
                        {QStringLiteral("--no-realtime"), QStringLiteral("-n"), m_name,
                         QStringLiteral("-d"), QStringLiteral("dummy"), QStringLiteral("-r"),
                         QStringLiteral("48000"), QStringLiteral("-p"), QStringLiteral("64")});
        if (!m_process.waitForStarted(5000))
            return;
        ::setenv("JACK_DEFAULT_SERVER", m_name.toLocal8Bit().constData(), 1);
        QProcess wait;
        wait.start(QStringLiteral("jack_wait"), {QStringLiteral("-w"), QStringLiteral("-s"), m_name,
                                                 QStringLiteral("-t"), QStringLiteral("10")});
        m_ready = wait.waitForFinished(15000) && wait.exitCode() == 0;
    }
    ~JackServer() {
        ::unsetenv("JACK_DEFAULT_SERVER");
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(2000);
    }
    bool ready() const { return m_ready; }
    QString name() const { return m_name; }
    QProcessEnvironment environment() const {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(QStringLiteral("JACK_DEFAULT_SERVER"), m_name);
        return env;
    }

private:
    QString m_name;
    QProcess m_process;
    bool m_ready = false;
};
