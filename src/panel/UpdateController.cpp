#include "panel/UpdateController.h"

#include "base/Diagnostics.h"
#include "link/ComThread.h"
#include "panel/InhibitPing.h"
#include "panel/PanelController.h"
#include "panel/PanelPrompts.h"
#include "update/MicroImage.h"
#include "update/UpdateFiles.h"

#include <QFileInfo>

namespace {
const QString kProblemOpening = QStringLiteral("problem opening file, try again");
} // namespace

UpdateController::UpdateController(PanelController& panel) : m_panel(panel) {}

UpdateController::~UpdateController() {
    shutdown();
}

bool UpdateController::hasNetworkLink() const {
    const ComThread* link = m_panel.comThread();
    return link && link->networkSender() && link->networkSender()->isOpen();
}

bool UpdateController::refuse(const QString& message) {
    StatusParser& parser = m_panel.parser();
    if (parser.progress().visible)
        parser.setProgressDowncount(kFinalMessageTicks);
    PanelPrompts::alert(m_panel.prompts(), message);
    emit finished(message);
    return false;
}

bool UpdateController::askToErase() {
    return PanelPrompts::confirm(m_panel.prompts(), QString::fromLatin1(kEraseQuestion));
}

void UpdateController::beginMicroUpdate() {
    StatusParser& parser = m_panel.parser();
    emit parser.showUnitTab();
    parser.mutableMemory().stateAddress = 0;
    parser.mutableMemory().stateSize = 0;
    if (ComThread* link = m_panel.comThread()) {
        for (const char* command : {"k", "j fc00", "j fc10", "j fc20", "j fc30", "A 1"})
            link->sendString(QString::fromLatin1(command));
    }
}

bool UpdateController::startMicroUpdate(const QString& s19Path) {
    if (isRunning())
        return false;
    if (!updatefiles::hasExtension(s19Path, QStringLiteral("s19")))
        return refuse(QStringLiteral("select a file with .s19 extension"));
    StatusParser& parser = m_panel.parser();
    parser.showUpdateProgress(0, QStringLiteral("loading S Record file..."));
    const updatefiles::UpdateText file =
        updatefiles::readUpdateText(s19Path, updatefiles::kMaxS19Bytes, kProblemOpening);
    if (!file.ok())
        return refuse(file.error);

    const UnitMemory& memory = parser.memory();
    SettingsArea area;
    area.bytes = QByteArray(reinterpret_cast<const char*>(memory.stateBuffer.data()),
                            qsizetype(memory.stateBuffer.size()));
    area.address = memory.stateAddress;
    area.size = memory.stateSize;
    const MicroImage image = prepareMicroImage(updatefiles::updateLines(file.text), area);
    if (!image.unreadLines.isEmpty())
        return refuse(QStringLiteral("Line %1 of %2 is not a valid S-record (%3 such lines): the "
                                     "file is damaged. Nothing was sent.")
                          .arg(image.unreadLines.first())
                          .arg(QFileInfo(s19Path).fileName())
                          .arg(image.unreadLines.size()));
    QString error;
    const QByteArray loader = updatefiles::readLoader(&error);
    if (loader.isEmpty())
        return refuse(error);
    if (!serialPortReady())
        return false;
    if (!askToErase()) {
        parser.setProgressDowncount(1);
        return false;
    }
    m_micro.setSRecArray(image.records);
    m_micro.setLoader(loader);
    return startSerial(m_micro);
}

bool UpdateController::startFirmwareUpdate(const QString& mcsPath) {
    if (isRunning())
        return false;
    if (ComThread* link = m_panel.comThread())
        link->sendString(QStringLiteral("A 1"));
    if (!updatefiles::hasExtension(mcsPath, QStringLiteral("mcs")))
        return refuse(QStringLiteral("select a file with .mcs extension"));
    const updatefiles::UpdateText file =
        updatefiles::readUpdateText(mcsPath, updatefiles::kMaxMcsBytes, kProblemOpening);
    if (!file.ok())
        return refuse(file.error);
    const QStringList lines = updatefiles::updateLines(file.text);
    const QString tooLong = updatefiles::checkMcsLines(lines, QFileInfo(mcsPath).fileName());
    if (!tooLong.isEmpty())
        return refuse(tooLong);
    if (hasNetworkLink())
        return sendOverNetwork(file.text);
    if (!serialPortReady())
        return false;
    if (!askToErase())
        return false;
    m_firmware.setArray(lines);
    // The same command that starts an update through the network proxy.
    m_firmware.setStartCommand(QByteArrayLiteral(" u 0\r"));
    m_panel.parser().showUpdateProgress(0, QStringLiteral("initializing update, stand by..."));
    return startSerial(m_firmware);
}

