#include "update/MicroImage.h"

#include "base/Diagnostics.h"
#include "update/SRecord.h"

#include <algorithm>

namespace {
// Every row of the area, and the row after it, must have come back from the
// unit: a row of nothing but 0xff is one whose "j" reply was missed.
bool everyRowRead(const SettingsArea& area) {
    for (unsigned offset = 0; offset <= area.size; offset += SettingsArea::kRowBytes) {
        const QByteArray row = area.bytes.mid(qsizetype(offset), SettingsArea::kRowBytes);
        if (row.size() < SettingsArea::kRowBytes ||
            std::all_of(row.begin(), row.end(), [](char b) { return uchar(b) == 0xff; }))
            return false;
    }
    return true;
}
} // namespace

MicroImage prepareMicroImage(const QStringList& fileLines, const SettingsArea& area) {
    MicroImage result;
    SRecord::ImageStats stats;
    QByteArray image = SRecord::imageFromLines(fileLines, &stats);
    result.dataRecords = stats.dataRecords;
    result.unreadLines = stats.unreadLines;
    if (area.size != 0 && area.address == SettingsArea::kAddress) {
        if (!everyRowRead(area)) {
            diag::print("missed a j record...\n");
            result.missedRow = true;
        } else {
            std::copy_n(area.bytes.constData(), area.size, image.data() + area.address);
            result.settingsKept = true;
        }
    }
    result.records = SRecord::recordsFromImage(image);
    return result;
}
