#pragma once

#include "link/MsgClass.h"
#include "support/AlertsAndWaiting.h"

#include <QObject>
#include <QStringList>
#include <algorithm>

namespace linktest {

using testsupport::RecordingAlerts;
using testsupport::waitFor;

// The link's owner as the control panel is: drains every chunk into one
// receive buffer and keeps the lines.
class Receiver : public QObject {
    Q_OBJECT
public:
    QStringList lines;
    QStringList chunkLabels;
    QString lostReason;
    qsizetype maxHeldBytes = 0;

    Q_INVOKABLE void threadHasMsg(MsgClass chunk) {
        chunkLabels << chunk.text;
        lines += m_buffer.drain(chunk);
        maxHeldBytes = std::max(maxHeldBytes, m_buffer.buffer().size());
    }
    Q_INVOKABLE void threadLinkLost(QString reason) { lostReason = reason; }

    bool hasLine(const QString& line) const { return lines.contains(line); }

private:
    MsgClass m_buffer;
};

} // namespace linktest
