#pragma once

// What the parts of qz62ctl update share: its options, the exit status of
// each outcome, and the one line that reports it.
#include "update/UpdatePlan.h"

#include <QString>

namespace cli::updatecmd {

struct UpdateOptions {
    static constexpr int kDefaultTimeoutS = 30;
    QString kind; // micro, firmware or fonts
    QString file;
    QString port; // micro: the serial port (empty: search)
    QString host; // firmware, fonts: the network proxy (empty: service discovery)
    quint16 hostPort = 0;
    bool yes = false;
    int timeoutS = kDefaultTimeoutS; // without progress from the network unit
};

// The documented exit status of each outcome.
int exitStatus(UpdateStatus status);
// "qz62ctl: update: <message>" on standard error; returns the status's exit status.
int report(UpdateStatus status, const QString& message);
int refused(const UpdateCheck& check);
// The end of a run that went to the unit: its message on standard output
// after success, else with the next step on standard error.
int finished(const Progress& end);
// The question before the FLASH is erased, with what happens to the settings.
QString eraseQuestion(const QString& detail);

int updateMicro(const UpdateOptions& options);   // UpdateMicro.cpp
int updateNetwork(const UpdateOptions& options); // UpdateNetwork.cpp

} // namespace cli::updatecmd
