#include "link/ServiceDiscovery.h"

#include "base/Diagnostics.h"

#include <QByteArray>
#include <QSocketNotifier>
#include <QTimer>
#include <arpa/inet.h>
#include <cstdlib>
#include <dns_sd.h>

namespace {
// A service that has not resolved by then is given up until it is announced
// again.
constexpr int kResolveTimeoutMs = 5000;

QString errorText(DNSServiceErrorType error) {
    switch (error) {
    case kDNSServiceErr_Unknown: // what the library says when no daemon answers
        return QStringLiteral("no discovery daemon answers");
    case kDNSServiceErr_NameConflict:
        return QStringLiteral("the name is taken");
    default:
        return QStringLiteral("discovery error %1").arg(int(error));
    }
}

bool isLocalHost(const QString& host) {
    return host.endsWith(QLatin1String(".local")) || host.endsWith(QLatin1String(".local."));
}

// The compatibility library warns on standard error each time a program
// uses it; the warning is for the library's users, not for ours.
void quietCompatWarning() {
    if (qEnvironmentVariableIsEmpty("AVAHI_COMPAT_NOWARN"))
        qputenv("AVAHI_COMPAT_NOWARN", "1");
}
} // namespace

struct ServiceBrowser::Request {
    ServiceBrowser* owner = nullptr;
    DNSServiceRef ref = nullptr;
    QSocketNotifier* notifier = nullptr;
    QTimer* timeout = nullptr;
    NetService service;
    bool done = false; // released once the library's call has returned
};

// The library's C callbacks, back into the browser.
struct ServiceBrowserCallbacks {
    static void browse(DNSServiceRef, DNSServiceFlags flags, uint32_t interfaceIndex,
                       DNSServiceErrorType error, const char* name, const char* type,
                       const char* domain, void* context) {
        auto* request = static_cast<ServiceBrowser::Request*>(context);
        if (error != kDNSServiceErr_NoError) {
            request->owner->m_error = errorText(error);
            diag::print("service browsing failed: %s\n", qPrintable(request->owner->m_error));
            return;
        }
        // New requests and releases wait for the event loop: the library
        // holds its own locks during this call.
        NetService service;
        service.name = QString::fromUtf8(name);
        service.type = QString::fromUtf8(type);
        service.domain = QString::fromUtf8(domain);
        service.interfaceIndex = int(interfaceIndex);
        ServiceBrowser* owner = request->owner;
        const bool added = flags & kDNSServiceFlagsAdd;
        QMetaObject::invokeMethod(
            owner, [owner, service, added] { owner->browsed(service, added); },
            Qt::QueuedConnection);
    }
    static void resolve(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType error,
                        const char*, const char* host, uint16_t port, uint16_t,
                        const unsigned char*, void* context) {
        auto* request = static_cast<ServiceBrowser::Request*>(context);
        if (request->done)
            return;
        request->done = true;
        if (error != kDNSServiceErr_NoError)
            return;
        NetService service = request->service;
        service.host = QString::fromUtf8(host);
        service.port = ntohs(port);
        ServiceBrowser* owner = request->owner;
        QMetaObject::invokeMethod(
            owner, [owner, service] { owner->resolved(service); }, Qt::QueuedConnection);
    }
    static void address(DNSServiceRef, DNSServiceFlags, uint32_t, DNSServiceErrorType error,
                        const char*, uint16_t type, uint16_t, uint16_t length, const void* data,
                        uint32_t, void* context) {
        auto* request = static_cast<ServiceBrowser::Request*>(context);
        if (error != kDNSServiceErr_NoError || type != kDNSServiceType_A || length != 4 ||
            request->done)
            return;
        request->done = true;
        const auto* b = static_cast<const unsigned char*>(data);
        NetService service = request->service;
        service.host = QStringLiteral("%1.%2.%3.%4").arg(b[0]).arg(b[1]).arg(b[2]).arg(b[3]);
        QMetaObject::invokeMethod(
            request->owner,
            [owner = request->owner, service] { emit owner->serviceFound(service); },
            Qt::QueuedConnection);
    }
};

ServiceBrowser::ServiceBrowser(QObject* parent) : ServiceDiscovery(parent) {
    quietCompatWarning();
}

ServiceBrowser::~ServiceBrowser() {
    for (Request* r : std::as_const(m_requests))
        release(r);
}

