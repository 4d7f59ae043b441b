#include "midi/RtMidiPorts.h"

#include "base/Diagnostics.h"
#include "base/Realtime.h"

#include <QFileInfo>
#include <RtMidi.h>
#include <algorithm>
#include <atomic>
#include <mutex>
#include <set>
#include <string>
#include <vector>

#ifdef QZ62_HAVE_JACK
#include <jack/jack.h>
#endif

namespace {
const char* const kInPortName = "MIDI In";
const char* const kOutPortName = "MIDI Out";
// Messages queued between the MIDI system and our callback.
constexpr unsigned int kInQueueSize = 1024;

// Problems of the MIDI system are diagnostics; the menus show what works.
// The flag tells the caller that the last operation did not succeed.
thread_local bool t_failed = false;

void onError(RtMidiError::Type type, const std::string& text, void* /*self*/) {
    if (type != RtMidiError::WARNING && type != RtMidiError::DEBUG_WARNING)
        t_failed = true;
    if (text.find("server not running") != std::string::npos)
        t_failed = true;
    // The ports are looked at once a second: say a thing once, not every time.
    thread_local std::string t_lastSaid;
    if (text != t_lastSaid)
        diag::print("MIDI: %s\n", text.c_str());
    t_lastSaid = text;
}

#ifdef QZ62_HAVE_JACK
// libjack explains every failed attempt to reach a server in several lines,
// and we look once a second while waiting for one: the waiting is silent, its
// messages are dropped until a server has been reached. After that each
// different message is said once.
std::atomic<bool> g_jackReached{false};

void jackMessage(const char* text) {
    if (!g_jackReached.load())
        return;
    static std::mutex lock;
    static std::set<std::string> said;
    const std::lock_guard<std::mutex> guard(lock);
    if (said.insert(text).second)
        diag::print("JACK: %s\n", text);
}
#endif

QString apiLabel(RtMidi::Api api) {
    switch (api) {
    case RtMidi::LINUX_ALSA:
        return QStringLiteral("ALSA");
    case RtMidi::UNIX_JACK:
        return QStringLiteral("JACK");
    case RtMidi::MACOSX_CORE:
        return QStringLiteral("CoreMIDI");
    default:
        return QString::fromStdString(RtMidi::getApiName(api));
    }
}
} // namespace

std::unique_ptr<MidiPorts> MidiPorts::createSystem(const QString& clientName, Receiver receiver) {
    return std::make_unique<RtMidiPorts>(clientName, std::move(receiver));
}

RtMidiPorts::RtMidiPorts(const QString& clientName, Receiver receiver)
    : m_clientName(clientName), m_receiver(std::move(receiver)) {
    m_sender = std::thread([this] { sendQueued(); });
#ifdef QZ62_HAVE_JACK
    jack_set_error_function(jackMessage);
    jack_set_info_function(jackMessage);
#endif
    std::vector<RtMidi::Api> compiled;
    RtMidi::getCompiledApi(compiled);
    for (const RtMidi::Api api : {RtMidi::LINUX_ALSA, RtMidi::UNIX_JACK, RtMidi::MACOSX_CORE}) {
        if (std::find(compiled.begin(), compiled.end(), api) == compiled.end())
            continue;
        // Without the sequencer device ALSA cannot run; trying only adds noise.
        if (api == RtMidi::LINUX_ALSA && !QFileInfo::exists(QStringLiteral("/dev/snd/seq")))
            continue;
        m_api = api;
        m_apiName = apiLabel(api);
        // A JACK server that is not running yet is waited for (the ports are
        // looked at once a second); the others either start now or not at all.
        if (openClients() || api == RtMidi::UNIX_JACK)
            break;
        m_api = -1;
        m_apiName.clear();
    }
}

bool RtMidiPorts::openClients() {
    if (m_in)
        return true;
    if (m_api < 0)
        return false;
    const auto api = RtMidi::Api(m_api);
#ifdef QZ62_HAVE_JACK
    // RtMidi's JACK back end keeps the buffers of every attempt to reach a
    // server that is not running: ask libjack first, which keeps nothing.
    if (api == RtMidi::UNIX_JACK) {
        jack_client_t* probe = jack_client_open("qz62-probe", JackNoStartServer, nullptr);
        if (!probe)
            return false;
        if (!g_jackReached.exchange(true))
            diag::print("MIDI: the JACK server is running\n");
        const jack_nframes_t rate = jack_get_sample_rate(probe);
        if (rate > 0)
            m_jackCycle = std::chrono::microseconds(std::int64_t(jack_get_buffer_size(probe)) *
                                                    1000000 / std::int64_t(rate));
        jack_client_close(probe);
    }
#endif
    const std::string client = m_clientName.toStdString();
    try {
        auto in = std::make_unique<RtMidiIn>(api, client, kInQueueSize);
        auto out = std::make_unique<RtMidiOut>(api, client);
        in->setErrorCallback(onError, this);
        out->setErrorCallback(onError, this);
        // Time code and system exclusive are what we are here for.
        in->ignoreTypes(false, false, false);
        in->setCallback(onMessage, this);
        m_in = std::move(in);
        std::lock_guard<std::mutex> lock(m_outLock);
        m_out = std::move(out);
        return true;
    } catch (const RtMidiError& error) {
        diag::print("MIDI: %s not available: %s\n", qPrintable(m_apiName), error.what());
        return false;
    }
}

