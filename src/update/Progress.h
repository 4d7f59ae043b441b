#pragma once

#include <QString>

// How an update stands or how it ended. Everything up to SettingsUnread ends
// an update before anything is sent; the rest ends one that ran.
enum class UpdateStatus {
    Running,         // still going (progress reports)
    Success,         // every record written ("success!")
    Declined,        // the FLASH erase was not confirmed
    NoUnit,          // no unit on the link the update needs
    MissingUnitData, // a file of the unit's own data is missing or wrong
    RefusedFile,     // the update file cannot be used
    SettingsUnread,  // the unit's settings could not all be read back
    NoLoaderEcho,    // the unit's loader did not start or echo wrongly
    NoEraseAck,      // the unit did not report its FLASH erased
    RecordRefused,   // a record was refused or came back damaged
    LinkLost,        // the port or the network connection went away
    NoProgress,      // the unit behind the network proxy stopped reporting
    Aborted,         // the user stopped the update
};

// True for the outcomes that leave the unit untouched.
inline bool nothingWasSent(UpdateStatus status) {
    return status >= UpdateStatus::Declined && status <= UpdateStatus::SettingsUnread;
}

// One progress report of an update engine: the text for the update label and
// the value for the bar (0 to 100). The final report of a run carries the
// outcome in msg and status, and percent 0.
struct Progress {
    QString msg;
    int percent = 0;
    UpdateStatus status = UpdateStatus::Running;
};
