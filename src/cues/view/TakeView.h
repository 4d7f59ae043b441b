#pragma once

#include <QString>
#include <QWidget>

class QLabel;
class QPushButton;

// What the take view shows, as its source has it now.
struct TakeState {
    QString sheetName; // the armed sheet; empty when none is armed
    bool hasCurrent = false;
    QString currentId; // the cue fired last
    QString currentText;
    bool hasNext = false;
    QString nextId; // the next cue still to fire
    QString nextText;
    QString countdown; // to the next cue's in time, "12 s 04 fr"; empty when unknown
    QString timecode;  // "01:00:00:00"
    QString rate;      // "29.97 drop"; empty before any time code
    bool running = false;
    bool held = false;
};

// Where the take view reads from and what its keys do.
class TakeSource {
public:
    virtual ~TakeSource() = default;
    virtual TakeState takeState() const = 0;
    virtual void setHeld(bool held) = 0;
    virtual void fireNext() = 0;
};

// The take, readable from across the room: the armed sheet, the cue fired
// last (large), the next one with a countdown to its in time, the time code
// with its rate, running or stopped, and Hold. It repaints only what changed
// since the last refresh(), which its owner calls when the time code or the
// firing moves; nothing runs while they are still.
//
// F8 holds, F9 fires the next cue, F11 switches full screen.
class TakeView : public QWidget {
    Q_OBJECT
public:
    explicit TakeView(TakeSource* source, QWidget* parent = nullptr);
    ~TakeView() override;

    // Reads the source and updates what differs.
    void refresh();
    void toggleFullScreen();
    QString timecodeText() const;
    // Labels updated by refresh() so far (for the benchmark and tests).
    long long labelUpdates() const { return m_labelUpdates; }

private:
    void set(QLabel* label, const QString& text);
    void setStyle(QLabel* label, const QString& style);

    TakeSource* m_source;
    QLabel* m_sheet = nullptr;
    QLabel* m_state = nullptr;
    QLabel* m_currentId = nullptr;
    QLabel* m_currentText = nullptr;
    QLabel* m_nextId = nullptr;
    QLabel* m_nextText = nullptr;
    QLabel* m_countdown = nullptr;
    class BigTimecode;
    BigTimecode* m_timecode = nullptr;
    QLabel* m_rate = nullptr;
    QPushButton* m_hold = nullptr;
    long long m_labelUpdates = 0;
};
