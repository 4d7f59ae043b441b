#include "panel/PanelController.h"

#include "Version.h"
#include "link/ComThread.h"
#include "link/NetworkLink.h"
#include "panel/InhibitPing.h"
#include "panel/UpdateController.h"
#include "protocol/Commands.h"
#include "protocol/MsgClass.h"

#include <QStringList>

PanelController::PanelController(QObject* parent)
    : QObject(parent), m_parser(this), m_settings(m_parser, this),
      m_updates(std::make_unique<UpdateController>(*this)) {
    m_timer.setInterval(kTickMs);
    connect(&m_timer, &QTimer::timeout, this, &PanelController::timer_service);
}

PanelController::~PanelController() {
    m_updates->shutdown();
    if (m_comThread)
        m_comThread->stopThread();
}

void PanelController::setTickIntervalMs(int ms) {
    m_timer.setInterval(ms);
}

void PanelController::startUp() {
    m_msg = std::make_unique<MsgClass>();
    m_comThread = std::make_unique<ComThread>();
    m_comThread->setNetworkSender(m_network);
    if (!m_searchDirectory.isEmpty())
        m_comThread->setSearchDirectory(m_searchDirectory);
    if (!m_explicitPort.isEmpty())
        m_comThread->setPort(m_explicitPort);
    m_parser.setCommandSink(m_comThread.get());
    m_settings.setCommandSink(m_comThread.get());
    m_timer.start();
    if (openLink())
        getInitValues();
    showLinkInTitle();
}

void PanelController::setPrompts(PanelPrompts* prompts) {
    m_prompts = prompts;
    m_parser.setPrompts(prompts);
    m_settings.setPrompts(prompts);
}

void PanelController::setNetworkLink(NetworkLink* link) {
    if (m_network)
        disconnect(m_network, nullptr, this, nullptr);
    m_network = link;
    m_networkService.clear();
    showLinkInTitle();
    if (m_comThread)
        m_comThread->setNetworkSender(link);
    if (!link)
        return;
    // Queued, as from a link thread: the parser may open an alert, and the
    // stream's callbacks must not wait for it.
    connect(link, &NetworkLink::hasString, this, &PanelController::threadHasString,
            Qt::QueuedConnection);
    connect(
        link, &NetworkLink::outputOpened, this, [this] { getInitValues(); }, Qt::QueuedConnection);
    connect(link, &NetworkLink::stateChanged, this,
            [this](NetworkLink::State state, const QString& detail) {
                m_networkService = state == NetworkLink::State::Connected ? detail : QString();
                showLinkInTitle();
            });
}

bool PanelController::openLink() {
    m_unansweredPings = 0;
    if (m_comThread->openUsbSerial() != 0) {
        // The banner names why a port could not be opened, with the fix when
        // there is a simple one; otherwise it points at the cable.
        QString detail = m_comThread->lastOpenError();
        const QString remedy = m_comThread->openErrorRemedy();
        if (!remedy.isEmpty())
            detail += QLatin1Char('\n') + remedy;
        setLinkState(LinkState::NotFound, detail);
        return false;
    }
    m_comThread->startThread(this);
    setLinkState(LinkState::Connected, m_comThread->com());
    return true;
}

bool PanelController::reconnect() {
    if (!m_comThread)
        return false;
    if (m_linkState == LinkState::UpdateFailed)
        m_parser.setProgressDowncount(1); // the failure was read; it goes now
    m_comThread->stopThread();
    m_msg = std::make_unique<MsgClass>();
    if (!openLink())
        return false;
    getInitValues();
    return true;
}

void PanelController::updateFailed() {
    setLinkState(LinkState::UpdateFailed, m_comThread ? m_comThread->com() : QString());
}

void PanelController::windowClosing() {
    m_timer.stop();
    m_updates->shutdown();
    if (m_comThread) {
        m_comThread->stopThread();
        m_parser.setCommandSink(nullptr);
        m_settings.setCommandSink(nullptr);
        m_comThread.reset();
    }
    m_msg.reset();
    m_pendingLines.clear();
    setLinkState(LinkState::Closed, QString());
}

void PanelController::timer_service() {
    m_parser.tickProgress();
    if (m_pingDowncount != 0) {
        --m_pingDowncount;
        return;
    }
    if (!inhibitPing.load() && m_comThread && m_comThread->isRunning()) {
        if (m_unansweredPings >= kUnansweredPings && m_linkState == LinkState::Connected)
            setLinkState(LinkState::NotAnswering, m_comThread->com());
        m_comThread->sendString(cmd::ping());
        ++m_unansweredPings;
    }
    m_pingDowncount = kPingTicks;
}

void PanelController::setWindowTitle(const QString& suffix) {
    QString title = QStringLiteral("QZ62A version %1").arg(QLatin1String(qz62::kAppVersion));
    if (!suffix.isNull())
        title += QLatin1Char('-') + suffix;
    m_windowTitle = title;
    emit windowTitleChanged(title);
}

// Anything from the unit proves it is there; after a silence it may have been
// powered off and on, so every setting is read again.
void PanelController::unitSpoke() {
    m_unansweredPings = 0;
    if (m_linkState == LinkState::NotAnswering) {
        setLinkState(LinkState::Connected, m_comThread ? m_comThread->com() : QString());
        getInitValues();
    }
}

void PanelController::threadHasMsg(MsgClass chunk) {
    if (!m_msg)
        return;
    unitSpoke();
    for (const QString& line : m_msg->drain(chunk))
        if (!line.isEmpty())
            m_pendingLines.push_back(line);
    processLines();
}

void PanelController::processLines() {
    if (m_processing)
        return; // the outer call goes on with these, in order
    m_processing = true;
    while (!m_pendingLines.empty()) {
        const QString line = m_pendingLines.front();
        m_pendingLines.pop_front();
        m_parser.processRxString(line);
        emit rxLine(line);
    }
    m_processing = false;
}

void PanelController::threadHasString(const QString& text) {
    unitSpoke();
    // In line with the serial chunks: behind any lines still waiting for an
    // open alert.
    for (const QString& piece : text.split(QLatin1Char('\n'))) {
        QString line = piece;
        if (line.endsWith(QLatin1Char('\r')))
            line.chop(1);
        if (!line.isEmpty())
            m_pendingLines.push_back(line);
    }
    processLines();
}

void PanelController::threadLinkLost(const QString& reason) {
    if (m_comThread)
        m_comThread->stopThread();
    setLinkState(LinkState::Lost, reason);
}

void PanelController::setLinkState(LinkState state, const QString& detail) {
    m_linkState = state;
    m_linkDetail = detail;
    emit linkStateChanged(state, detail);
    showLinkInTitle();
}

// The title names where the commands go, as the banner does.
void PanelController::showLinkInTitle() {
    if (!m_networkService.isEmpty()) {
        setWindowTitle(m_networkService);
        return;
    }
    const QString port = m_comThread ? m_comThread->com() : QString();
    switch (m_linkState) {
    case LinkState::Connected:
        setWindowTitle(port);
        return;
    case LinkState::NotAnswering:
        setWindowTitle(port + QStringLiteral(" (not answering)"));
        return;
    case LinkState::Lost:
        setWindowTitle(QString::fromLatin1(kLostTitle));
        return;
    case LinkState::UpdateFailed:
        setWindowTitle(port + QStringLiteral(" (update failed)"));
        return;
    case LinkState::Idle:
    case LinkState::NotFound:
    case LinkState::Closed:
        break;
    }
    setWindowTitle(QString::fromLatin1(kNotFoundTitle));
}
