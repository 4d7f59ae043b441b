#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

// The files an update reads: the user's ".s19" and ".mcs" files, and the
// unit's own data, which does not ship with this program. The unit's data
// folder holds:
//   loader.bin  the microcontroller loader the unit runs during an update (772 bytes)
//   c192b.sx    the current microcontroller program (S-records), for the network path
//   c192b.mcs   the current firmware image
//   fonts.mcs   the current font set
// It is the environment variable QZ62_UNIT_DATA when set (qz62 --unit-data
// DIR sets it), else the folder "unit" in the application's data folder
// (~/.local/share/qz62/unit on Linux).
namespace updatefiles {

constexpr const char* kLoaderFile = "loader.bin";
constexpr const char* kMicroResource = "c192b.sx";
constexpr const char* kFirmwareResource = "c192b.mcs";
constexpr const char* kFontsResource = "fonts.mcs";
constexpr const char* kDataEnvironment = "QZ62_UNIT_DATA";

// A microcontroller program as S-records is about 200 KB; a firmware image a
// few MB. Larger files are refused before they are read.
constexpr qint64 kMaxS19Bytes = 4 * 1024 * 1024;
constexpr qint64 kMaxMcsBytes = 64 * 1024 * 1024;

QString unitDataDirectory();
QString unitDataPath(const QString& fileName);

// The text of an update file, or why it cannot be used (a message for the
// user; nothing is sent then).
struct UpdateText {
    QString text;
    QString error;
    bool ok() const { return error.isEmpty(); }
};
// Reads a text file of at most maxBytes: refused when missing or unreadable
// (unreadableMessage), larger than maxBytes (without reading it), or not
// UTF-8 text.
UpdateText readUpdateText(const QString& path, qint64 maxBytes, const QString& unreadableMessage);
// One of the unit's own files from the unit data folder; a missing one says
// which file and where to put it.
UpdateText readUnitText(const QString& fileName, qint64 maxBytes);
// The loader, or an empty array with *error set.
QByteArray readLoader(QString* error);
QString missingMessage(const QString& fileName);

// "\r\n" becomes "\n", then the text is cut at "\n".
QStringList updateLines(const QString& text);
// The text without the end-of-file characters (Ctrl-Z, 0x1a) that some
// tools still write at a text file's end.
QString withoutEndOfFile(const QString& text);
// The extension, lower-cased, is `extension`.
bool hasExtension(const QString& path, const QString& extension);

} // namespace updatefiles
