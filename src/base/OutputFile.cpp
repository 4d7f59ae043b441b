#include "base/OutputFile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

namespace {

// A device or a pipe, written in place. Opened without waiting: a pipe
// nobody reads from would otherwise hold the writer (and a window) forever.
bool writeInPlace(const QString& path, const QByteArray& bytes, QString* error) {
    const QByteArray name = QFile::encodeName(path);
    const int fd = ::open(name.constData(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        if (error)
            *error = errno == ENXIO ? QStringLiteral("nothing is reading from it")
                                    : QString::fromLocal8Bit(std::strerror(errno));
        return false;
    }
    // Once open, the bytes go out as to any file: all of them, waiting if need be.
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    QFile device;
    if (device.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle) &&
        device.write(bytes) == bytes.size() && device.flush())
        return true;
    if (error)
        *error = device.errorString();
    if (!device.isOpen())
        ::close(fd);
    return false;
}

} // namespace

bool OutputFile::isSpecial(const QString& path) {
    const QFileInfo info(path);
    return info.exists() && !info.isFile();
}

bool OutputFile::write(const QString& path, const QByteArray& bytes, QString* error) {
    if (isSpecial(path))
        return writeInPlace(path, bytes, error);
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return true;
    if (error)
        *error = file.errorString();
    return false;
}
