#pragma once

#include "link/ServiceDiscovery.h"
#include "protocol/CommandSink.h"
#include "protocol/MsgClass.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>
#include <atomic>
#include <memory>

class QTcpSocket;
class QTimer;
class QueuedCalls;

// The unit reached through its network proxy: lists the proxies that service
// discovery finds, connects a TCP stream to the chosen one, sends the panel's
// commands and update files over it and hands the replies to the panel. Once
// connected it takes every command before the serial link sees it
// (ComThread::setNetworkSender).
//
// On a facility with several stages, several units may be found; driving the
// wrong one changes another stage's picture. So a proxy is connected without
// asking only when it is the one used last (setPreferredService: at once,
// when found) or when, once discovery has settled, it is the only one found.
// With several and none remembered the list waits for the user's choice.
//
// The panel is reached only through signals, to be connected queued: the
// received text (hasString) and "the link can send now, read every setting"
// (outputOpened).
//
// Received bytes are read at most kReadChunkBytes at a time; a read that is
// not valid UTF-8 is dropped whole (a character cut by the read boundary
// takes both reads with it). What decodes is cut into reply lines at LF (a CR
// before it is dropped; proxies differ) and at system-exclusive messages, as
// MsgClass does for the serial stream (and bounds a line that never ends); a line
// still open when the stream closes is dropped. A stream error or end closes
// the stream silently: sends then return -1 (and go to the serial link) until
// a service is chosen again, and the state says the link was lost.
//
// Main thread, except the two send operations, which any thread may call.
class NetworkLink final : public QObject, public NetworkSender {
    Q_OBJECT
public:
    enum class State {
        Unavailable, // no service discovery here; manual connections still work
        Searching,   // browsing, nothing found yet
        Found,       // services listed, none connected (yet)
        Choose,      // several listed, none used before: the user picks one
        Connecting,  // stream opening
        Connected,   // the stream is open; detail names the service
        Lost,        // the stream failed or ended; detail says why
    };
    Q_ENUM(State)

    static constexpr int kReadChunkBytes = 2048;
    // What the socket holds unread; a peer sending faster than the panel
    // parses is held back by TCP rather than filling memory.
    static constexpr qint64 kReadBufferBytes = 64 * 1024;
    // How long discovery must find nothing new before a lone proxy counts as
    // the only one.
    static constexpr int kSettleMs = 1500;

    explicit NetworkLink(QObject* parent = nullptr);
    ~NetworkLink() override;

    // Starts browsing with the given discovery (taken over). Without one, or
    // when it cannot browse, the state is Unavailable.
    void startBrowsing(std::unique_ptr<ServiceDiscovery> discovery);
    QString discoveryError() const { return m_discoveryError; }

    // --- the service list ---
    const QList<NetService>& services() const { return m_services; }
    // The row of the service the stream goes to, -1 for none or a manual one.
    int selectedRow() const { return m_selectedRow; }
    // The proxy used last, by its service name (empty: none).
    void setPreferredService(const QString& name) { m_preferred = name; }
    void setSettleMs(int ms);
    // Connects the preferred service when it is listed, else the only one
    // listed; with several, none. Nothing changes while a stream is open or
    // opening: a service found later does not take it away.
    void connectIfUnambiguous();
    // The user chose a row: connect to that service.
    void serviceTableClickedAction(int row);
    // A proxy given by address, for networks without multicast.
    void connectToHost(const QString& host, quint16 port);

    // --- the stream ---
    void openStreamsToNetService(const NetService& service);
    void closeStreams();
    bool isOpen() const override { return m_outputOpen.load(); }
    State state() const { return m_state; }
    QString stateDetail() const { return m_stateDetail; }
    // The service the stream goes to (empty name when none).
    NetService currentService() const { return m_current; }

    // --- sending (any thread) ---
    // -1 when no stream exists; otherwise 0, and the text with "\n"
    // appended goes out as UTF-8 (dropped while the stream is still opening).
    int sendStringToNetwork(const QString& command) override;
    // The same for raw bytes, nothing appended.
    int sendBytesToNetwork(const QByteArray& bytes) override;
    // Main thread: UTF-8 bytes to outputData.
    void outputText(const QString& text);
    // Main thread: queued for writing once the stream has opened, dropped
    // before.
    void outputData(const QByteArray& data);

    // Reads dropped because they were not valid UTF-8 (for the log and tests).
    int droppedReads() const { return m_droppedReads; }

signals:
    void servicesChanged();
    void selectedRowChanged(int row);
    void stateChanged(NetworkLink::State state, const QString& detail);
    // Received reply lines, "\n"-separated.
    void hasString(const QString& text);
    // The stream can send: the panel reads the unit's settings.
    void outputOpened();
    // A stream to a listed service has opened: the one to prefer next time.
    void serviceConnected(const QString& name);

private:
    void serviceFound(const NetService& service);
    void serviceRemoved(const NetService& service);
    void bytesAvailable();
    void streamEnded(const QString& reason);
    void setState(State state, const QString& detail);
    void setSelectedRow(int row);
    // Searching, Found or Choose, by the list.
    void showListState();

    std::unique_ptr<ServiceDiscovery> m_discovery;
    QString m_preferred;
    QTimer* m_settle;
    QString m_discoveryError;
    QList<NetService> m_services;
    int m_selectedRow = -1;

    QPointer<QTcpSocket> m_socket;
    NetService m_current;
    std::atomic<bool> m_streamExists{false}; // between open and close
    std::atomic<bool> m_outputOpen{false};   // the stream has opened
    MsgClass m_input{MsgClass::LineEnd::Lf}; // received text not yet a whole line
    int m_droppedReads = 0;
    State m_state = State::Searching;
    QString m_stateDetail;
    std::unique_ptr<QueuedCalls> m_fromOtherThreads;
};
