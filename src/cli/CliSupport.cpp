#include "CliSupport.h"

#include <QFile>
#include <cstdio>
#include <sys/stat.h>

namespace cli {

bool takeValue(const QStringList& args, qsizetype& i, QString* value) {
    if (i + 1 >= args.size())
        return false;
    *value = args[++i];
    return true;
}

bool parseTcType(const QString& text, int* type) {
    bool ok = false;
    const int value = text.toInt(&ok);
    if (!ok || value < 0 || value > 3)
        return false;
    *type = value;
    return true;
}

std::optional<QByteArray> readFile(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return file.readAll();
}

void writeStdout(const QByteArray& bytes) {
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    std::fflush(stdout);
}

} // namespace cli

namespace cli {

bool isStandardOutput(const QString& path) {
    struct stat out {};
    struct stat target {};
    return fstat(fileno(stdout), &out) == 0 &&
           stat(QFile::encodeName(path).constData(), &target) == 0 && out.st_dev == target.st_dev &&
           out.st_ino == target.st_ino;
}

void warn(const QString& message) {
    std::fprintf(stderr, "qz62ctl: %s\n", message.toLocal8Bit().constData());
}

} // namespace cli
