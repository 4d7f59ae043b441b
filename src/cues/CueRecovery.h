#pragma once

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QString>
#include <memory>
#include <optional>

class CueDocument;
class QLockFile;
class QTimer;

// Copies of the modified cue sheets, so that an application killed or a
// machine losing power costs at most a few seconds of editing. Each watched
// sheet, while it differs from its file, is written (through OutputFile,
// never over the sheet's own file) to a copy in this run's folder under the
// recovery folder, `delayMs` after a change; the copy goes when the sheet is
// saved, brought back to its file's state, or closed without saving.
//
// A run holds a lock on its folder while it lives. The copies of runs whose
// lock is free (the run was killed, crashed, or ended without the sheets
// being saved or discarded) are offered to the next start: orphans().
//
// Main thread only.
class CueRecovery : public QObject {
    Q_OBJECT
public:
    static constexpr int kDefaultDelayMs = 3000;

    // A copy left by an earlier run.
    struct Orphan {
        QString copyPath;  // the copy itself
        QString name;      // the sheet's name as its window showed it
        QString sheetPath; // the sheet's own file; empty for an untitled sheet
        QDateTime written; // when the copy was last written
        int rows = 0;
        QString sheetText; // the sheet as Save would have written it
    };

    // The user's data folder's "recovery" folder.
    static QString defaultFolder();

    explicit CueRecovery(const QString& folder = defaultFolder(), QObject* parent = nullptr);
    // Writes what is still waiting (the copies stay for the next start),
    // then lets go of this run's lock.
    ~CueRecovery() override;

    void setDelayMs(int delayMs) { m_delayMs = delayMs; }
    int delayMs() const { return m_delayMs; }
    QString folder() const { return m_folder; }

    // Keeps a copy of the document while it is modified, until it goes.
    void watch(CueDocument* document);
    // The user closed the document without saving: its copy goes.
    void discard(CueDocument* document);
    // Writes every copy that is waiting for its delay, now.
    void flush();
    // Where the document's copy is written (empty until it is watched).
    QString copyPath(const CueDocument* document) const;

    // Copies left by runs that are over, oldest first; never this run's own
    // or those of a run still going.
    QList<Orphan> orphans() const;
    // Removes an earlier run's copy (restored or discarded).
    static void remove(const Orphan& orphan);

private:
    struct Watched;
    void changed(CueDocument* document);
    void write(CueDocument* document);
    void removeCopy(Watched& watched);
    bool ensureRunFolder();

    QString m_folder;
    QString m_runFolder;
    std::unique_ptr<QLockFile> m_lock;
    int m_delayMs = kDefaultDelayMs;
    int m_nextCopy = 1;
    QHash<const CueDocument*, std::shared_ptr<Watched>> m_watched;
};
