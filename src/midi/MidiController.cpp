#include "midi/MidiController.h"

#include "base/Diagnostics.h"
#include "base/QueuedCalls.h"

#include <QSettings>
#include <QTimer>
#include <chrono>
#include <thread>

namespace {
const char* const kMidiInKey = "MidiIn";
const char* const kExactDropFrameKey = "CountDropFrameExactly";

std::uint32_t packed(const MidiParser::Mtc& mtc) {
    return std::uint32_t(mtc[0]) << 24 | std::uint32_t(mtc[1]) << 16 | std::uint32_t(mtc[2]) << 8 |
           std::uint32_t(mtc[3]);
}
MidiParser::Mtc unpacked(std::uint32_t value) {
    return {std::uint8_t(value >> 24), std::uint8_t(value >> 16), std::uint8_t(value >> 8),
            std::uint8_t(value)};
}
std::int64_t steadyNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}
// Timecode without a quarter frame for this many frames has stopped.
constexpr int kStoppedAfterFrames = 2;
} // namespace

MidiController::MidiController(QSettings* settings, QObject* parent)
    : QObject(parent), m_settings(settings), m_toMain(std::make_unique<QueuedCalls>(this)),
      m_parser(this) {
    if (!m_settings) {
        m_ownSettings = std::make_unique<QSettings>();
        m_settings = m_ownSettings.get();
    }
    m_parser.setExactDropFrame(
        m_settings->value(QLatin1String(kExactDropFrameKey), false).toBool());
    // Runs only while timecode does: a stopped source costs nothing.
    m_stopTimer = new QTimer(this);
    m_stopTimer->setInterval(1000 / 30);
    connect(m_stopTimer, &QTimer::timeout, this, [this] { checkStopped(steadyNs()); });
}

MidiController::~MidiController() {
    m_sendPorts.store(nullptr);
    m_ports.reset(); // no more received bytes
    m_toMain->cancel();
}

void MidiController::awakeFromNib() {
    diag::print("MidiView awakeFromNib\n");
    if (!m_ports) {
        m_ports = MidiPorts::createSystem(
            QLatin1String(kClientName),
            [this](const std::uint8_t* bytes, std::size_t size) { decodeData(bytes, size); });
        m_sendPorts.store(m_ports.get());
    }
    if (!m_settings->contains(QLatin1String(kMidiInKey)))
        m_settings->setValue(QLatin1String(kMidiInKey), QString());
    diag::print("default MIDI in: %s\n",
                qPrintable(m_settings->value(QLatin1String(kMidiInKey)).toString()));
    m_inputOpen = m_ports->connectSource(QString());
    m_destinationConnected = false;
    m_outputOpen = m_ports->connectDestination(QString());
    pollPorts();
    if (!m_pollTimer) {
        m_pollTimer = new QTimer(this);
        m_pollTimer->setInterval(kPollIntervalMs);
        connect(m_pollTimer, &QTimer::timeout, this, &MidiController::pollPorts);
        m_pollTimer->start();
    }
}

void MidiController::inputAction(const QString& name) {
    if (!m_ports)
        return;
    diag::print("number of input items: %d\n", int(m_sources.size()));
    m_source = name;
    m_sourceConnected = m_ports->connectSource(name);
    m_inputOpen = m_inputOpen || m_sourceConnected;
    resetCounter();
    if (m_sourceConnected)
        m_settings->setValue(QLatin1String(kMidiInKey), name);
    else
        diag::print("MIDI Input did not connect!\n");
    emit portsChanged();
}

void MidiController::outputAction(const QString& name) {
    if (!m_ports)
        return;
    m_destination = name;
    m_destinationConnected = m_ports->connectDestination(name);
    m_outputOpen = m_outputOpen || m_destinationConnected;
    emit portsChanged();
}

