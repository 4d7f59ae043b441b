#include "update/UpdatePlan.h"

#include "protocol/CommandSink.h"
#include "update/UpdateFiles.h"

#include <QFileInfo>

namespace updateplan {

namespace {
const QString kProblemOpening = QStringLiteral("problem opening file, try again");

UpdateCheck refuse(UpdateStatus status, const QString& message) {
    return {status, message};
}

QString noProgramMessage(const QString& name, const MicroImage& image) {
    QString message = QStringLiteral("%1 holds no program for the unit: no S1 data between %2 "
                                     "and %3, where the unit runs its program.")
                          .arg(name)
                          .arg(MicroImage::kProgramStart, 0, 16)
                          .arg(MicroImage::kProgramEnd, 0, 16);
    if (image.wideRecords > 0)
        message += QStringLiteral(" Its %1 S2/S3 records (24- and 32-bit addresses) are for "
                                  "another device.")
                       .arg(image.wideRecords);
    return message + QStringLiteral(" Nothing was sent.");
}
} // namespace

UpdateCheck checkRoute(Route route, bool serialUnit, bool networkOpen) {
    if (route == Route::Serial && !serialUnit)
        return refuse(UpdateStatus::NoUnit,
                      QStringLiteral("No unit is connected on a USB-serial port: this update "
                                     "needs the serial connection. Nothing was sent."));
    if (route == Route::Network && !networkOpen)
        return refuse(UpdateStatus::NoUnit,
                      QStringLiteral("No network link is open: firmware and fonts reach the unit "
                                     "only through its network proxy. Nothing was sent."));
    return {};
}

UpdateCheck readMicroFile(const QString& path, QStringList* lines) {
    if (!updatefiles::hasExtension(path, QStringLiteral("s19")))
        return refuse(UpdateStatus::RefusedFile,
                      QStringLiteral("select a file with .s19 extension"));
    const updatefiles::UpdateText file =
        updatefiles::readUpdateText(path, updatefiles::kMaxS19Bytes, kProblemOpening);
    if (!file.ok())
        return refuse(UpdateStatus::RefusedFile, file.error);
    *lines = updatefiles::updateLines(updatefiles::withoutEndOfFile(file.text));
    const QString name = QFileInfo(path).fileName();
    const MicroImage image = prepareMicroImage(*lines, SettingsArea());
    if (!image.unreadLines.isEmpty())
        return refuse(UpdateStatus::RefusedFile,
                      QStringLiteral("Line %1 of %2 is not a valid S-record (%3 such lines): the "
                                     "file is damaged. Nothing was sent.")
                          .arg(image.unreadLines.first())
                          .arg(name)
                          .arg(image.unreadLines.size()));
    if (image.programRecords == 0)
        return refuse(UpdateStatus::RefusedFile, noProgramMessage(name, image));
    return {};
}

UpdateCheck readLoader(QByteArray* loader) {
    QString error;
    *loader = updatefiles::readLoader(&error);
    if (loader->isEmpty())
        return refuse(UpdateStatus::MissingUnitData, error);
    return {};
}

UpdateCheck checkSettings(const SettingsAreaReader& reader) {
    const QString problem = reader.problem();
    if (!problem.isEmpty())
        return refuse(UpdateStatus::SettingsUnread, problem);
    return {};
}

UpdateCheck readImageFile(const QString& path, QString* text) {
    if (!updatefiles::hasExtension(path, QStringLiteral("mcs")))
        return refuse(UpdateStatus::RefusedFile,
                      QStringLiteral("select a file with .mcs extension"));
    const updatefiles::UpdateText file =
        updatefiles::readUpdateText(path, updatefiles::kMaxMcsBytes, kProblemOpening);
    if (!file.ok())
        return refuse(UpdateStatus::RefusedFile, file.error);
    *text = file.text;
    return {};
}

UpdateCheck readUnitImage(const QString& fileName, QString* text) {
    const updatefiles::UpdateText file =
        updatefiles::readUnitText(fileName, updatefiles::kMaxMcsBytes);
    if (!file.ok())
        return refuse(UpdateStatus::MissingUnitData, file.error);
    *text = file.text;
    return {};
}

int sendOverNetwork(NetworkSender& network, const QString& text) {
    QString normal = text;
    normal.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    const qsizetype lines = normal.count(QLatin1Char('\n')) + 1;
    if (network.sendStringToNetwork(QStringLiteral(" u 0")) < 0)
        return -1;
    network.sendStringToNetwork(normal);
    return int(qMin<qsizetype>(lines, 0x7fffffff));
}

int networkPercent(long long count, int lines) {
    const long long scaled = count * 100;
    return int(qMin<long long>(lines != 0 ? scaled / lines : scaled, 0x7fffffff));
}

QString nextStep(UpdateStatus status) {
    switch (status) {
    case UpdateStatus::NoLoaderEcho:
        return QStringLiteral("The unit's program is unchanged, but the unit may be waiting in "
                              "its loader: power-cycle it before using it.");
    case UpdateStatus::NoEraseAck:
        return QStringLiteral("The unit's FLASH may be erased, leaving it without a program: "
                              "power-cycle the unit and run the update again.");
    case UpdateStatus::RecordRefused:
        return QStringLiteral("The unit holds part of the new program only and cannot run it: "
                              "power-cycle the unit and run the update again.");
    case UpdateStatus::LinkLost:
        return QStringLiteral("The connection went away during the update: check the cable, "
                              "power-cycle the unit and run the update again.");
    case UpdateStatus::NoProgress:
        return QStringLiteral("The unit stopped reporting progress: give it a minute, then "
                              "power-cycle it and run the update again if it does not answer.");
    case UpdateStatus::Aborted:
        return QStringLiteral("The unit may have no working program now: power-cycle it and run "
                              "the update again.");
    default:
        return QString();
    }
}

} // namespace updateplan
