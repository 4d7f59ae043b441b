#pragma once

#include "link/LinkListener.h"
#include "protocol/MsgClass.h"
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

// Identification gives the unit 3 x 100 ms to answer; a test machine busy
// with a parallel build can miss that window. The fixtures try again rather
// than fail on scheduling; the identification rules have tests of their own.
template <typename Link>
int openWithRetries(Link& link, int attempts = 3) {
    int result = -1;
    for (int i = 0; i < attempts && result != 0; ++i)
        result = link.openUsbSerial();
    return result;
}

} // namespace linktest
