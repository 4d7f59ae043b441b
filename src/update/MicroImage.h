#pragma once

#include <QByteArray>
#include <QList>
#include <QStringList>

// The unit's settings live in its program FLASH at 0xfc00; an update
// rewrites that FLASH, so the settings read back with "k" and "j fcX0" are
// written again with the new program.
struct SettingsArea {
    static constexpr unsigned kAddress = 0xfc00;
    static constexpr int kRowBytes = 16;
    QByteArray bytes; // up to 256 bytes from kAddress, 0xff where unread
    unsigned address = 0;
    unsigned size = 0;
};

// What a microcontroller update sends for an S-record file.
struct MicroImage {
    QStringList records;       // S1 records from 0x8000, then "S9030000FC"
    bool settingsKept = false; // the unit's settings went into the image
    bool missedRow = false;    // a settings row was never read: the file's bytes stay
    int dataRecords = 0;       // S1 records of the file that went into the image
    QList<int> unreadLines;    // 1-based numbers of non-blank lines that are no records
};

// Fills a 64 KiB image (0xff) with the file's S1 data, puts the unit's
// settings over it at 0xfc00 when every row of the area (one row more than
// its size) was read, and cuts 0x8000 to 0xffff into 16-byte S1 records,
// leaving out erased ones.
MicroImage prepareMicroImage(const QStringList& fileLines, const SettingsArea& area);
