#pragma once

// A JACK server of its own for one test: dummy back end, a unique name, made
// the default for this process (and the programs it starts) while it runs.
//
// Programs are started with fork and exec rather than QProcess: Qt starts
// children vfork-style, sharing the parent's memory until the exec, which
// leaves the thread checker's state of the starting thread corrupted (it then
// misses that thread's locking and reports races that are none).
#include <QString>
#include <QStringList>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace jacktest {

// Starts a program (found on PATH, or a path) with the arguments; its output
// goes to /dev/null. -1 when it cannot be started.
inline pid_t spawn(const QString& program, const QStringList& args) {
    std::vector<QByteArray> bytes{program.toLocal8Bit()};
    for (const QString& arg : args)
        bytes.push_back(arg.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& b : bytes)
        argv.push_back(b.data());
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        // A test that dies (a sanitizer stops it) takes its programs along.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (std::freopen("/dev/null", "w", stdout) && std::freopen("/dev/null", "w", stderr))
            ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    return pid;
}

// The exit status once it has ended, -1 while it runs.
inline int exitStatus(pid_t pid) {
    int status = 0;
    if (::waitpid(pid, &status, WNOHANG) != pid)
        return -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128;
}

inline int waitExit(pid_t pid, std::chrono::milliseconds timeout) {
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    int status = -1;
    while ((status = exitStatus(pid)) < 0 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return status;
}

#ifdef QZ62_BINARY_DIR
// Plays MIDI Time Code into the application's "MIDI In" with qz62ctl mtc and
// gives its exit status (-1 when it could not be run or did not end in time).
// qz62ctl fails at once (status 2) when its JACK client cannot connect, which
// happens now and then while other servers start: it is tried again. `wait`
// waits for a condition for a number of milliseconds, serving events.
template <typename Wait>
int playMtc(const QString& start, const QString& rate, int seconds, Wait wait) {
    int status = 2;
    for (int attempt = 0; attempt < 3 && status == 2; ++attempt) {
        const pid_t mtc =
            spawn(QStringLiteral(QZ62_BINARY_DIR "/src/cli/qz62ctl"),
                  {QStringLiteral("mtc"), QStringLiteral("--out"), QStringLiteral("WB_ADR:MIDI In"),
                   QStringLiteral("--start"), start, QStringLiteral("--rate"), rate,
                   QStringLiteral("--seconds"), QString::number(seconds)});
        if (mtc <= 0 ||
            !wait([&] { return (status = exitStatus(mtc)) >= 0; }, (seconds + 10) * 1000))
            return -1;
    }
    return status;
}
#endif

} // namespace jacktest

class JackServer {
public:
    JackServer() {
        // A server now and then fails to come up when several start at once.
        for (int attempt = 0; attempt < 3 && !m_ready; ++attempt)
            start();
    }
    void start() {
        stop();
        static std::atomic<int> counter{0};
        m_name = QStringLiteral("qz62test-%1-%2").arg(::getpid()).arg(counter++);
        m_pid =
            jacktest::spawn(QStringLiteral("jackd"),
                            {QStringLiteral("--no-realtime"), QStringLiteral("-n"), m_name,
                             QStringLiteral("-d"), QStringLiteral("dummy"), QStringLiteral("-r"),
                             QStringLiteral("48000"), QStringLiteral("-p"), QStringLiteral("64")});
        if (m_pid < 0)
            return;
        ::setenv("JACK_DEFAULT_SERVER", m_name.toLocal8Bit().constData(), 1);
        const pid_t wait = jacktest::spawn(QStringLiteral("jack_wait"),
                                           {QStringLiteral("-w"), QStringLiteral("-s"), m_name,
                                            QStringLiteral("-t"), QStringLiteral("10")});
        m_ready = wait > 0 && jacktest::waitExit(wait, std::chrono::seconds(15)) == 0;
    }
    ~JackServer() { stop(); }
    void stop() {
        ::unsetenv("JACK_DEFAULT_SERVER");
        if (m_pid <= 0)
            return;
        ::kill(m_pid, SIGTERM);
        if (jacktest::waitExit(m_pid, std::chrono::seconds(5)) < 0) {
            ::kill(m_pid, SIGKILL);
            jacktest::waitExit(m_pid, std::chrono::seconds(2));
        }
        m_pid = -1;
    }
    bool ready() const { return m_ready; }

private:
    QString m_name;
    pid_t m_pid = -1;
    bool m_ready = false;
};
