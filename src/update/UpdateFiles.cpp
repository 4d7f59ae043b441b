#include "update/UpdateFiles.h"

#include "update/MicroUpdateThread.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QStringDecoder>

namespace updatefiles {

QString unitDataDirectory() {
    const QString fromEnvironment = qEnvironmentVariable(kDataEnvironment);
    if (!fromEnvironment.isEmpty())
        return QDir::cleanPath(fromEnvironment);
    return QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                           QStringLiteral("/unit"));
}

QString unitDataPath(const QString& fileName) {
    return QDir(unitDataDirectory()).filePath(fileName);
}

QString missingMessage(const QString& fileName) {
    return QStringLiteral("The unit's file %1 is missing. It comes with the unit's firmware: put "
                          "it in %2 (or start with --unit-data pointing at its folder). Nothing "
                          "was sent.")
        .arg(fileName, QDir::toNativeSeparators(unitDataDirectory()));
}

UpdateText readUpdateText(const QString& path, qint64 maxBytes, const QString& unreadableMessage) {
    const QFileInfo info(path);
    const QString name = info.fileName();
    if (!info.isFile())
        return {QString(), unreadableMessage};
    if (info.size() > maxBytes)
        return {QString(), QStringLiteral("%1 is %2 bytes, more than an update file can be (%3 "
                                          "bytes). Nothing was sent.")
                               .arg(name)
                               .arg(info.size())
                               .arg(maxBytes)};
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {QString(), unreadableMessage};
    // The size is checked again on what is read: the file may have grown.
    const QByteArray bytes = file.read(maxBytes + 1);
    if (bytes.size() > maxBytes)
        return {QString(), QStringLiteral("%1 is larger than an update file can be (%2 bytes). "
                                          "Nothing was sent.")
                               .arg(name)
                               .arg(maxBytes)};
    QStringDecoder decode(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    const QString text = decode(bytes);
    if (decode.hasError() || bytes.contains('\0'))
        return {QString(), QStringLiteral("%1 is not a text file. Nothing was sent.").arg(name)};
    return {text, QString()};
}

UpdateText readUnitText(const QString& fileName, qint64 maxBytes) {
    const QString path = unitDataPath(fileName);
    if (!QFileInfo(path).isFile())
        return {QString(), missingMessage(fileName)};
    return readUpdateText(
        path, maxBytes,
        QStringLiteral("%1 cannot be read. Nothing was sent.").arg(QDir::toNativeSeparators(path)));
}

QByteArray readLoader(QString* error) {
    const QString name = QString::fromLatin1(kLoaderFile);
    const QString path = unitDataPath(name);
    QFile file(path);
    if (!QFileInfo(path).isFile()) {
        *error = missingMessage(name);
        return {};
    }
    const qint64 size = QFileInfo(path).size();
    if (size != MicroUpdateThread::kLoaderBytes || !file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("%1 is %2 bytes; the unit's loader is %3 bytes. Nothing was sent.")
                     .arg(QDir::toNativeSeparators(path))
                     .arg(size)
                     .arg(MicroUpdateThread::kLoaderBytes);
        return {};
    }
    const QByteArray loader = file.read(MicroUpdateThread::kLoaderBytes + 1);
    if (loader.size() != MicroUpdateThread::kLoaderBytes) {
        *error = QStringLiteral("%1 cannot be read. Nothing was sent.")
                     .arg(QDir::toNativeSeparators(path));
        return {};
    }
    error->clear();
    return loader;
}

QStringList updateLines(const QString& text) {
    QString normal = text;
    normal.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    return normal.split(QLatin1Char('\n'));
}

QString withoutEndOfFile(const QString& text) {
    qsizetype end = text.size();
    while (end > 0 && (text.at(end - 1) == QChar(0x1a) || text.at(end - 1).isSpace()))
        --end;
    return text.left(end);
}

bool hasExtension(const QString& path, const QString& extension) {
    return QFileInfo(path).suffix().toLower() == extension;
}

} // namespace updatefiles
