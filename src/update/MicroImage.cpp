#include "update/MicroImage.h"

#include "update/SRecord.h"

#include <algorithm>

MicroImage prepareMicroImage(const QStringList& fileLines, const SettingsArea& area) {
    MicroImage result;
    SRecord::ImageStats stats;
    QByteArray image = SRecord::imageFromLines(fileLines, &stats);
    result.dataRecords = stats.dataRecords;
    result.wideRecords = stats.wideRecords;
    result.unreadLines = stats.unreadLines;
    if (area.size != 0 && area.address == SettingsArea::kAddress && area.complete()) {
        const unsigned size = std::min<unsigned>(area.size, SettingsArea::kMaxBytes);
        std::copy_n(area.bytes.constData(), size, image.data() + area.address);
        result.settingsKept = true;
    }
    result.records = SRecord::recordsFromImage(image);
    SRecord record;
    for (const QString& text : result.records)
        if (record.setSRec(text) == 0 && record.recType() == 1 &&
            record.address() < MicroImage::kProgramEnd)
            ++result.programRecords;
    return result;
}
