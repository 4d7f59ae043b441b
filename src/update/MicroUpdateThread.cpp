#include "update/MicroUpdateThread.h"

#include "base/Diagnostics.h"

#include <thread>

namespace {
const QString kPreloadNotStarted = QStringLiteral("preload failed to start");
const QString kPreloadFailed = QStringLiteral("preload failed");
} // namespace

Progress MicroUpdateThread::run() {
    if (m_records.isEmpty())
        return end(UpdateStatus::RefusedFile, QStringLiteral("sRec array nil or empty"));

    report(QStringLiteral("initializing update, stand by..."), 0);
    diag::print("preload\n");
    discardInput();
    if (!writeAll(QByteArrayLiteral("L\r")))
        return end(UpdateStatus::NoLoaderEcho, kPreloadNotStarted);
    diag::print("sent 'L' command\n");

    // The boot monitor answers within the first 200 ms; after that the wait
    // goes on until two bytes are there (or the user aborts).
    std::this_thread::sleep_for(std::chrono::milliseconds(kWakeMinWaitMs));
    while (bytesAvailable() < 2) {
        if (aborted())
            return abortedEnd();
        if (bytesAvailable() == 1)
            std::this_thread::sleep_for(std::chrono::milliseconds(kWakeStepMs));
        else if (waitReadable(kWakeStepMs * 5) && bytesAvailable() == 0)
            break; // readable with nothing waiting: the port hung up
    }
    const QByteArray wake = readWaiting(4096);
    diag::print("L response bytes: %d chars: \n%s\n", int(wake.size()), wake.constData());
    if (wake.size() < 2)
        return end(UpdateStatus::NoLoaderEcho, kPreloadNotStarted);

    diag::print("sending RIM record");
    for (int i = 0; i < kLoaderBytes; ++i) {
        if (aborted())
            return abortedEnd();
        const char byte = m_loader.at(i);
        const bool written = writeAll(QByteArray(1, byte));
        const int echo = written ? readByte(kEchoWaitMs) : -1;
        if (echo != static_cast<unsigned char>(byte)) {
            diag::print("preload failed at addr %d of %d, res = %d\n", i, kLoaderBytes,
                        echo < 0 ? 0 : 1);
            return end(UpdateStatus::NoLoaderEcho, kPreloadFailed);
        }
        const int percent = i * 100 / kLoaderBytes;
        report(QStringLiteral("micro preload %1 percent").arg(percent), percent);
    }
    return sendRecords();
}

Progress MicroUpdateThread::sendRecords() {
    // The loader erases the FLASH, then acknowledges.
    if (readByte(kEraseWaitMs) != kAck)
        return end(UpdateStatus::NoEraseAck,
                   QStringLiteral("FLASH erase failed, FLASH corrupted!"));
    const qsizetype count = m_records.size();
    for (qsizetype i = 0; i < count; ++i) {
        const QByteArray line = (m_records.at(i).toLatin1() + "\r\n").left(kMaxLineChars);
        const bool written = writeAll(line);
        const int percent = int(i * 100 / count);
        report(QStringLiteral("micro download %1 percent").arg(percent), percent);
        const bool acknowledged = written && readByte(kRecordWaitMs) == kAck;
        if (!acknowledged || aborted())
            return end(acknowledged ? UpdateStatus::Aborted : UpdateStatus::RecordRefused,
                       QStringLiteral("update failed, FLASH corrupted!"));
    }
    return end(UpdateStatus::Success, QString::fromLatin1(kSuccessMessage));
}
