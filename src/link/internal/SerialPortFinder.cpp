#include "link/internal/SerialPortFinder.h"

#include "base/Alerts.h"
#include "base/Diagnostics.h"
#include "protocol/Commands.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <vector>

namespace {
// FTDI adapters: "tty.usbserial<suffix>" where the adapter's driver names its
// ports so, "ttyUSB<n>" with the Linux ftdi_sio driver.
bool isAdapterName(const QString& name) {
    static const QRegularExpression linuxName(QStringLiteral("^ttyUSB[0-9]+$"));
    return name.contains(QLatin1String("tty.usbserial")) || linuxName.match(name).hasMatch();
}
} // namespace

QString SerialPortFinder::driverDownloadUrl() {
    return QStringLiteral("https://ftdichip.com/drivers/vcp-drivers/");
}

bool SerialPortFinder::unboundFtdiDevice(const QString& usbDevicesDirectory) {
    const QDir dir(usbDevicesDirectory);
    const QStringList entries = dir.entryList(QDir::Dirs | QDir::NoDotAndDotDot | QDir::System);
    for (const QString& device : entries) {
        if (device.contains(QLatin1Char(':')))
            continue; // an interface, not a device
        QFile vendor(dir.filePath(device + QStringLiteral("/idVendor")));
        if (!vendor.open(QIODevice::ReadOnly) || vendor.readAll().trimmed() != "0403")
            continue;
        bool bound = false;
        for (const QString& entry : entries)
            if (entry.startsWith(device + QLatin1Char(':')) &&
                QFileInfo::exists(dir.filePath(entry + QStringLiteral("/driver"))))
                bound = true;
        if (!bound)
            return true;
    }
    return false;
}

QString SerialPortFinder::remedy() const {
    return remedyFor(m_lastOpenErrno, m_accessRuleFiles);
}

QString SerialPortFinder::remedyFor(int openErrno, const QStringList& accessRuleFiles) {
    if (openErrno != EACCES && openErrno != EPERM)
        return QString();
    const bool ruleInstalled = std::any_of(accessRuleFiles.begin(), accessRuleFiles.end(),
                                           [](const QString& path) { return QFile::exists(path); });
    if (ruleInstalled)
        return QStringLiteral("To get access, unplug and replug the adapter.");
    return QStringLiteral("To get access, install the package, or join the dialout group (sudo "
                          "usermod -aG dialout $USER, then log in again).");
}

bool SerialPortFinder::identify(SerialTransport& port) {
    if (m_beforeProbe)
        m_beforeProbe();
    for (int attempt = 0; attempt < kProbeTries; ++attempt) {
        if (port.sendStringPolling(cmd::identifyProbe()).contains(QLatin1String("C190")))
            return true;
    }
    return false;
}

std::unique_ptr<SerialTransport> SerialPortFinder::find() {
    m_lastOpenError.clear();
    m_lastOpenErrno = 0;
    m_foundName.clear();
    m_directoryReadable = true;

    std::vector<QString> candidates;
    if (!m_port.isEmpty()) {
        candidates.push_back(m_port);
    } else {
        DIR* dir = ::opendir(m_searchDirectory.toLocal8Bit().constData());
        if (!dir) {
            m_directoryReadable = false;
            return nullptr;
        }
        std::vector<QString> names;
        while (const dirent* entry = ::readdir(dir)) {
            const QString name = QString::fromLocal8Bit(entry->d_name);
            if (isAdapterName(name))
                names.push_back(name);
        }
        ::closedir(dir);
        // Name order, shorter first, so ttyUSB2 comes before ttyUSB10 and the
        // search does not depend on the directory's internal order.
        std::sort(names.begin(), names.end(), [](const QString& a, const QString& b) {
            return a.size() != b.size() ? a.size() < b.size() : a < b;
        });
        for (const QString& name : names) {
            const QString path = m_searchDirectory + QLatin1Char('/') + name;
            if (path.toLocal8Bit().size() <= kMaxPathBytes)
                candidates.push_back(path);
        }
    }

    for (const QString& path : candidates) {
        auto port = std::make_unique<SerialTransport>();
        if (!port->open(path)) {
            m_lastOpenError = port->error();
            m_lastOpenErrno = port->errorNumber();
            continue;
        }
        if (identify(*port)) {
            diag::print("found QZ-62 on port %s\n", path.toLocal8Bit().constData());
            m_foundName = m_port.isEmpty() ? QFileInfo(path).fileName() : path;
            m_lastOpenError.clear();
            m_lastOpenErrno = 0;
            return port;
        }
    }

    // Only a search points at the driver; an explicit port (a simulator, a
    // known device) says nothing about it.
    if (m_port.isEmpty() && m_driverCheck && unboundFtdiDevice(m_usbDevices))
        alerts::show(QStringLiteral("install USB driver found at ") + driverDownloadUrl());
    return nullptr;
}
