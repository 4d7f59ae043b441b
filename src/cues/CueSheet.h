#pragma once

#include "cues/CueItem.h"
#include "cues/CueSheetText.h"
#include "timecode/TcCalculator.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <vector>

class CommandSink;

// The seven values of a cue sheet's header (";duplicate", ";midnight",
// ";text", ";cueId", ";pulldown", ";start", ";tctype"). The defaults are the
// user defaults a new cue window starts with.
struct CueSheetSettings {
    bool duplicate = true; // remove duplicate in times when sorting ("RemoveDuplicates")
    bool midnight = true;  // a sheet across midnight starts with its evening cues ("Rollover")
    bool text = true;      // send/export the cue text ("IncludeDialog")
    bool cueId = true;     // put the cue identifier in front of the text ("IncludeCueID")
    bool pulldown = false; // pulldown flag of the MIDI export ("Pulldown")
    QString start = QStringLiteral("01:00:00:00"); // MIDI export start ("TcStart")
    int tctype = 3;                                // timecode type 0..3 ("TcType")

    friend bool operator==(const CueSheetSettings&, const CueSheetSettings&) = default;
};

// One cue sheet: its rows in table order, the header values, the row selected
// for firing, and what the unit told us about the streamer (offset and
// duration). The cue window and its table wrap one of these; everything here
// runs on the thread that owns the sheet (the main thread in the application),
// including mtcEvent, which the MIDI input must deliver by a queued call.
//
// Everything sent to the unit goes through `comThread`; with no unit
// connected (null) the sends do nothing.
class CueSheet {
public:
    CueSheet() = default;

    // --- rows ---
    const QList<CueItem>& rows() const { return m_rows; }
    QList<CueItem>& rows() { return m_rows; }
    void setRows(const QList<CueItem>& rows) { m_rows = rows; }
    void addObject(const CueItem& item) { m_rows.append(item); }
    int count() const { return int(m_rows.size()); }
    // Removes every row, from the last to the first.
    void onClearAll() { m_rows.clear(); }

    // --- header values and state ---
    CueSheetSettings& settings() { return m_settings; }
    const CueSheetSettings& settings() const { return m_settings; }
    // Row the next cue is expected at; -1 when nothing is selected.
    int selectionIndex() const { return m_selectionIndex; }
    void setSelectionIndex(int index) { m_selectionIndex = index; }
    // Streamer duration as the unit reports it (100 until it does); the
    // firing lead is derived from it.
    int stepperStreamerDuration() const { return m_stepperStreamerDuration; }
    void setStepperStreamerDuration(int duration) { m_stepperStreamerDuration = duration; }
    // Streamer offset (seconds) handed to the MIDI export.
    double offset() const { return m_offset; }
    void setOffset(double offset) { m_offset = offset; }
    // The link to the unit; null when no unit is connected. Not owned.
    CommandSink* comThread() const { return m_comThread; }
    void setComThread(CommandSink* comThread) { m_comThread = comThread; }
    // Number of in/out pairs sent by the last onTxInOuts (the panel's fMax).
    int inOutPairsSent() const { return m_inOutPairsSent; }
    // The row the last onTxInOuts stopped at; -1 when it reached the end.
    int inOutStopRow() const { return m_inOutStopRow; }
    // Rows the last onTxInOuts sent without their out time (not a timecode).
    const QList<int>& inOutOutsDropped() const { return m_inOutOutsDropped; }

    // --- sheet text format ---
    // The seven header lines: key, tab, value, newline each.
    QString cueSheetInitValues() const;
    // One header line; unknown keys and lines without a tab are ignored.
    void initValueFromString(const QString& line);
    // Header lines set the header values, every other line is imported as a
    // row. Says what the text held (a sheet, or lines of another list).
    sheettext::Reading cueTableFromString(const QString& text);
    // Header, then "id\tin\tout\ttext\tnotes\n" per row with times in display
    // form ("---" when unset).
    QString stringFromCueTable() const;
    // A block of pasted lines, each imported as a row.
    void paste(const QString& block);

    // The window's own save form: "in\tout\ttext\n" per row with the raw
    // times. A null array when there are no rows. When `osStatusError` is
    // given it is set to -4, on success too, as the document layer expects.
    QByteArray dataOfType(int* osStatusError = nullptr) const;
    // Reads nothing and succeeds; sets `osStatusError` to -4 when given.
    bool readFromData(const QByteArray& data, int* osStatusError = nullptr);

    // --- to the unit ---
    // The text the unit shows for a cue: identifier and/or text as the
    // header values say (cuetext::build), the same for the selection, the
    // firing and the MIDI export.
    QString cueItemText(const CueItem& item) const;
    // "s <text>" for a cue, as when the user selects its row; typographic
    // punctuation goes as its plain form and a character without a Latin-1
    // form (the link's character set) as "?".
    void sendCueItemText(const CueItem& item);
    // The user selected a row: its text goes to the unit.
    void tableViewSelectionDidChange(int firstSelectedRow);
    // "h 0" then "f <in> <out>" per row, stopping at the first row whose in
    // time is not valid. Returns (and keeps) the number of pairs sent.
    int onTxInOuts();
    // "V": clears the unit's text.
    void onClearText();
    // Note On 0x90 0x77 <trigger>, then the cue's "s <text>" as a 7/8-coded
    // system-exclusive frame F0 20 01 ... F7 (Latin-1, "?" for a character
    // without a Latin-1 form).
    void sendTriggerAndText(const CueItem& item, int trigger);

    // --- sorting and firing ---
    // Circular sort on the in times (always as 30 fps), then the duplicate
    // and midnight rules when the header values ask for them. Returns the
    // number of rows the duplicate rule removed; `spanWarning`, when given,
    // gets what inTimeSpanWarning() says of the rows before the sort.
    int OnSort(QString* spanWarning = nullptr);
    // The circular sort only orders times that fit in half a day. When the
    // valid in times, taken round the clock the shortest way, span more than
    // 12 hours, a warning for the user naming the span; otherwise empty.
    QString inTimeSpanWarning() const;
    // The same for valid in times given as frames at 30 fps (any order).
    QString inTimeSpanWarning(std::vector<int> frames) const;
    // Four bytes of MIDI timecode (hours with the rate bits, minutes,
    // seconds, frames). Moves the selection to the next cue to come and
    // fires the cues due on that frame, as cuewalk::walk says; short data or
    // a time that is not a valid timecode is ignored.
    void mtcEvent(const QByteArray& mtc);
    // Frames between a cue's trigger and its in time for the type.
    int leadFrames(int type) const;

    // Self-test of the 7/8 coding on the bytes 0..255: the
    // "bytes: ... equal: ..." line.
    QString onButtonTest() const;

    const TcCalculator& tcc() const { return m_tcc; }

private:
    QList<CueItem> m_rows;
    CueSheetSettings m_settings;
    int m_selectionIndex = -1;
    int m_inOutPairsSent = 0;
    int m_inOutStopRow = -1;
    QList<int> m_inOutOutsDropped;
    int m_stepperStreamerDuration = 100;
    double m_offset = 0.0;
    CommandSink* m_comThread = nullptr;
    TcCalculator m_tcc;
};