void MidiController::pollPorts() {
    if (!m_ports)
        return;
    const QStringList sources = m_ports->sources();
    const QStringList destinations = m_ports->destinations();
    const bool changed = sources != m_sources || destinations != m_destinations;
    m_sources = sources;
    m_destinations = destinations;

    // A source that went away leaves the input on our own port until it
    // comes back; the remembered one is picked up whenever it appears.
    if (m_sourceConnected && !sources.contains(m_source)) {
        diag::print("MIDI source gone: %s\n", qPrintable(m_source));
        m_sourceConnected = false;
        m_inputOpen = m_ports->connectSource(QString());
        resetCounter();
    }
    connectWanted();
    // While a source asked for by name is awaited, the remembered one waits too.
    const QString saved = m_wantSource.isEmpty()
                              ? m_settings->value(QLatin1String(kMidiInKey)).toString()
                              : QString();
    const QString wanted = m_source.isEmpty() ? saved : m_source;
    // A source that is listed but will not connect is tried again only when
    // the setup changes.
    const bool retry = changed || !m_polled;
    m_polled = true;
    if (!m_sourceConnected && retry && !wanted.isEmpty() && sources.contains(wanted)) {
        inputAction(wanted);
        return; // inputAction told the menus
    }
    // A MIDI system that was not running at start-up gets our ports once
    // it is.
    if (!m_inputOpen && !m_sourceConnected)
        m_inputOpen = m_ports->connectSource(QString());
    if (!m_outputOpen && !m_destinationConnected)
        m_outputOpen = m_ports->connectDestination(QString());
    if (m_destinationConnected && !m_destination.isEmpty() &&
        !destinations.contains(m_destination)) {
        m_destinationConnected = false;
        m_outputOpen = m_ports->connectDestination(QString());
    } else if (!m_destinationConnected && !m_destination.isEmpty() &&
               destinations.contains(m_destination)) {
        m_destinationConnected = m_ports->connectDestination(m_destination);
    }
    if (changed)
        emit portsChanged();
}

void MidiController::wantSource(const QString& part) {
    m_wantSource = part;
    m_wantAnnounced = false;
}

void MidiController::wantDestination(const QString& part) {
    m_wantDestination = part;
    m_wantAnnounced = false;
}

void MidiController::connectWanted() {
    const auto firstContaining = [](const QStringList& names, const QString& part) {
        for (const QString& name : names) {
            if (name.contains(part, Qt::CaseInsensitive))
                return name;
        }
        return QString();
    };
    struct Wanted {
        QString& part;
        const QStringList& names;
        void (MidiController::*choose)(const QString&);
        const char* what;
    };
    for (const Wanted& w : {Wanted{m_wantSource, m_sources, &MidiController::inputAction, "source"},
                            Wanted{m_wantDestination, m_destinations, &MidiController::outputAction,
                                   "destination"}}) {
        const QString name = w.part.isEmpty() ? QString() : firstContaining(w.names, w.part);
        if (name.isEmpty())
            continue;
        w.part.clear();
        (this->*w.choose)(name);
        emit notice(tr("MIDI %1 \u201c%2\u201d connected").arg(QLatin1String(w.what), name));
    }
    // Said once: the name stays awaited and connects when its port appears.
    if (!m_wantAnnounced && (!m_wantSource.isEmpty() || !m_wantDestination.isEmpty())) {
        m_wantAnnounced = true;
        QStringList missing;
        if (!m_wantSource.isEmpty())
            missing << tr("MIDI source \u201c%1\u201d").arg(m_wantSource);
        if (!m_wantDestination.isEmpty())
            missing << tr("MIDI destination \u201c%1\u201d").arg(m_wantDestination);
        emit notice(tr("%1 not found; it connects when it appears").arg(missing.join(tr(" and "))));
    }
}

void MidiController::txMidi(const QByteArray& bytes) {
    // Everything but a note on is logged as it goes out.
    if (!bytes.isEmpty() && std::uint8_t(bytes[0]) != 0x90 && !diag::quiet()) {
        QByteArray line;
        for (const char byte : bytes)
            line += QByteArray::number(std::uint8_t(byte), 16).rightJustified(2, '0') + ' ';
        diag::print("%s\n", line.constData());
    }
    if (MidiPorts* ports = m_sendPorts.load())
        ports->send(bytes);
}

