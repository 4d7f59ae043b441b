#include "link/ComThread.h"

#include "base/QueuedCalls.h"
#include "link/internal/LinkWorker.h"
#include "link/internal/SerialPortFinder.h"

static_assert(ComThread::kReadChunkBytes == LinkWorker::kReadChunkBytes);
static_assert(ComThread::kReplyWaitMs == LinkWorker::kReplyWaitMs);
static_assert(ComThread::kProbeTries == SerialPortFinder::kProbeTries);

TransportLoan::TransportLoan(ComThread* link, std::unique_ptr<SerialTransport> port, bool restart)
    : m_link(link), m_port(std::move(port)), m_restart(restart) {}

TransportLoan::TransportLoan(TransportLoan&& other) noexcept
    : m_link(other.m_link), m_port(std::move(other.m_port)), m_restart(other.m_restart) {
    other.m_link = nullptr;
}

TransportLoan::~TransportLoan() {
    if (m_link)
        m_link->takeBack(std::move(m_port), m_restart);
}

ComThread::ComThread()
    : m_finder(std::make_unique<SerialPortFinder>()), m_worker(std::make_unique<LinkWorker>()) {
    m_finder->setPort(qEnvironmentVariable("QZ62_PORT"));
    m_finder->setBeforeProbe([this] { sendString(QString()); }); // reaches only the network link
}

ComThread::~ComThread() {
    stopThread();
    // The owner may be destroying the link from inside one of its calls, that
    // is from inside the mailbox's delivery: let the mailbox go later.
    if (m_toOwner) {
        m_toOwner->cancel();
        m_toOwner.release()->deleteLater();
    }
}

void ComThread::setSearchDirectory(const QString& directory) {
    m_finder->setSearchDirectory(directory);
}

QString ComThread::searchDirectory() const {
    return m_finder->searchDirectory();
}

void ComThread::setPort(const QString& path) {
    m_finder->setPort(path);
}

QString ComThread::port() const {
    return m_finder->port();
}

void ComThread::setDriverCheckEnabled(bool enabled) {
    m_finder->setDriverCheckEnabled(enabled);
}

void ComThread::setUsbDevicesDirectory(const QString& dir) {
    m_finder->setUsbDevicesDirectory(dir);
}

QString ComThread::lastOpenError() const {
    return m_finder->lastOpenError();
}

QString ComThread::openErrorRemedy() const {
    return m_finder->remedy();
}

QString ComThread::driverDownloadUrl() {
    return SerialPortFinder::driverDownloadUrl();
}

int ComThread::openUsbSerial() {
    stopThread();
    m_other.reset();
    m_serial.reset();
    std::unique_ptr<SerialTransport> port = m_finder->find();
    if (!m_finder->directoryReadable())
        return -1;
    if (!port) {
        m_com = QStringLiteral("QZ62 not found");
        return -1;
    }
    m_serial = std::move(port);
    m_com = m_finder->foundName();
    return 0;
}

QString ComThread::serialLatencyText() const {
    if (m_other || !m_serial)
        return QString();
    return SerialTransport::lowLatencyText(m_serial->lowLatency());
}

void ComThread::useTransport(std::unique_ptr<Transport> transport, const QString& name) {
    stopThread();
    m_other = std::move(transport);
    m_com = name;
}

void ComThread::startThread(LinkListener* listener) {
    stopThread();
    if (!m_toOwner) {
        m_toOwner = std::make_unique<QueuedCalls>(nullptr);
    } else if (listener != m_listener) {
        m_toOwner->cancel(); // calls for the previous owner go with it
    }
    m_listener = listener;
    Transport* transport = m_other ? m_other.get() : static_cast<Transport*>(m_serial.get());
    m_worker->start(transport, listener, m_toOwner.get());
}

void ComThread::stopThread() {
    m_worker->stop();
}

bool ComThread::isRunning() const {
    return m_worker->isRunning();
}

int ComThread::txCount() const {
    return m_worker->queuedCount();
}

std::uint64_t ComThread::timingBytesDeferred() const {
    return m_worker->timingDeferred();
}

std::chrono::nanoseconds ComThread::linkThreadCpuTime() const {
    return m_worker->cpuTime();
}

void ComThread::sendString(const QString& command) {
    if (NetworkSender* network = m_network.load())
        if (network->sendStringToNetwork(command) >= 0)
            return;
    MsgClass message;
    message.txString(command);
    m_worker->queueCommand(message.buffer());
}

void ComThread::sendStringSerial(const QString& command) {
    if (!hasSerialPort())
        return;
    MsgClass message;
    message.txString(command);
    m_worker->queueCommand(message.buffer());
}

void ComThread::sendBytes(const QByteArray& bytes) {
    if (NetworkSender* network = m_network.load())
        if (network->sendBytesToNetwork(bytes) >= 0)
            return;
    m_worker->queueBytes(bytes);
}

void ComThread::sendTimingBytes(const QByteArray& bytes) {
    if (NetworkSender* network = m_network.load())
        if (network->sendBytesToNetwork(bytes) >= 0)
            return;
    m_worker->sendNow(bytes);
}

QString ComThread::sendStringPolling(const QString& text) {
    return m_serial && !m_worker->isRunning() ? m_serial->sendStringPolling(text) : QString();
}

void ComThread::setBaud(int bitsPerSecond) {
    if (m_serial)
        m_serial->setBaud(bitsPerSecond);
}

int ComThread::getBaud() const {
    return m_serial ? m_serial->getBaud() : kDefaultBaud;
}

int ComThread::bytesAvailable() const {
    if (m_other)
        return m_other->bytesAvailable();
    return m_serial ? m_serial->bytesAvailable() : 0;
}

int ComThread::fd() const {
    if (m_other)
        return m_other->pollFd();
    return m_serial ? m_serial->pollFd() : -1;
}

TransportLoan ComThread::lendTransport() {
    if (!m_serial) // nothing to lend: the link goes on as it is
        return TransportLoan(this, nullptr, false);
    const bool wasRunning = m_worker->isRunning();
    stopThread();
    return TransportLoan(this, std::move(m_serial), wasRunning && m_listener);
}

void ComThread::takeBack(std::unique_ptr<SerialTransport> port, bool restart) {
    m_serial = std::move(port);
    if (!m_serial)
        return;
    m_serial->setBaud(kDefaultBaud);
    if (restart)
        startThread(m_listener);
}
