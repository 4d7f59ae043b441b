#pragma once

#include "update/FirmwareUpdateThread.h"
#include "update/MicroUpdateThread.h"

#include <QObject>
#include <QString>
#include <memory>

class PanelController;
class TransportLoan;

// The unit's updates, without widgets: the microcontroller program over the
// serial port (MicroUpdateThread), firmware and fonts over the network link
// (the text goes to the network proxy, the unit reports "u n"), or, when no
// network link is there, a firmware file over the serial port
// (FirmwareUpdateThread).
//
// Every input is checked before anything goes out: a wrong extension, a file
// that cannot be read, is too large or damaged, and a missing file of the
// unit's own data (updatefiles) each end with a message and nothing sent.
// Updates that erase the unit's FLASH ask once before they start (the
// panel's prompts; "cancel" changes nothing).
//
// While a serial update runs the link's port is lent to the engine and the
// keep-alive is held off; whatever the outcome the port goes back to the link
// at 38400 baud and the link thread runs again. Progress and the final
// message show in the panel's progress display (StatusParser). Main thread
// only.
class UpdateController final : public QObject, public UpdateListener {
    Q_OBJECT
public:
    // Ticks of 0.1 s the final message stays up.
    static constexpr int kFinalMessageTicks = 50;
    static constexpr const char* kEraseQuestion =
        "This update erases the unit's FLASH memory and writes it anew. Do not switch the unit "
        "off or unplug it until the update has finished.\n\nStart the update?";

    explicit UpdateController(PanelController& panel);
    ~UpdateController() override;

    bool isRunning() const { return bool(m_loan); }

    // --- the microcontroller over the serial port ---
    // Before the user picks a file: the unit tab comes forward and the unit is
    // asked for its settings area ("k", "j fc00" to "j fc30") and "A 1"; the
    // replies arrive while the user chooses.
    void beginMicroUpdate();
    // Checks and prepares the file, then runs the update; true when it started.
    bool startMicroUpdate(const QString& s19Path);

    // --- firmware and fonts ---
    // An ".mcs" file: over the network link when one is connected, else over
    // the serial port. True when something was started or sent.
    bool startFirmwareUpdate(const QString& mcsPath);
    // The unit's own files (see updatefiles), over the network link.
    bool defaultMicroUpdate();
    bool defaultFirmwareUpdate();
    bool defaultFontUpdate();

    // The network path: counts the lines into the progress maximum, holds the
    // keep-alive off and, when a network link is connected, sends " u 0" and
    // then the text (each string as one NetworkSender::sendStringToNetwork).
    // 0 when it went out; -1 when no network link took it (nothing sent, no
    // error, the keep-alive runs again).
    int sendUpdateToTarget(const QString& text);
    bool hasNetworkLink() const;

    // Ends a running serial update at its next check ("operation aborted...").
    void abort();
    // Stops a running update and gives the port back (the window closes).
    void shutdown();

    MicroUpdateThread& microUpdateThread() { return m_micro; }
    FirmwareUpdateThread& firmwareUpdateThread() { return m_firmware; }

    // UpdateListener: the engines' reports.
    void threadHasProgress(const Progress& progress) override;
    void threadUpdateComplete(const Progress& progress) override;

signals:
    void runningChanged(bool running);
    // The final message of a serial update, or why nothing was sent.
    void finished(const QString& message);

private:
    bool defaultUpdate(const char* fileName);
    bool sendOverNetwork(const QString& text);
    bool startSerial(UpdateEngine& engine);
    bool serialPortReady();
    bool refuse(const QString& message);
    bool askToErase();

    PanelController& m_panel;
    MicroUpdateThread m_micro;
    FirmwareUpdateThread m_firmware;
    std::unique_ptr<TransportLoan> m_loan; // while a serial update runs
};
