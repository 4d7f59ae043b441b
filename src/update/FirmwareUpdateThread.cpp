#include "update/FirmwareUpdateThread.h"

#include "base/Diagnostics.h"

#include <chrono>

namespace {
using Clock = std::chrono::steady_clock;

const QString kEraseFailed = QStringLiteral("flash erase failed, try again");
const QString kEchoFailed = QStringLiteral("echo failed, try again");
} // namespace

QList<QByteArray> FirmwareUpdateThread::pack(const QStringList& lines, bool* complete,
                                             QList<int>* lineCounts) {
    QList<QByteArray> packed;
    qsizetype next = 0;
    while (next < lines.size()) {
        QByteArray text;
        const qsizetype first = next;
        while (next < lines.size() && text.size() + lines.at(next).size() < kMaxPackedChars)
            text += lines.at(next++).trimmed().toLatin1();
        if (next == first)
            break; // this line alone is too long
        packed.append(text + '\r');
        if (lineCounts)
            lineCounts->append(int(next - first));
    }
    if (complete)
        *complete = next == lines.size();
    return packed;
}

bool FirmwareUpdateThread::enterLoader() {
    if (m_startCommand.isEmpty())
        return true;
    discardInput();
    if (!writeAll(m_startCommand))
        return false;
    // The unit echoes the command and shows its prompt, then starts erasing.
    const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kStartAnswerMs);
    QByteArray answer;
    while (!answer.contains('>')) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0 || !waitReadable(int(left.count())))
            return false;
        const QByteArray more = readWaiting(kMaxReplyChars);
        if (more.isEmpty())
            return false; // hung up
        answer += more;
    }
    return true;
}

Progress FirmwareUpdateThread::run() {
    m_sent.store(0);
    if (!enterLoader())
        return end(UpdateStatus::NoEraseAck, kEraseFailed);
    discardInput();

    // The unit erases its FLASH (up to 20 s) before it says anything.
    for (int pass = 0; pass < kErasePasses && bytesAvailable() == 0; ++pass) {
        if (aborted())
            return abortedEnd();
        report(QStringLiteral("erasing flash"), pass);
        if (waitReadable(kErasePassMs) && bytesAvailable() == 0)
            break; // readable with nothing waiting: the port hung up
    }
    QByteArray reply;
    do {
        reply += readWaiting(kMaxReplyChars - int(reply.size()));
    } while (reply.size() < kMaxReplyChars && waitReadable(kReadyGapMs) && bytesAvailable() > 0);
    if (!reply.contains("ready"))
        return end(UpdateStatus::NoEraseAck, kEraseFailed);
    return sendLines();
}

Progress FirmwareUpdateThread::sendLines() {
    QStringList lines;
    for (const QString& line : m_lines)
        if (!line.trimmed().isEmpty())
            lines.append(line);
    bool complete = false;
    QList<int> counts;
    const QList<QByteArray> transmissions = pack(lines, &complete, &counts);
    if (!complete)
        return end(UpdateStatus::RefusedFile,
                   QStringLiteral("a line is longer than %1 characters, nothing more was sent")
                       .arg(kMaxPackedChars - 2));

    int next = 0;
    for (qsizetype t = 0; t < transmissions.size(); ++t) {
        const QByteArray& tx = transmissions.at(t);
        if (aborted())
            return abortedEnd();
        if (!writeAll(tx))
            return end(UpdateStatus::RecordRefused, kEchoFailed);
        // The echo ends with LF.
        QByteArray rx;
        const Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(kEchoWaitMs);
        while (!rx.endsWith('\n') && rx.size() < kMaxReplyChars) {
            const auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0 || !waitReadable(int(left.count())))
                break;
            const QByteArray more = readWaiting(kMaxReplyChars - int(rx.size()));
            if (more.isEmpty())
                break; // hung up
            rx += more;
        }
        if (!rx.startsWith(tx)) {
            diag::print("tx len: %d rx len: %d\n", int(tx.size()), int(rx.size()));
            diag::print("\ntxd:\n%s\n", tx.constData());
            diag::print("\nrxd:\n%s\n", rx.constData());
            return end(UpdateStatus::RecordRefused, kEchoFailed);
        }
        next += counts.at(t);
        m_sent.store(next);
        const double percent = double(next) / double(lines.size()) * 100.0;
        report(QStringLiteral("firmware update: %1 percent").arg(percent, 0, 'f', 1), int(percent));
    }
    return end(UpdateStatus::Success, QString::fromLatin1(kSuccessMessage));
}
