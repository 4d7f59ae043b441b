#include "app/SingleInstance.h"

#include <QFileInfo>
#include <QLocalServer>
#include <QLocalSocket>
#include <unistd.h>

namespace {
constexpr qint64 kMaxHandOverBytes = 1 << 20;
} // namespace

SingleInstance::SingleInstance(const QString& instance, QObject* parent) : QObject(parent) {
    m_name = QStringLiteral("qz62-%1").arg(::getuid());
    if (!instance.isEmpty())
        m_name += u'-' + instance;
}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::handOver(const QStringList& paths) const {
    QLocalSocket socket;
    socket.connectToServer(m_name);
    if (!socket.waitForConnected(kHandOverTimeoutMs))
        return false;
    QByteArray lines;
    for (const QString& path : paths)
        lines += QFileInfo(path).absoluteFilePath().toUtf8() + '\n';
    socket.write(lines);
    if (!lines.isEmpty() && !socket.waitForBytesWritten(kHandOverTimeoutMs))
        return false;
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(kHandOverTimeoutMs);
    return true;
}

bool SingleInstance::listen() {
    m_server = new QLocalServer(this);
    m_server->setSocketOptions(QLocalServer::UserAccessOption);
    connect(m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnection);
    if (m_server->listen(m_name))
        return true;
    // Nobody answered on it (handOver failed first): a crashed run left it.
    QLocalServer::removeServer(m_name);
    return m_server->listen(m_name);
}

void SingleInstance::acceptConnection() {
    while (QLocalSocket* socket = m_server->nextPendingConnection()) {
        // A list of file names is small; anything else is not ours to keep.
        connect(socket, &QLocalSocket::readyRead, socket, [socket] {
            if (socket->bytesAvailable() > kMaxHandOverBytes)
                socket->abort();
        });
        connect(socket, &QLocalSocket::disconnected, this, [this, socket] {
            // Whole lines only: a writer that went away mid-line sent no file.
            QStringList paths;
            const QList<QByteArray> lines = socket->readAll().split('\n');
            for (qsizetype i = 0; i + 1 < lines.size(); ++i) {
                if (!lines[i].isEmpty())
                    paths << QString::fromUtf8(lines[i]);
            }
            socket->deleteLater();
            emit filesReceived(paths);
        });
    }
}