bool UpdateController::defaultMicroUpdate() {
    return defaultUpdate(updatefiles::kMicroResource);
}

bool UpdateController::defaultFirmwareUpdate() {
    return defaultUpdate(updatefiles::kFirmwareResource);
}

bool UpdateController::defaultFontUpdate() {
    return defaultUpdate(updatefiles::kFontsResource);
}

bool UpdateController::defaultUpdate(const char* fileName) {
    if (isRunning())
        return false;
    const QString name = QString::fromLatin1(fileName);
    const updatefiles::UpdateText file = updatefiles::readUnitText(name, updatefiles::kMaxMcsBytes);
    if (!file.ok())
        return refuse(file.error);
    if (name.endsWith(QLatin1String(".mcs"))) {
        const QString tooLong =
            updatefiles::checkMcsLines(updatefiles::updateLines(file.text), name);
        if (!tooLong.isEmpty())
            return refuse(tooLong);
    }
    return sendOverNetwork(file.text);
}

bool UpdateController::sendOverNetwork(const QString& text) {
    // Without a network link nothing goes out and nothing needs confirming.
    if (hasNetworkLink() && !askToErase())
        return false;
    return sendUpdateToTarget(text) == 0;
}

int UpdateController::sendUpdateToTarget(const QString& text) {
    QString normal = text;
    normal.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    const qsizetype lines = normal.split(QLatin1Char('\n')).size();
    m_panel.parser().setProgressMaxCount(int(qMin<qsizetype>(lines, 0x7fffffff)));
    diag::print("number of records: %d\n", int(lines));
    inhibitPing.store(true);
    ComThread* link = m_panel.comThread();
    NetworkSender* network = link ? link->networkSender() : nullptr;
    if (network && network->sendStringToNetwork(QStringLiteral(" u 0")) >= 0) {
        network->sendStringToNetwork(normal);
        return 0;
    }
    // Nothing went out: no "u 0" will come to end the hold.
    inhibitPing.store(false);
    return -1;
}

bool UpdateController::serialPortReady() {
    const ComThread* link = m_panel.comThread();
    // While the network stream is open, commands (the settings-area reads
    // before a microcontroller update) go to the unit behind it instead.
    if (link && link->fd() >= 0 && !hasNetworkLink())
        return true;
    return refuse(QStringLiteral("No unit is connected on a USB-serial port: this update needs "
                                 "the serial connection. Nothing was sent."));
}

bool UpdateController::startSerial(UpdateEngine& engine) {
    ComThread* link = m_panel.comThread();
    inhibitPing.store(true);
    m_loan = std::make_unique<TransportLoan>(link->lendTransport());
    if (!*m_loan) {
        m_loan.reset();
        inhibitPing.store(false);
        return refuse(QStringLiteral("The serial port is not open. Nothing was sent."));
    }
    engine.setTransport(m_loan->port());
    if (engine.startThread(this) != 0) {
        engine.setTransport(nullptr);
        m_loan.reset();
        inhibitPing.store(false);
        return refuse(QStringLiteral("The update could not start. Nothing was sent."));
    }
    emit runningChanged(true);
    return true;
}

void UpdateController::abort() {
    m_micro.requestAbort();
    m_firmware.requestAbort();
}

void UpdateController::shutdown() {
    m_micro.stopThread();
    m_firmware.stopThread();
    m_micro.setTransport(nullptr);
    m_firmware.setTransport(nullptr);
    if (m_loan) {
        m_loan.reset();
        inhibitPing.store(false);
    }
}

void UpdateController::threadHasProgress(const Progress& progress) {
    m_panel.parser().showUpdateProgress(progress.percent, progress.msg);
}

void UpdateController::threadUpdateComplete(const Progress& progress) {
    StatusParser& parser = m_panel.parser();
    parser.showUpdateProgress(progress.percent, progress.msg);
    parser.setProgressDowncount(kFinalMessageTicks);
    // The port goes back to the link at 38400 baud and the link runs again.
    shutdown();
    emit finished(progress.msg);
    emit runningChanged(false);
}