void MidiController::onButtonTest() {
    for (const QByteArray& bytes : MidiParser::testSequence())
        txMidi(bytes);
}

void MidiController::setExactDropFrame(bool exact) {
    m_parser.setExactDropFrame(exact);
    const bool changed = exact != m_settings->value(QLatin1String(kExactDropFrameKey)).toBool();
    m_settings->setValue(QLatin1String(kExactDropFrameKey), exact);
    if (changed)
        emit exactDropFrameChanged(exact);
}

void MidiController::setTimecodeListener(TimecodeListener* listener) {
    m_timecodeListener.store(listener);
    while (m_delivering.load() != 0)
        std::this_thread::yield();
}

void MidiController::decodeData(const std::uint8_t* bytes, std::size_t size) {
    m_parser.decodeData(bytes, size);
}

void MidiController::mtcEvent(const MidiParser::Mtc& mtc) {
    m_delivering.fetch_add(1);
    if (TimecodeListener* listener = m_timecodeListener.load())
        listener->mtcEvent(mtc);
    m_delivering.fetch_sub(1);
}

void MidiController::showTcDigits(const MidiParser::Mtc& mtc) {
    m_shownTime.store(packed(mtc));
    // One update on its way is enough: it shows whatever is latest.
    if (!m_counterPending.exchange(true))
        m_toMain->post([this] { showCounter(); });
}

void MidiController::showCounter() {
    m_counterPending.store(false);
    const QString text = mtcframe::format(unpacked(m_shownTime.load()));
    if (text == m_counterText)
        return;
    m_counterText = text;
    emit counterChanged(text);
}

void MidiController::resetCounter() {
    if (m_counterText == noTimeText())
        return;
    m_counterText = noTimeText();
    emit counterChanged(m_counterText);
}

void MidiController::locate(const MidiParser::Mtc& mtc) {
    m_incomingRate.store(mtcframe::rateCode(mtc));
    m_toMain->post([this] { showIncomingRate(); });
    m_delivering.fetch_add(1);
    if (TimecodeListener* listener = m_timecodeListener.load())
        listener->locate(mtc);
    m_delivering.fetch_sub(1);
}

void MidiController::quarterFrame(int piece, int nibble) {
    m_lastQuarterNs.store(steadyNs(), std::memory_order_relaxed);
    // Piece 7 carries the rate bits in bits 1-2 of its nibble.
    if (piece == 7 && m_incomingRate.exchange((nibble >> 1) & 3) != ((nibble >> 1) & 3))
        m_toMain->post([this] { showIncomingRate(); });
    if (!m_running.exchange(true))
        m_toMain->post([this] { timecodeStarted(); });
}

void MidiController::timecodeStarted() {
    if (!m_running.load() || m_runningShown)
        return;
    m_runningShown = true;
    m_stopTimer->start();
    emit timecodeStateChanged();
}

void MidiController::checkStopped(std::int64_t nowNs) {
    const int rate = m_incomingRate.load();
    const int fps = rate == 0 ? 24 : rate == 1 ? 25 : 30;
    const std::int64_t stoppedAfterNs = std::int64_t(kStoppedAfterFrames) * 1'000'000'000 / fps;
    if (nowNs - m_lastQuarterNs.load() <= stoppedAfterNs)
        return;
    // A quarter frame from now on starts it again (and posts so).
    if (!m_running.exchange(false) && !m_runningShown)
        return;
    m_runningShown = false;
    m_stopTimer->stop();
    emit timecodeStateChanged();
}

void MidiController::showIncomingRate() {
    const int rate = m_incomingRate.load();
    if (rate == m_incomingRateShown)
        return;
    m_incomingRateShown = rate;
    emit timecodeStateChanged();
}

mtcframe::Frame MidiController::counterTime() const {
    return unpacked(m_shownTime.load());
}

QString MidiController::rateText(int type) {
    switch (type) {
    case 0:
        return QStringLiteral("24");
    case 1:
        return QStringLiteral("25");
    case 2:
        return QStringLiteral("29.97 drop");
    case 3:
        return QStringLiteral("30");
    default:
        return QString();
    }
}
