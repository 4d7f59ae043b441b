#pragma once

#include <QObject>
#include <QString>
#include <QStringList>

class QLocalServer;

// One running application per user (and per instance name): a later start
// hands its files to the running one over a local socket and ends.
//
// The channel carries one absolute path per line, UTF-8, then the writer
// closes. An empty list still reaches the running application, which comes
// to the front.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // How long a later start waits for the running one to take its files.
    static constexpr int kHandOverTimeoutMs = 3000;

    // `instance` separates independent applications of one user (a second
    // unit, a test rig); empty for the usual one.
    explicit SingleInstance(const QString& instance, QObject* parent = nullptr);
    ~SingleInstance() override;

    // The socket's name: "qz62-<user id>[-<instance>]".
    QString serverName() const { return m_name; }

    // True when a running application took the files (this start should end).
    bool handOver(const QStringList& paths) const;
    // Becomes the running application: false when the socket cannot be made
    // (the application still runs, it only cannot take files from later starts).
    bool listen();

signals:
    void filesReceived(const QStringList& paths);

private:
    void acceptConnection();

    QString m_name;
    QLocalServer* m_server = nullptr;
};
