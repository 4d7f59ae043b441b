#include "link/NetworkLink.h"

#include "base/Diagnostics.h"
#include "base/QueuedCalls.h"

#include <QHostAddress>
#include <QStringDecoder>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>

namespace {
// Proxies differ in how they end lines: LF, with or without a CR before it.
constexpr MsgClass::LineEnd kLineEnd = MsgClass::LineEnd::Lf;
} // namespace

NetworkLink::NetworkLink(QObject* parent)
    : QObject(parent), m_settle(new QTimer(this)),
      m_fromOtherThreads(std::make_unique<QueuedCalls>(this)) {
    m_settle->setSingleShot(true);
    m_settle->setInterval(kSettleMs);
    connect(m_settle, &QTimer::timeout, this, &NetworkLink::connectIfUnambiguous);
}

void NetworkLink::setSettleMs(int ms) {
    m_settle->setInterval(ms);
}

NetworkLink::~NetworkLink() {
    m_fromOtherThreads->cancel();
    closeStreams();
}

void NetworkLink::startBrowsing(std::unique_ptr<ServiceDiscovery> discovery) {
    m_discovery = std::move(discovery);
    if (!m_discovery) {
        m_discoveryError = QStringLiteral("no service discovery");
        setState(State::Unavailable, m_discoveryError);
        return;
    }
    connect(m_discovery.get(), &ServiceDiscovery::serviceFound, this, &NetworkLink::serviceFound);
    connect(m_discovery.get(), &ServiceDiscovery::serviceRemoved, this,
            &NetworkLink::serviceRemoved);
    if (!m_discovery->startBrowsing()) {
        m_discoveryError = m_discovery->error();
        diag::print("service discovery unavailable: %s\n", qPrintable(m_discoveryError));
        setState(State::Unavailable, m_discoveryError);
        return;
    }
    m_discoveryError.clear();
    showListState();
}

// --- the service list ---

void NetworkLink::serviceFound(const NetService& service) {
    for (NetService& listed : m_services) {
        if (listed.sameAs(service)) {
            listed = service; // a new address: used from the next connection
            return;
        }
    }
    m_services.append(service);
    emit servicesChanged();
    if (!m_streamExists.load())
        showListState();
    // The one used last is taken at once; any other waits until discovery
    // has settled, to see whether it is the only one. Chosen from the event
    // loop, as the user would: whoever reacts to the list's change sees the
    // new row before it is selected.
    if (!m_preferred.isEmpty() && service.name == m_preferred)
        QTimer::singleShot(0, this, &NetworkLink::connectIfUnambiguous);
    else
        m_settle->start();
}

void NetworkLink::serviceRemoved(const NetService& service) {
    for (qsizetype i = 0; i < m_services.size(); ++i) {
        if (!m_services.at(i).sameAs(service))
            continue;
        m_services.removeAt(i);
        if (m_selectedRow == i)
            setSelectedRow(-1);
        else if (m_selectedRow > i)
            setSelectedRow(m_selectedRow - 1);
        emit servicesChanged();
        if (!m_streamExists.load())
            showListState();
        return;
    }
}

void NetworkLink::connectIfUnambiguous() {
    // Finding another service never takes the stream away from the one in
    // use, whichever row the user chose.
    if (m_streamExists.load() || m_services.isEmpty())
        return;
    for (qsizetype row = 0; row < m_services.size(); ++row) {
        if (!m_preferred.isEmpty() && m_services.at(row).name == m_preferred) {
            serviceTableClickedAction(int(row));
            return;
        }
    }
    if (m_services.size() == 1 && !m_settle->isActive())
        serviceTableClickedAction(0);
    else
        showListState();
}

void NetworkLink::serviceTableClickedAction(int row) {
    if (row < 0 || row >= m_services.size())
        return;
    setSelectedRow(row);
    openStreamsToNetService(m_services.at(row));
}

void NetworkLink::connectToHost(const QString& host, quint16 port) {
    NetService service;
    service.name = QStringLiteral("%1:%2").arg(host).arg(port);
    service.host = host;
    service.port = port;
    setSelectedRow(-1);
    openStreamsToNetService(service);
}

void NetworkLink::setSelectedRow(int row) {
    if (row == m_selectedRow)
        return;
    m_selectedRow = row;
    emit selectedRowChanged(row);
}

// --- the stream ---

