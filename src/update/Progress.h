#pragma once

#include <QString>

// One progress report of an update engine: the text for the update label and
// the value for the bar (0 to 100). The final report of a run carries the
// outcome and percent 0.
struct Progress {
    QString msg;
    int percent = 0;
};
