#include "panel/UpdateController.h"

#include "base/Diagnostics.h"
#include "link/ComThread.h"
#include "panel/InhibitPing.h"
#include "panel/PanelController.h"
#include "panel/PanelPrompts.h"
#include "update/MicroImage.h"
#include "update/UpdateFiles.h"

using updateplan::Route;

UpdateController::UpdateController(PanelController& panel) : m_panel(panel) {
    m_settingsWait.setSingleShot(true);
    connect(&m_settingsWait, &QTimer::timeout, this, [this] {
        if (m_waitingForSettings)
            continueMicroUpdate();
    });
    connect(&panel, &PanelController::rxLine, this, &UpdateController::onReply);
}

UpdateController::~UpdateController() {
    shutdown();
}

bool UpdateController::hasNetworkLink() const {
    const ComThread* link = m_panel.comThread();
    return link && link->networkSender() && link->networkSender()->isOpen();
}

bool UpdateController::hasSerialUnit() const {
    const ComThread* link = m_panel.comThread();
    return link && link->hasSerialPort() && link->isRunning();
}

bool UpdateController::refuse(const UpdateCheck& check) {
    StatusParser& parser = m_panel.parser();
    if (parser.progress().visible)
        parser.setProgressDowncount(kFinalMessageTicks);
    PanelPrompts::alert(m_panel.prompts(), check.message);
    emit finished(check.message);
    return false;
}

bool UpdateController::askToErase(const QString& detail) {
    QString question = QString::fromLatin1(updateplan::kEraseQuestion);
    if (!detail.isEmpty())
        question += QStringLiteral("\n\n") + detail;
    return PanelPrompts::confirm(m_panel.prompts(),
                                 question + QStringLiteral("\n\nStart the update?"));
}

bool UpdateController::beginMicroUpdate() {
    if (isRunning())
        return false;
    const UpdateCheck route = updateplan::checkRoute(Route::Serial, hasSerialUnit(), false);
    if (!route.ok())
        return refuse(route);
    StatusParser& parser = m_panel.parser();
    emit parser.showUnitTab();
    parser.mutableMemory().stateAddress = 0;
    parser.mutableMemory().stateSize = 0;
    m_settings.reset();
    m_readingSettings = true;
    m_panel.comThread()->sendStringSerial(SettingsAreaReader::startCommand());
    return true;
}

// The unit's replies while its settings are read: each row it reports is
// asked for once the size is known, and "A 1" follows the last.
void UpdateController::onReply(const QString& line) {
    if (!m_readingSettings)
        return;
    ComThread* link = m_panel.comThread();
    for (const QString& command : m_settings.takeReply(line))
        if (link)
            link->sendStringSerial(command);
    if (!m_settings.finished())
        return;
    m_readingSettings = false;
    if (m_settings.done() && link)
        link->sendStringSerial(QStringLiteral("A 1"));
    if (m_waitingForSettings)
        continueMicroUpdate();
}

bool UpdateController::startMicroUpdate(const QString& s19Path) {
    if (isRunning())
        return false;
    if (const UpdateCheck route = updateplan::checkRoute(Route::Serial, hasSerialUnit(), false);
        !route.ok())
        return refuse(route);
    m_panel.parser().showUpdateProgress(0, QStringLiteral("loading S Record file..."));
    UpdateCheck check = updateplan::readMicroFile(s19Path, &m_microLines);
    if (check.ok())
        check = updateplan::readLoader(&m_loader);
    if (!check.ok())
        return refuse(check);
    if (!m_readingSettings)
        return continueMicroUpdate();
    // The settings are still on their way.
    m_waitingForSettings = true;
    m_settingsWait.start(kSettingsWaitMs);
    m_panel.parser().showUpdateProgress(0, QStringLiteral("reading the unit's settings..."));
    emit runningChanged(true);
    return true;
}

void UpdateController::stopWaiting() {
    m_settingsWait.stop();
    m_readingSettings = false;
    if (!m_waitingForSettings)
        return;
    m_waitingForSettings = false;
    emit runningChanged(false);
}

