#pragma once

#include "link/LinkListener.h"
#include "panel/PanelSettings.h"
#include "panel/StatusParser.h"
#include "protocol/MsgClass.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <deque>
#include <memory>

class ComThread;
class NetworkLink;
class PanelPrompts;
class UpdateController;

// The control panel's life with the unit, without widgets: it creates the
// serial link, finds the unit, reads every setting, keeps the link alive with
// a "ping" every 5 s, cuts the received bytes into reply lines for the
// parser, and says at all times whether a unit is there and answering. Main
// thread only; the link thread reaches it only through queued calls.
class PanelController : public QObject, public LinkListener {
    Q_OBJECT
public:
    enum class LinkState {
        Idle,         // not started yet
        Connected,    // a unit answered; detail names the port
        NotFound,     // no unit answered at start-up; detail gives the reason
                      // a port could not be opened (empty when none failed)
        Lost,         // the unit went away; detail gives the reason
        NotAnswering, // the port is there but the unit ignored three pings
        UpdateFailed, // an update failed: the unit waits in its loader, the
                      // link sends nothing until the user connects again
        Closed,       // the window closed, the link is stopped
    };
    Q_ENUM(LinkState)

    static constexpr int kTickMs = 100;   // timer_service period
    static constexpr int kPingTicks = 50; // a "ping" every 5 s
    // Pings in a row that got nothing back before the unit counts as not
    // answering.
    static constexpr int kUnansweredPings = 3;
    static constexpr const char* kNotFoundTitle = "QZ-62A not found";
    static constexpr const char* kLostTitle = "QZ-62A lost";

    explicit PanelController(QObject* parent = nullptr);
    ~PanelController() override;

    // Before startUp(): a port to use instead of searching (the unit must
    // still identify itself), the folder searched for adapters, and the
    // timer period (tests shorten it).
    void setExplicitPort(const QString& path) { m_explicitPort = path; }
    void setSearchDirectory(const QString& dir) { m_searchDirectory = dir; }
    void setTickIntervalMs(int ms);

    // Creates the link, starts the timer, looks for the unit and, when it
    // answers, starts the link thread and reads every setting.
    void startUp();
    // After the unit was lost or not found, or an update failed: search again.
    bool reconnect();
    // An update failed and left the link stopped: says so until reconnect().
    void updateFailed();
    // The main window is closing: stop the link thread.
    void windowClosing();

    // Who shows the panel's alerts and answers its questions (the reply
    // parser's, the FLASH reset's, the updates'). Not owned; null logs the
    // alerts and answers "cancel".
    void setPrompts(PanelPrompts* prompts);
    PanelPrompts* prompts() const { return m_prompts; }

    // The network link offers to carry every command before the serial link
    // does; its replies go to the same parser, and when it opens every
    // setting is read. Not owned; it must outlive this or be unset (nullptr).
    void setNetworkLink(NetworkLink* link);

    void getInitValues() { m_settings.getInitValues(); }
    // Every 0.1 s: hides the transfer progress after its time-out and sends
    // the keep-alive.
    void timer_service();

    // "QZ62A version <app version>-<suffix>"; emitted as windowTitleChanged.
    // The suffix follows the link: the network proxy in use, else the serial
    // port (" (not answering)" while the unit is silent), kLostTitle or
    // kNotFoundTitle.
    void setWindowTitle(const QString& suffix);
    QString windowTitle() const { return m_windowTitle; }

    StatusParser& parser() { return m_parser; }
    PanelSettings& settings() { return m_settings; }
    ComThread* comThread() const { return m_comThread.get(); }
    // The microcontroller, firmware and font updates.
    UpdateController& updates() { return *m_updates; }
    LinkState linkState() const { return m_linkState; }
    QString linkDetail() const { return m_linkDetail; }
    int pingDowncount() const { return m_pingDowncount; }
    // Keep-alive pings sent since the unit last sent anything.
    int unansweredPings() const { return m_unansweredPings; }

    // Called by the link thread (queued): a chunk of received bytes.
    void threadHasMsg(MsgClass chunk) override;
    // Text from the network link: one or more lines.
    Q_INVOKABLE void threadHasString(const QString& text);
    // Called by the link thread (queued) when the port went away.
    void threadLinkLost(const QString& reason) override;

signals:
    // Every non-empty line received, for the log.
    void rxLine(const QString& line);
    void linkStateChanged(PanelController::LinkState state, const QString& detail);
    void windowTitleChanged(const QString& title);

private:
    bool openLink();
    void setLinkState(LinkState state, const QString& detail);
    void showLinkInTitle();
    void unitSpoke();
    void processLines();

    StatusParser m_parser;
    PanelSettings m_settings;
    std::unique_ptr<ComThread> m_comThread;
    NetworkLink* m_network = nullptr;
    QString m_networkService; // the proxy whose stream is open, if any
    PanelPrompts* m_prompts = nullptr;
    std::unique_ptr<UpdateController> m_updates; // borrows the link's port: goes first
    std::unique_ptr<MsgClass> m_msg;
    QTimer m_timer;
    int m_pingDowncount = 0;
    int m_unansweredPings = 0;
    // Lines received but not parsed yet, oldest first. A reply that opens an
    // alert runs a nested event loop in which newer chunks arrive; they wait
    // here behind the older lines.
    std::deque<QString> m_pendingLines;
    bool m_processing = false;
    QString m_explicitPort;
    QString m_searchDirectory;
    QString m_windowTitle;
    LinkState m_linkState = LinkState::Idle;
    QString m_linkDetail;
};
