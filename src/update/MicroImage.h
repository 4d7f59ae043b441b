#pragma once

#include "update/SettingsAreaReader.h"

#include <QList>
#include <QStringList>

// What a microcontroller update sends for an S-record file.
struct MicroImage {
    // The unit runs its program from 0x8000 up to its settings area.
    static constexpr unsigned kProgramStart = 0x8000;
    static constexpr unsigned kProgramEnd = SettingsArea::kAddress;

    QStringList records;       // S1 records from 0x8000, then "S9030000FC"
    bool settingsKept = false; // the unit's settings went into the image
    int dataRecords = 0;       // S1 records of the file that went into the image
    int programRecords = 0;    // records sent below the settings area
    int wideRecords = 0;       // S2/S3 data records of the file, which the unit cannot take
    QList<int> unreadLines;    // 1-based numbers of non-blank lines that are no records
};

// Fills a 64 KiB image (0xff) with the file's S1 data, puts the unit's
// settings over it at 0xfc00 when the area holds any (the caller makes sure
// every row of it was read), and cuts 0x8000 to 0xffff into 16-byte S1
// records, leaving out erased ones.
MicroImage prepareMicroImage(const QStringList& fileLines, const SettingsArea& area);
