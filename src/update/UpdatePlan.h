#pragma once

#include "update/MicroImage.h"
#include "update/Progress.h"
#include "update/SettingsAreaReader.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

class NetworkSender;

// The outcome of one check before an update: go on (ok()), or the status and
// the message for the user that end the update with nothing sent.
struct UpdateCheck {
    UpdateStatus status = UpdateStatus::Running;
    QString message;
    bool ok() const { return message.isEmpty(); }
};

// What every update does before anything goes to the unit, in one place for
// the Update menu and qz62ctl: choose the link, read and check the file, read
// the unit's own data, check that the unit's settings came back, and build
// what is sent. The order is the caller's: the link first, so that nothing
// reaches a unit the update is not for.
namespace updateplan {

// The microcontroller program goes over the USB-serial port (the loader
// talks to the unit's boot monitor there); firmware and fonts go through the
// network proxy, the only way the unit takes them.
enum class Route { Serial, Network };

constexpr const char* kEraseQuestion =
    "This update erases the unit's FLASH memory and writes it anew. Do not switch the unit off "
    "or unplug it until the update has finished.";

// The link the route needs is there: a unit on the serial port, or an open
// network link. Refused with NoUnit otherwise.
UpdateCheck checkRoute(Route route, bool serialUnit, bool networkOpen);

// An ".s19" file for the microcontroller: the extension (any case), a
// readable text file of sensible size, every non-blank line a record (a
// trailing end-of-file character and blank lines are fine), and program data
// (S1) between 0x8000 and the settings area, without which the unit would be
// erased and left with nothing to run. *lines gets the file's lines.
UpdateCheck readMicroFile(const QString& path, QStringList* lines);
// The unit's loader from the unit data folder.
UpdateCheck readLoader(QByteArray* loader);
// The settings came back whole (or the unit has none).
UpdateCheck checkSettings(const SettingsAreaReader& reader);

// An ".mcs" firmware or font image chosen by the user, or one of the unit's
// own (updatefiles) by name.
UpdateCheck readImageFile(const QString& path, QString* text);
UpdateCheck readUnitImage(const QString& fileName, QString* text);

// The network path: the text's lines ("\r\n" as "\n") are counted, " u 0"
// goes out and then the whole text. Returns the line count (the unit's "u n"
// reports count against it), or -1 when the network link took nothing.
int sendOverNetwork(NetworkSender& network, const QString& text);
// The unit's count as a percentage of the lines (count x 100 when there are
// none to count against).
int networkPercent(long long count, int lines);

// What the user should do after an update ended this way (empty for
// success and for the ends that sent nothing).
QString nextStep(UpdateStatus status);

} // namespace updateplan
