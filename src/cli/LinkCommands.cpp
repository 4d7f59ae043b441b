// qz62ctl probe / send: the device link from the command line.
#include "CliCommands.h"

#include "base/Diagnostics.h"
#include "link/ComThread.h"
#include "protocol/MsgClass.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QThread>
#include <cstdio>

namespace {
// The unit counts as finished once it has been quiet this long.
constexpr int kQuietMs = 300;
// However chatty the unit, send gives up after this long.
constexpr int kMaxSendMs = 60000;

struct LinkArgs {
    QString port;
    QStringList rest;
    QString error;
};

LinkArgs parseLinkArgs(const QStringList& args) {
    LinkArgs parsed;
    parsed.port = qEnvironmentVariable("QZ62_PORT");
    for (qsizetype i = 0; i < args.size(); ++i) {
        const QString& a = args.at(i);
        if (a == QLatin1String("--port")) {
            if (i + 1 >= args.size()) {
                parsed.error = QStringLiteral("--port needs a path");
                return parsed;
            }
            parsed.port = args.at(++i);
        } else if (a.startsWith(QLatin1String("--port="))) {
            parsed.port = a.mid(7);
        } else if (a.startsWith(QLatin1String("--")) && parsed.rest.isEmpty()) {
            parsed.error = QStringLiteral("unknown option '%1'").arg(a);
            return parsed;
        } else {
            parsed.rest << a;
        }
    }
    return parsed;
}

// Opens the link; 0 found, otherwise the exit status (message printed).
int openLink(ComThread& link, const LinkArgs& args) {
    diag::setQuiet(true);
    link.setPort(args.port);
    if (link.openUsbSerial() == 0)
        return 0;
    if (!args.port.isEmpty() && !link.lastOpenError().isEmpty()) {
        const QString remedy = link.openErrorRemedy();
        return cli::fail(remedy.isEmpty() ? link.lastOpenError()
                                          : link.lastOpenError() + QStringLiteral(". ") + remedy);
    }
    std::printf("QZ62 not found\n");
    return 1;
}

QString portShown(const ComThread& link) {
    return link.port().isEmpty() ? link.searchDirectory() + QLatin1Char('/') + link.com()
                                 : link.com();
}

// Receives the link thread's chunks and prints the lines they hold.
class ReplyPrinter final : public LinkListener {
public:
    QElapsedTimer lastReceived;
    bool lost = false;

    ReplyPrinter() { lastReceived.start(); }

    void threadHasMsg(MsgClass chunk) override {
        lastReceived.restart();
        for (const QString& line : m_buffer.drain(chunk)) {
            const QByteArray bytes = line.toUtf8();
            std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
            if (!line.endsWith(QLatin1Char('\n')))
                std::fputc('\n', stdout);
        }
        std::fflush(stdout);
    }
    void threadLinkLost(const QString& reason) override {
        lost = true;
        std::fprintf(stderr, "qz62ctl: link lost: %s\n", reason.toLocal8Bit().constData());
    }

private:
    MsgClass m_buffer;
};
} // namespace

namespace cli {
int probe(const QStringList& args) {
    const LinkArgs parsed = parseLinkArgs(args);
    if (!parsed.error.isEmpty())
        return fail(QStringLiteral("probe: ") + parsed.error);
    if (!parsed.rest.isEmpty())
        return fail(QStringLiteral("probe: unexpected argument '%1'").arg(parsed.rest.first()));
    ComThread link;
    if (const int status = openLink(link, parsed))
        return status;
    std::printf("%s\n", portShown(link).toLocal8Bit().constData());
    return 0;
}

int send(const QStringList& args) {
    const LinkArgs parsed = parseLinkArgs(args);
    if (!parsed.error.isEmpty())
        return fail(QStringLiteral("send: ") + parsed.error);
    if (parsed.rest.isEmpty())
        return fail(QStringLiteral("send: no command given"));
    ComThread link;
    if (const int status = openLink(link, parsed))
        return status;

    ReplyPrinter printer;
    link.startThread(&printer);
    for (const QString& command : parsed.rest)
        link.sendString(command);

    // Until everything is written and the unit has been quiet for a while.
    QElapsedTimer total;
    total.start();
    QElapsedTimer sinceQueueEmpty;
    while (!printer.lost && total.elapsed() < kMaxSendMs) {
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        if (link.txCount() > 0) {
            sinceQueueEmpty.invalidate();
        } else if (!sinceQueueEmpty.isValid()) {
            sinceQueueEmpty.start();
        }
        if (sinceQueueEmpty.isValid() && sinceQueueEmpty.elapsed() >= kQuietMs &&
            printer.lastReceived.elapsed() >= kQuietMs)
            break;
        QThread::msleep(1);
    }
    link.stopThread();
    QCoreApplication::processEvents();
    return printer.lost ? 2 : 0;
}
} // namespace cli
