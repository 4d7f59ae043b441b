#include "update/SettingsAreaReader.h"

namespace {
// A whole field of hex digits (at most maxDigits), or false.
bool hexField(const QString& text, int maxDigits, unsigned* value) {
    if (text.isEmpty() || text.size() > maxDigits)
        return false;
    bool ok = false;
    *value = text.toUInt(&ok, 16);
    return ok;
}

QString rowAddress(int row) {
    return QString::number(SettingsArea::kAddress + unsigned(row * SettingsArea::kRowBytes), 16);
}
} // namespace

bool SettingsArea::complete() const {
    for (int row = 0; row < rows(); ++row)
        if (!rowRead(row))
            return false;
    return true;
}

QStringList SettingsAreaReader::takeReply(const QString& line) {
    const QStringList fields = line.simplified().split(QLatin1Char(' '));
    if (fields.size() < 2) // an echo of "k" or "j" alone, or another reply
        return {};
    if (fields.first() == QLatin1String("k") && m_state == State::AwaitingSize)
        return onSize(fields);
    if (fields.first() == QLatin1String("j") && m_state == State::AwaitingRows)
        onRow(fields);
    return {};
}

// "k fc00 30 3.32.6": address, size (absent on a unit without settings),
// firmware version.
QStringList SettingsAreaReader::onSize(const QStringList& fields) {
    unsigned address = 0;
    if (!hexField(fields.at(1), 8, &address))
        return {};
    unsigned size = 0;
    if (fields.size() > 2 && !hexField(fields.at(2), 8, &size))
        size = 0; // the version follows the address directly
    m_area.address = address;
    m_area.size = size;
    if (size == 0) {
        m_state = State::Done;
        return {};
    }
    if (address != SettingsArea::kAddress) {
        m_refusal = QStringLiteral("The unit keeps its settings at %1, not at %2, so they cannot "
                                   "be kept across the update. Nothing was sent.")
                        .arg(address, 0, 16)
                        .arg(SettingsArea::kAddress, 0, 16);
        m_state = State::Refused;
        return {};
    }
    if (size > SettingsArea::kMaxBytes) {
        m_refusal = QStringLiteral("The unit reports %1 bytes of settings, more than the %2 this "
                                   "program can keep across the update. Nothing was sent.")
                        .arg(size)
                        .arg(SettingsArea::kMaxBytes);
        m_state = State::Refused;
        return {};
    }
    m_state = State::AwaitingRows;
    QStringList commands;
    for (int row = 0; row < m_area.rows(); ++row)
        commands << QStringLiteral("j ") + rowAddress(row);
    return commands;
}

// "j fc10 b0 ... b15": one row, its sixteen bytes in hex. Anything else on a
// "j" line (a short or damaged dump) leaves the row unread.
void SettingsAreaReader::onRow(const QStringList& fields) {
    unsigned address = 0;
    if (fields.size() != 2 + SettingsArea::kRowBytes || !hexField(fields.at(1), 8, &address))
        return;
    const unsigned offset = address - SettingsArea::kAddress;
    if (address < SettingsArea::kAddress || offset % SettingsArea::kRowBytes != 0 ||
        offset >= unsigned(m_area.rows() * SettingsArea::kRowBytes))
        return;
    QByteArray row;
    for (int i = 0; i < SettingsArea::kRowBytes; ++i) {
        unsigned byte = 0;
        if (!hexField(fields.at(2 + i), 2, &byte))
            return;
        row += char(byte);
    }
    m_area.bytes.replace(qsizetype(offset), SettingsArea::kRowBytes, row);
    m_area.rowsRead |= 1u << (offset / SettingsArea::kRowBytes);
    if (m_area.complete())
        m_state = State::Done;
}

QString SettingsAreaReader::problem() const {
    switch (m_state) {
    case State::Done:
        return QString();
    case State::Refused:
        return m_refusal;
    case State::AwaitingSize:
        return QStringLiteral("The unit did not say where its settings are (no answer to \"k\"), "
                              "so they cannot be kept across the update. Nothing was sent.");
    case State::AwaitingRows:
        break;
    }
    QStringList missing;
    for (int row = 0; row < m_area.rows(); ++row)
        if (!m_area.rowRead(row))
            missing << rowAddress(row);
    return QStringLiteral("The unit's settings could not all be read back (no good answer to "
                          "\"j %1\"), so they would be lost with the update. Check the "
                          "connection and try again. Nothing was sent.")
        .arg(missing.join(QLatin1String("\", \"j ")));
}

QString SettingsAreaReader::summary() const {
    if (!done())
        return QString();
    if (m_area.size == 0)
        return QStringLiteral("The unit reports no settings to keep.");
    return QStringLiteral("The unit's settings (%1 bytes at %2) are kept.")
        .arg(m_area.size)
        .arg(m_area.address, 0, 16);
}
