#pragma once

#include "link/SerialTransport.h"

#include <QString>
#include <QStringList>
#include <functional>
#include <memory>

// Finds the unit on a USB-serial port: every FTDI adapter's port in the search
// directory ("tty.usbserial..." or "ttyUSB<n>"), in name order, or only the
// explicit port when one is set, opened and asked "B\r\n" up to three times;
// the unit answers with text containing "C190".
class SerialPortFinder {
public:
    static constexpr int kProbeTries = 3;
    static constexpr int kMaxPathBytes = 255;

    void setSearchDirectory(const QString& directory) { m_searchDirectory = directory; }
    QString searchDirectory() const { return m_searchDirectory; }
    // An explicit port path skips the search; an empty path restores it.
    void setPort(const QString& path) { m_port = path; }
    QString port() const { return m_port; }
    // When the search finds no unit and an FTDI adapter is plugged in without
    // a driver bound to it, the user is told where to get the driver.
    void setDriverCheckEnabled(bool enabled) { m_driverCheck = enabled; }
    // Where USB devices are listed (tests point it at a tree of their own).
    void setUsbDevicesDirectory(const QString& directory) { m_usbDevices = directory; }
    // Called before each identification (the network link may take it).
    void setBeforeProbe(std::function<void()> call) { m_beforeProbe = std::move(call); }

    // The port the unit answered on, open and set up; nullptr when no unit
    // answered (then lastOpenError() tells why a port could not be opened).
    // directoryReadable() is false when the search directory cannot be read.
    std::unique_ptr<SerialTransport> find();
    bool directoryReadable() const { return m_directoryReadable; }
    // The directory entry's name, or the explicit path.
    QString foundName() const { return m_foundName; }
    QString lastOpenError() const { return m_lastOpenError; }
    // One line telling the user how to fix the open failure, when there is a
    // known fix (a port the user may not open); empty otherwise.
    QString remedy() const;
    // The same for an open that failed with openErrno: where one of
    // accessRuleFiles exists, the package's udev rule gives the user at the
    // seat the adapter once it is plugged in again; otherwise the package or
    // the dialout group would.
    static QString remedyFor(int openErrno, const QStringList& accessRuleFiles);

    // True when an FTDI USB device (vendor 0403) is attached and none of its
    // interfaces has a driver bound.
    static bool unboundFtdiDevice(const QString& usbDevicesDirectory);
    static QString driverDownloadUrl();

private:
    bool identify(SerialTransport& port);

    QString m_searchDirectory = QStringLiteral("/dev");
    QString m_port;
    QString m_usbDevices = QStringLiteral("/sys/bus/usb/devices");
    // Where the package installs that rule, or an administrator copies it.
    QStringList m_accessRuleFiles = {QStringLiteral("/lib/udev/rules.d/70-qz62.rules"),
                                     QStringLiteral("/usr/lib/udev/rules.d/70-qz62.rules"),
                                     QStringLiteral("/etc/udev/rules.d/70-qz62.rules")};
    bool m_driverCheck = true;
    bool m_directoryReadable = true;
    std::function<void()> m_beforeProbe;
    QString m_foundName;
    QString m_lastOpenError;
    int m_lastOpenErrno = 0;
};
