#pragma once

#include <QList>
#include <QObject>
#include <QString>
#include <functional>
#include <memory>

class QSocketNotifier;
struct _DNSServiceRef_t; // dns_sd.h

// One network proxy found on the network: its name as announced, and where
// to connect once it has been resolved (host name or address, TCP port).
struct NetService {
    QString name;
    QString type;
    QString domain;
    QString host;
    quint16 port = 0;
    int interfaceIndex = 0;

    bool sameAs(const NetService& other) const {
        return name == other.name && type == other.type && domain == other.domain;
    }
};

// Finds the unit's network proxies. The real browser speaks DNS service
// discovery; where no discovery daemon runs, startBrowsing() fails and the
// rest of the program carries on without it.
class ServiceDiscovery : public QObject {
    Q_OBJECT
public:
    static constexpr const char* kServiceType = "_endpointProxy._tcp.";
    static constexpr const char* kDomain = "local";

    using QObject::QObject;
    // Starts looking for services of the proxy's type; false when discovery
    // is not available (error() says why). Browsing then goes on for the
    // object's lifetime.
    virtual bool startBrowsing() = 0;
    virtual QString error() const = 0;

signals:
    // A service was announced and resolved to a host and port (again after a
    // change of address).
    void serviceFound(const NetService& service);
    // A service was withdrawn.
    void serviceRemoved(const NetService& service);
};

// DNS service discovery through dns_sd.h, all on the thread that creates it:
// every request's socket is watched by a QSocketNotifier, so the library's
// callbacks run from this thread's event loop. A found service is resolved to
// a host name and port, and a host in "local" to an IPv4 address by an mDNS
// query (those names are unknown to the system's resolver unless it has an
// mDNS module); other host names are left for getaddrinfo when connecting.
class ServiceBrowser final : public ServiceDiscovery {
    Q_OBJECT
public:
    explicit ServiceBrowser(QObject* parent = nullptr);
    ~ServiceBrowser() override;

    bool startBrowsing() override;
    QString error() const override { return m_error; }

private:
    struct Request;
    using Starter = std::function<int(_DNSServiceRef_t**, Request*)>;
    static constexpr int kNoTimeout = -1;
    // Makes a request with call and watches its socket; null when the call
    // failed (error() says why).
    Request* start(const NetService& service, int timeoutMs, const Starter& call);
    void finish(Request* request);
    static void release(Request* request);
    // What the library's callbacks found, handled from the event loop.
    void browsed(const NetService& service, bool added);
    void resolved(const NetService& service);

    QList<Request*> m_requests;
    Request* m_browse = nullptr;
    QString m_error;

    friend struct ServiceBrowserCallbacks;
};

// Announces a service of the proxy's type for as long as it lives (the
// simulated unit uses it). The daemon renames it when the name is taken.
class ServiceAnnouncer {
public:
    ServiceAnnouncer() = default;
    ~ServiceAnnouncer();
    ServiceAnnouncer(const ServiceAnnouncer&) = delete;
    ServiceAnnouncer& operator=(const ServiceAnnouncer&) = delete;

    // False when the service cannot be announced (no daemon): error() says why.
    bool announce(const QString& name, quint16 port);
    void withdraw();
    QString error() const { return m_error; }

private:
    void* m_ref = nullptr;
    QString m_error;
};
