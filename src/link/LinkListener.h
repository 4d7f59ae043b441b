#pragma once

#include "protocol/MsgClass.h"

#include <QString>

// The owner of a device link (the control panel, a command-line tool). The
// link thread calls it on the thread that started the link, later and in
// arrival order (through QueuedCalls), never waiting for it.
class LinkListener {
public:
    virtual ~LinkListener() = default;
    // One chunk of received bytes (at most 255); chunk.text is the chunk
    // counter ("1", "2", ...). Feed it to a long-lived MsgClass with drain().
    virtual void threadHasMsg(MsgClass chunk) = 0;
    // The transport went away (adapter pulled, proxy gone). The link thread
    // has ended and the port is closed; later commands are dropped as when no
    // port exists. An owner that does not care keeps this default, which
    // notes the skipped call on standard output.
    virtual void threadLinkLost(const QString& reason);
};