bool ServiceBrowser::startBrowsing() {
    if (m_browse)
        return true;
    m_browse = start(NetService(), kNoTimeout, [](DNSServiceRef* ref, Request* r) {
        return DNSServiceBrowse(ref, 0, 0, kServiceType, kDomain, &ServiceBrowserCallbacks::browse,
                                r);
    });
    return m_browse != nullptr;
}

ServiceBrowser::Request* ServiceBrowser::start(const NetService& service, int timeoutMs,
                                               const Starter& call) {
    auto* r = new Request;
    r->owner = this;
    r->service = service;
    const DNSServiceErrorType error = call(&r->ref, r);
    if (error != kDNSServiceErr_NoError) {
        m_error = errorText(error);
        delete r;
        return nullptr;
    }
    r->notifier = new QSocketNotifier(DNSServiceRefSockFD(r->ref), QSocketNotifier::Read, this);
    connect(r->notifier, &QSocketNotifier::activated, this, [this, r] {
        if (DNSServiceProcessResult(r->ref) != kDNSServiceErr_NoError) {
            // The daemon went away.
            if (r == m_browse) {
                m_error = QStringLiteral("the discovery daemon went away");
                m_browse = nullptr;
            }
            r->done = true;
        }
        if (r->done)
            finish(r);
    });
    if (timeoutMs != kNoTimeout) {
        r->timeout = new QTimer;
        r->timeout->setSingleShot(true);
        connect(r->timeout, &QTimer::timeout, this, [this, r] { finish(r); });
        r->timeout->start(timeoutMs);
    }
    m_requests.append(r);
    return r;
}

// Never inside the library's call for the same request.
void ServiceBrowser::finish(Request* request) {
    m_requests.removeOne(request);
    release(request);
}

void ServiceBrowser::release(Request* request) {
    delete request->notifier; // before its descriptor goes
    delete request->timeout;
    DNSServiceRefDeallocate(request->ref);
    delete request;
}

void ServiceBrowser::browsed(const NetService& service, bool added) {
    // A resolution still under way for the service is superseded.
    const QList<Request*> requests = m_requests;
    for (Request* r : requests)
        if (r != m_browse && r->service.sameAs(service))
            finish(r);
    if (!added) {
        emit serviceRemoved(service);
        return;
    }
    const QByteArray name = service.name.toUtf8();
    const QByteArray type = service.type.toUtf8();
    const QByteArray domain = service.domain.toUtf8();
    start(service, kResolveTimeoutMs, [&](DNSServiceRef* ref, Request* r) {
        return DNSServiceResolve(ref, 0, uint32_t(service.interfaceIndex), name.constData(),
                                 type.constData(), domain.constData(),
                                 &ServiceBrowserCallbacks::resolve, r);
    });
}

void ServiceBrowser::resolved(const NetService& service) {
    if (isLocalHost(service.host)) {
        const QByteArray host = service.host.toUtf8();
        const Request* query =
            start(service, kResolveTimeoutMs, [&](DNSServiceRef* ref, Request* r) {
                return DNSServiceQueryRecord(
                    ref, 0, uint32_t(service.interfaceIndex), host.constData(), kDNSServiceType_A,
                    kDNSServiceClass_IN, &ServiceBrowserCallbacks::address, r);
            });
        if (query)
            return;
    }
    // Left for the system's resolver when connecting.
    emit serviceFound(service);
}

// --- announcing ---

namespace {
void registered(DNSServiceRef, DNSServiceFlags, DNSServiceErrorType, const char*, const char*,
                const char*, void*) {}
} // namespace

ServiceAnnouncer::~ServiceAnnouncer() {
    withdraw();
}

bool ServiceAnnouncer::announce(const QString& name, quint16 port) {
    withdraw();
    quietCompatWarning();
    DNSServiceRef ref = nullptr;
    const QByteArray utf8 = name.toUtf8();
    const DNSServiceErrorType error = DNSServiceRegister(
        &ref, 0, 0, utf8.constData(), ServiceDiscovery::kServiceType, ServiceDiscovery::kDomain,
        nullptr, htons(port), 0, nullptr, &registered, nullptr);
    if (error != kDNSServiceErr_NoError) {
        m_error = errorText(error);
        return false;
    }
    m_ref = ref;
    m_error.clear();
    return true;
}

void ServiceAnnouncer::withdraw() {
    if (m_ref)
        DNSServiceRefDeallocate(static_cast<DNSServiceRef>(m_ref));
    m_ref = nullptr;
}
