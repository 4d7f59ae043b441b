#include "base/OutputFile.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

bool OutputFile::isSpecial(const QString& path) {
    const QFileInfo info(path);
    return info.exists() && !info.isFile();
}

bool OutputFile::write(const QString& path, const QByteArray& bytes, QString* error) {
    if (isSpecial(path)) {
        QFile device(path);
        if (device.open(QIODevice::WriteOnly) && device.write(bytes) == bytes.size() &&
            device.flush())
            return true;
        if (error)
            *error = device.errorString();
        return false;
    }
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() && file.commit())
        return true;
    if (error)
        *error = file.errorString();
    return false;
}
