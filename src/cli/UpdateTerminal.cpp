#include "UpdateTerminal.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTimer>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <unistd.h>

namespace cli {

namespace {
constexpr int kBarWidth = 30;
std::atomic<bool> g_interrupted{false};
struct sigaction g_oldInt {};
struct sigaction g_oldTerm {};

void onInterrupt(int signal) {
    g_interrupted.store(true);
    // The next one ends the program, as it would have without the guard.
    std::signal(signal, SIG_DFL);
}

// The message without its figures: "micro preload 12 percent" -> "micro preload  percent".
QString phaseOf(const QString& message) {
    QString phase;
    for (const QChar c : message)
        if (!c.isDigit() && c != QLatin1Char('.'))
            phase += c;
    return phase;
}
} // namespace

ProgressShow::ProgressShow() : m_terminal(::isatty(fileno(stdout)) == 1) {}

void ProgressShow::show(const Progress& progress) {
    const int percent = qBound(0, progress.percent, 100);
    if (m_terminal) {
        const int filled = percent * kBarWidth / 100;
        const QByteArray bar = QByteArray(filled, '#') + QByteArray(kBarWidth - filled, '.');
        std::printf("\r[%s] %3d%%  %-40.40s", bar.constData(), percent,
                    progress.msg.toLocal8Bit().constData());
        std::fflush(stdout);
        m_open = true;
        return;
    }
    const QString phase = phaseOf(progress.msg);
    if (phase == m_phase && percent / 10 == m_tenths)
        return;
    m_phase = phase;
    m_tenths = percent / 10;
    std::printf("%3d%%  %s\n", percent, progress.msg.toLocal8Bit().constData());
    std::fflush(stdout);
}

void ProgressShow::complete(const QString& message) {
    if (m_terminal)
        show({message, 100});
}

void ProgressShow::finish() {
    if (m_open)
        std::fputc('\n', stdout);
    std::fflush(stdout);
    m_open = false;
}

bool confirm(const QString& question) {
    std::fprintf(stderr, "%s [y/N] ", question.toLocal8Bit().constData());
    std::fflush(stderr);
    char answer[64] = {};
    const bool read = std::fgets(answer, sizeof answer, stdin) != nullptr;
    // A terminal echoes the answer and its Enter; a script's pipe does not.
    if (::isatty(fileno(stdin)) != 1)
        std::fputc('\n', stderr);
    return read && (answer[0] == 'y' || answer[0] == 'Y');
}

InterruptGuard::InterruptGuard() {
    g_interrupted.store(false);
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &g_oldInt);
    sigaction(SIGTERM, &action, &g_oldTerm);
}

InterruptGuard::~InterruptGuard() {
    sigaction(SIGINT, &g_oldInt, nullptr);
    sigaction(SIGTERM, &g_oldTerm, nullptr);
}

bool InterruptGuard::interrupted() const {
    return g_interrupted.load();
}

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    QElapsedTimer timer;
    timer.start();
    // Wakes the loop now and then: a signal does not.
    QTimer tick;
    tick.start(20);
    while (!done()) {
        if (timeoutMs >= 0 && timer.elapsed() >= timeoutMs)
            return false;
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 20);
    }
    return true;
}

} // namespace cli
