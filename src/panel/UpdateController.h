#pragma once

#include "update/MicroUpdateThread.h"
#include "update/SettingsAreaReader.h"
#include "update/UpdatePlan.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <memory>

class PanelController;
class TransportLoan;

// The unit's updates, without widgets: the microcontroller program over the
// serial port (MicroUpdateThread), firmware and fonts through the network
// proxy (the text goes to the proxy, the unit reports "u n").
//
// Each update first settles its link (a unit on the serial port for the
// microcontroller, whatever the network link does; an open network link for
// firmware and fonts) and sends nothing without it. Every input is then
// checked before anything that changes the unit goes out (updateplan): the
// file, the unit's own data, and, for the microcontroller, the unit's
// settings, read back row by row while the user picks the file. Updates that
// erase the unit's FLASH ask once before they start (the panel's prompts;
// "cancel" changes nothing).
//
// While a serial update runs the link's port is lent to the engine and the
// keep-alive is held off. After success the port goes back to the link at
// 38400 baud and the link runs again; after a failure the unit sits in its
// loader, so the link stays stopped (no ping goes there), the failure stays
// on the Unit tab, an alert says what to do next, and the banner asks for a
// power cycle and Connect. Main thread only.
class UpdateController final : public QObject, public UpdateListener {
    Q_OBJECT
public:
    // Ticks of 0.1 s the final message of a successful update stays up.
    static constexpr int kFinalMessageTicks = 50;
    // How long the unit's settings may still take once the file is chosen.
    static constexpr int kSettingsWaitMs = 3000;

    explicit UpdateController(PanelController& panel);
    ~UpdateController() override;

    // An update runs, or waits for the unit's settings before it starts.
    bool isRunning() const { return bool(m_loan) || m_waitingForSettings; }

    // --- the microcontroller over the serial port ---
    // Before the user picks a file: the unit tab comes forward and the unit on
    // the serial port is asked for its settings ("k", then "j" for each row
    // it reports, then "A 1"); the replies arrive while the user chooses.
    // False, with a message and nothing sent, without a unit on the serial
    // port.
    bool beginMicroUpdate();
    // Checks the file and the loader, then (once the settings are in, or
    // kSettingsWaitMs later) the settings, asks, and runs the update. False
    // when it was refused or declined at once.
    bool startMicroUpdate(const QString& s19Path);

    // --- firmware and fonts, through the network proxy ---
    // Before the user picks an ".mcs" file: "A 1" to the unit. False, with a
    // message and nothing sent, without a network link.
    bool beginFirmwareUpdate();
    // An ".mcs" file the user chose.
    bool startFirmwareUpdate(const QString& mcsPath);
    // The unit's own files (see updatefiles).
    bool defaultMicroUpdate();
    bool defaultFirmwareUpdate();
    bool defaultFontUpdate();

    // The network path: counts the lines into the progress maximum, holds the
    // keep-alive off and, when a network link is connected, sends " u 0" and
    // then the text. 0 when it went out; -1 when no network link took it
    // (nothing sent, the keep-alive runs again).
    int sendUpdateToTarget(const QString& text);
    bool hasNetworkLink() const;
    // A unit answers on the serial port (its link thread runs).
    bool hasSerialUnit() const;

    // Ends a running serial update at its next check ("operation aborted...").
    void abort();
    // Stops a running update and gives the port back (the window closes).
    void shutdown();

    MicroUpdateThread& microUpdateThread() { return m_micro; }
    const SettingsAreaReader& settingsReader() const { return m_settings; }

    // UpdateListener: the engine's reports.
    void threadHasProgress(const Progress& progress) override;
    void threadUpdateComplete(const Progress& progress) override;

signals:
    void runningChanged(bool running);
    // The final message of an update, or why nothing was sent.
    void finished(const QString& message);

private:
    void onReply(const QString& line);
    bool continueMicroUpdate();
    void stopWaiting();
    bool defaultUpdate(const char* fileName);
    bool sendOverNetwork(const QString& text);
    bool startSerial(UpdateEngine& engine);
    bool refuse(const UpdateCheck& check);
    bool askToErase(const QString& detail);
    void reportFailure(const Progress& progress);

    PanelController& m_panel;
    MicroUpdateThread m_micro;
    SettingsAreaReader m_settings;
    bool m_readingSettings = false; // rows asked for; "A 1" follows them
    bool m_waitingForSettings = false;
    QStringList m_microLines; // the chosen file, checked
    QByteArray m_loader;
    QTimer m_settingsWait;
    std::unique_ptr<TransportLoan> m_loan; // while a serial update runs
};
