#pragma once

#include <QFrame>
#include <QString>

class QLabel;

// One line under the cue table that says what the last action changed or
// could not do (cues moved by an export, duplicates removed by a sort, pages
// read from a PDF, the row a transfer stopped at). It is not a dialog: it
// never takes the focus or stops the work, and it stays until the next
// message replaces it or the user dismisses it.
class MessageLine : public QFrame {
    Q_OBJECT
public:
    explicit MessageLine(QWidget* parent = nullptr);

    // Shows the text (several lines allowed); an empty text hides the line.
    void showMessage(const QString& text);
    QString text() const;

private:
    QLabel* m_label = nullptr;
};
