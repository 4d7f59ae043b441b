#pragma once

#include "link/LinkListener.h"
#include "link/MsgClass.h"
#include "support/AlertsAndWaiting.h"

#include <QStringList>
#include <algorithm>

namespace linktest {

using testsupport::RecordingAlerts;
using testsupport::waitFor;

// The link's owner as the control panel is: drains every chunk into one
// receive buffer and keeps the lines.
class Receiver final : public LinkListener {
public:
    QStringList lines;
    QStringList chunkLabels;
    QString lostReason;
    qsizetype maxHeldBytes = 0;

    void threadHasMsg(MsgClass chunk) override {
        chunkLabels << chunk.text;
        lines += m_buffer.drain(chunk);
        maxHeldBytes = std::max(maxHeldBytes, m_buffer.buffer().size());
    }
    void threadLinkLost(const QString& reason) override { lostReason = reason; }

    bool hasLine(const QString& line) const { return lines.contains(line); }

private:
    MsgClass m_buffer;
};

} // namespace linktest
