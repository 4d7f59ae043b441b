#pragma once

#include "update/Progress.h"

#include <QString>

// An update through the network proxy as the unit reports it: "u n" as it
// writes (n lines so far), then "u 0" at the end. A "u 0" before any count is
// the unit's echo of the start, not the end.
class NetworkProgress {
public:
    // The number of lines sent (what the counts are a share of).
    explicit NetworkProgress(int lines) : m_lines(lines) {}
    // One reply line; true when it was a report.
    bool takeReply(const QString& line);
    bool ended() const { return m_ended; }
    int count() const { return m_count; }
    // For the progress display: the share written, 100 at the end.
    Progress progress() const;

private:
    int m_lines;
    int m_count = 0;
    bool m_ended = false;
};