bool UpdateController::continueMicroUpdate() {
    stopWaiting();
    UpdateCheck check = updateplan::checkSettings(m_settings);
    if (check.ok())
        check = updateplan::checkRoute(Route::Serial, hasSerialUnit(), false);
    if (!check.ok())
        return refuse(check);
    if (!askToErase(m_settings.summary())) {
        m_panel.parser().setProgressDowncount(1);
        return false;
    }
    const MicroImage image = prepareMicroImage(m_microLines, m_settings.area());
    m_micro.setSRecArray(image.records);
    m_micro.setLoader(m_loader);
    return startSerial(m_micro);
}

bool UpdateController::beginFirmwareUpdate() {
    if (isRunning())
        return false;
    const UpdateCheck route = updateplan::checkRoute(Route::Network, false, hasNetworkLink());
    if (!route.ok())
        return refuse(route);
    m_panel.comThread()->sendString(QStringLiteral("A 1"));
    return true;
}

bool UpdateController::startFirmwareUpdate(const QString& mcsPath) {
    if (isRunning())
        return false;
    UpdateCheck check = updateplan::checkRoute(Route::Network, false, hasNetworkLink());
    QString text;
    if (check.ok())
        check = updateplan::readImageFile(mcsPath, &text);
    if (!check.ok())
        return refuse(check);
    return sendOverNetwork(text);
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
    UpdateCheck check = updateplan::checkRoute(Route::Network, false, hasNetworkLink());
    QString text;
    if (check.ok())
        check = updateplan::readUnitImage(QString::fromLatin1(fileName), &text);
    if (!check.ok())
        return refuse(check);
    return sendOverNetwork(text);
}

bool UpdateController::sendOverNetwork(const QString& text) {
    if (!askToErase(QString()))
        return false;
    return sendUpdateToTarget(text) == 0;
}

int UpdateController::sendUpdateToTarget(const QString& text) {
    inhibitPing.store(true);
    ComThread* link = m_panel.comThread();
    NetworkSender* network = link ? link->networkSender() : nullptr;
    const int lines = network ? updateplan::sendOverNetwork(*network, text) : -1;
    if (lines < 0) {
        // Nothing went out: no "u 0" will come to end the hold.
        inhibitPing.store(false);
        return -1;
    }
    m_panel.parser().setProgressMaxCount(lines);
    diag::print("number of records: %d\n", lines);
    return 0;
}

bool UpdateController::startSerial(UpdateEngine& engine) {
    ComThread* link = m_panel.comThread();
    inhibitPing.store(true);
    m_loan = std::make_unique<TransportLoan>(link->lendTransport());
    engine.setTransport(m_loan->port());
    if (!*m_loan || engine.startThread(this) != 0) {
        engine.setTransport(nullptr);
        m_loan.reset();
        inhibitPing.store(false);
        return refuse({UpdateStatus::NoUnit,
                       QStringLiteral("The serial port is not open. Nothing was sent.")});
    }
    emit runningChanged(true);
    return true;
}

void UpdateController::abort() {
    m_micro.requestAbort();
}

void UpdateController::shutdown() {
    stopWaiting();
    m_micro.stopThread();
    m_micro.setTransport(nullptr);
    if (m_loan) {
        m_loan.reset();
        inhibitPing.store(false);
    }
}

void UpdateController::threadHasProgress(const Progress& progress) {
    m_panel.parser().showUpdateProgress(progress.percent, progress.msg);
}

void UpdateController::threadUpdateComplete(const Progress& progress) {
    const bool success = progress.status == UpdateStatus::Success;
    StatusParser& parser = m_panel.parser();
    parser.showUpdateProgress(success ? 100 : parser.progress().value, progress.msg);
    // A failure stays on the Unit tab until the user connects again.
    parser.setProgressDowncount(success ? kFinalMessageTicks : 0);
    if (!success && m_loan)
        m_loan->keepLinkStopped(); // the unit waits in its loader
    shutdown();
    emit finished(progress.msg);
    emit runningChanged(false);
    if (!success)
        reportFailure(progress);
}

void UpdateController::reportFailure(const Progress& progress) {
    m_panel.updateFailed();
    PanelPrompts::alert(m_panel.prompts(),
                        QStringLiteral("Update failed: %1\n\n%2\n\nPress Connect once the unit is "
                                       "back.")
                            .arg(progress.msg, updateplan::nextStep(progress.status)));
}