void NetworkLink::openStreamsToNetService(const NetService& service) {
    closeStreams();
    if (service.host.isEmpty() || service.port == 0) {
        setState(State::Lost, QStringLiteral("%1 has no address").arg(service.name));
        return;
    }
    m_current = service;
    auto* socket = new QTcpSocket(this);
    socket->setReadBufferSize(kReadBufferBytes);
    m_socket = socket;
    connect(socket, &QTcpSocket::connected, this, [this, socket] {
        if (socket != m_socket)
            return;
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        m_input = MsgClass(kLineEnd);
        m_outputOpen.store(true);
        setState(State::Connected, m_current.name);
        emit outputOpened();
        if (m_selectedRow >= 0)
            emit serviceConnected(m_current.name);
    });
    connect(socket, &QTcpSocket::readyRead, this, [this, socket] {
        if (socket == m_socket)
            bytesAvailable();
    });
    connect(socket, &QTcpSocket::errorOccurred, this, [this, socket] {
        if (socket == m_socket)
            streamEnded(socket->errorString());
    });
    connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
        if (socket == m_socket)
            streamEnded(QStringLiteral("the proxy closed the connection"));
    });
    m_streamExists.store(true);
    setState(State::Connecting, service.name);
    socket->connectToHost(service.host, service.port);
}

void NetworkLink::closeStreams() {
    m_outputOpen.store(false);
    m_streamExists.store(false);
    m_input = MsgClass(kLineEnd); // a line cut off by the close is not a reply
    if (QTcpSocket* socket = m_socket) {
        m_socket = nullptr;
        socket->disconnect(this);
        socket->abort();
        socket->deleteLater(); // this may run inside one of its signals
    }
}

void NetworkLink::streamEnded(const QString& reason) {
    const QString name = m_current.name;
    closeStreams();
    setState(State::Lost, QStringLiteral("%1: %2").arg(name, reason));
}

void NetworkLink::bytesAvailable() {
    QStringList lines;
    while (m_socket && m_socket->bytesAvailable() > 0) {
        const QByteArray bytes = m_socket->read(kReadChunkBytes);
        if (bytes.isEmpty())
            break;
        QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
        const QString text = utf8.decode(bytes);
        if (utf8.hasError()) {
            ++m_droppedReads;
            diag::print("dropped %d received bytes that are not UTF-8\n", int(bytes.size()));
            continue;
        }
        MsgClass chunk;
        chunk.txBytes(bytes);
        lines += m_input.drain(chunk);
    }
    if (lines.isEmpty())
        return;
    // Messages from drain() end in "\n" already; lines do not.
    QString text;
    for (const QString& line : std::as_const(lines)) {
        text += line;
        if (!line.endsWith(QLatin1Char('\n')))
            text += QLatin1Char('\n');
    }
    emit hasString(text);
}

int NetworkLink::sendStringToNetwork(const QString& command) {
    return sendBytesToNetwork((command + QLatin1Char('\n')).toUtf8());
}

int NetworkLink::sendBytesToNetwork(const QByteArray& bytes) {
    if (!m_streamExists.load())
        return -1;
    if (QThread::currentThread() == thread())
        outputData(bytes);
    else
        m_fromOtherThreads->post([this, bytes] { outputData(bytes); });
    return 0;
}

void NetworkLink::outputText(const QString& text) {
    outputData(text.toUtf8());
}

void NetworkLink::outputData(const QByteArray& data) {
    if (!m_outputOpen.load() || !m_socket || data.isEmpty())
        return; // not open yet: dropped
    if (m_socket->write(data) < 1) {
        const QString name = m_current.name;
        const QString reason = m_socket->errorString();
        closeStreams();
        setState(State::Lost, QStringLiteral("%1: %2").arg(name, reason));
    }
}

void NetworkLink::setState(State state, const QString& detail) {
    if (state == m_state && detail == m_stateDetail)
        return;
    m_state = state;
    m_stateDetail = detail;
    emit stateChanged(state, detail);
}

void NetworkLink::showListState() {
    if (m_state == State::Unavailable || m_state == State::Lost)
        return; // the list alone does not hide those
    if (m_services.isEmpty())
        setState(State::Searching, QString());
    else if (m_services.size() > 1 && !m_settle->isActive())
        setState(State::Choose, QString::number(m_services.size()));
    else
        setState(State::Found, QString::number(m_services.size()));
}