RtMidiPorts::~RtMidiPorts() {
    // Closing the clients waits for the MIDI thread, so no callback reaches
    // the receiver once it is gone.
    if (m_in) {
        m_in->cancelCallback();
        m_in->closePort();
    }
    m_in.reset();
    {
        std::lock_guard<std::mutex> lock(m_queueLock);
        m_stopSending = true;
    }
    m_queueReady.notify_one();
    m_sender.join();
    std::lock_guard<std::mutex> lock(m_outLock);
    if (m_out)
        m_out->closePort();
    // RtMidi's JACK output frees the buffer its process callback reads before
    // it closes the client: a callback that started before the port was
    // closed would read freed memory. Two cycles let any such callback end;
    // later ones see no port and touch nothing.
    if (m_out && m_jackCycle.count() > 0)
        std::this_thread::sleep_for(2 * m_jackCycle + std::chrono::milliseconds(2));
    m_out.reset();
}

void RtMidiPorts::sendQueued() {
    std::unique_lock<std::mutex> queue(m_queueLock);
    while (true) {
        m_queueReady.wait(queue, [this] { return m_stopSending || !m_queue.empty(); });
        if (m_queue.empty())
            return; // stopping, everything sent
        const QByteArray bytes = std::move(m_queue.front());
        m_queue.pop_front();
        queue.unlock();
        {
            std::lock_guard<std::mutex> lock(m_outLock);
            // Without an open port some back ends have nowhere to put the bytes.
            if (m_out && m_outOpen)
                m_out->sendMessage(reinterpret_cast<const unsigned char*>(bytes.constData()),
                                   size_t(bytes.size()));
        }
        queue.lock();
    }
}

void RtMidiPorts::onMessage(double /*timeStamp*/, std::vector<unsigned char>* message, void* self) {
    auto* ports = static_cast<RtMidiPorts*>(self);
    // The time code and the cues it fires start here.
    realtime::raiseCurrentThread("MIDI", 45);
    if (message && !message->empty() && ports->m_receiver)
        ports->m_receiver(message->data(), message->size());
}

bool RtMidiPorts::isOwnPort(const QString& name) const {
    return name.startsWith(m_clientName + u':') || name.startsWith(m_clientName + u'-') ||
           name == QLatin1String(kInPortName) || name == QLatin1String(kOutPortName);
}

namespace {
template <typename Port>
QStringList portNames(Port& port, bool* reachable) {
    QStringList names;
    t_failed = false;
    const unsigned int count = port.getPortCount();
    *reachable = !t_failed;
    for (unsigned int i = 0; i < count; ++i)
        names << QString::fromStdString(port.getPortName(i));
    return names;
}

enum class Opened { None, Own, Named };

// Connects `port` to the named port, or opens it as our own port for an
// empty name (or when the named one is not there).
template <typename Port>
Opened connectPort(Port& port, const QString& name, const char* ownName) {
    port.closePort();
    bool reachable = false;
    const QStringList names = portNames(port, &reachable);
    if (!reachable)
        return Opened::None; // the MIDI system is not running: no port can be made
    const qsizetype index = name.isEmpty() ? -1 : names.indexOf(name);
    t_failed = false;
    if (index >= 0) {
        port.openPort(unsigned(index), ownName);
        if (!t_failed)
            return Opened::Named;
        port.closePort();
        t_failed = false;
    }
    port.openVirtualPort(ownName);
    return t_failed ? Opened::None : Opened::Own;
}
} // namespace

QStringList RtMidiPorts::sources() {
    if (!openClients())
        return {};
    bool reachable = false;
    QStringList names = portNames(*m_in, &reachable);
    names.removeIf([this](const QString& name) { return isOwnPort(name); });
    return names;
}

QStringList RtMidiPorts::destinations() {
    if (!openClients())
        return {};
    bool reachable = false;
    QStringList names;
    {
        std::lock_guard<std::mutex> lock(m_outLock);
        names = portNames(*m_out, &reachable);
    }
    names.removeIf([this](const QString& name) { return isOwnPort(name); });
    return names;
}

bool RtMidiPorts::connectSource(const QString& name) {
    if (!openClients())
        return false;
    const Opened opened = connectPort(*m_in, name, kInPortName);
    return opened == (name.isEmpty() ? Opened::Own : Opened::Named);
}

bool RtMidiPorts::connectDestination(const QString& name) {
    if (!openClients())
        return false;
    std::lock_guard<std::mutex> lock(m_outLock);
    const Opened opened = connectPort(*m_out, name, kOutPortName);
    m_outOpen = opened != Opened::None;
    return opened == (name.isEmpty() ? Opened::Own : Opened::Named);
}

void RtMidiPorts::send(const QByteArray& bytes) {
    if (bytes.isEmpty())
        return;
    {
        std::lock_guard<std::mutex> lock(m_queueLock);
        m_queue.push_back(bytes);
    }
    m_queueReady.notify_one();
}
