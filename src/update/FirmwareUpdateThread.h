#pragma once

#include "update/UpdateEngine.h"

#include <QByteArray>
#include <QStringList>
#include <atomic>

// Loads a firmware or font image (the lines of an ".mcs" file) into the unit
// over the serial port. The unit erases its FLASH and says "ready"; the lines
// then go out packed into transmissions of fewer than 1022 characters, each
// ended by CR, and the unit echoes every transmission followed by LF before
// the next one is sent.
class FirmwareUpdateThread final : public UpdateEngine {
public:
    static constexpr int kMaxPackedChars = 1022;
    static constexpr int kMaxReplyChars = 1023;
    static constexpr int kErasePasses = 100;
    static constexpr int kErasePassMs = 200;
    static constexpr int kReadyGapMs = 10;
    static constexpr int kEchoWaitMs = 200;
    static constexpr int kStartAnswerMs = 1000;

    void setArray(const QStringList& lines) { m_lines = lines; }
    const QStringList& array() const { return m_lines; }
    // A command that puts the unit into its firmware loader, written before
    // the erase wait; its echo up to the prompt ">" is awaited and dropped.
    // Empty (the default): the unit is already waiting.
    void setStartCommand(const QByteArray& command) { m_startCommand = command; }
    // Lines sent so far (any thread).
    int linesSent() const { return m_sent.load(); }

    // The transmissions the lines make, in order, each ended by CR: lines
    // (trimmed) are joined while the packed length plus the next line's
    // untrimmed length stays below kMaxPackedChars. A line that can never
    // fit ends the list early; *complete says whether every line went in.
    // *lineCounts gets the number of lines in each transmission.
    static QList<QByteArray> pack(const QStringList& lines, bool* complete = nullptr,
                                  QList<int>* lineCounts = nullptr);

protected:
    bool hasWork() const override { return !m_lines.isEmpty(); }
    Progress run() override;

private:
    bool enterLoader();
    Progress sendLines();

    QStringList m_lines;
    QByteArray m_startCommand;
    std::atomic<int> m_sent{0};
};
