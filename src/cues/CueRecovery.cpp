#include "cues/CueRecovery.h"

#include "base/Diagnostics.h"
#include "base/OutputFile.h"
#include "cues/CueDocument.h"
#include "cues/CueSheetText.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QLockFile>
#include <QStandardPaths>
#include <QTimer>
#include <QUrl>
#include <algorithm>

struct CueRecovery::Watched {
    CueDocument* document = nullptr;
    QTimer* timer = nullptr;
    QString copyPath;
};

namespace {

// A copy is the sheet's text after two lines of its own: the sheet's name
// and its file, each percent-encoded (a file name may hold a tab or a line
// break).
const QString kNameKey = QStringLiteral(";recovery-name\t");
const QString kFileKey = QStringLiteral(";recovery-file\t");
const QString kRunPrefix = QStringLiteral("run-");
const QString kCopyPattern = QStringLiteral("sheet-*.txt");

QString encoded(const QString& value) {
    return QString::fromLatin1(QUrl::toPercentEncoding(value));
}

QString decoded(QStringView value) {
    return QUrl::fromPercentEncoding(value.toLatin1());
}

// The lock a run holds on its folder while it lives. Only a run that is not
// running any more leaves its lock to be taken (never by its age alone).
std::unique_ptr<QLockFile> runLock(const QString& runFolder) {
    auto lock = std::make_unique<QLockFile>(runFolder + QStringLiteral(".lock"));
    lock->setStaleLockTime(0);
    return lock;
}

std::optional<CueRecovery::Orphan> readCopy(const QFileInfo& info) {
    QFile file(info.absoluteFilePath());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    const QString text = QString::fromUtf8(file.readAll());
    const qsizetype nameEnd = text.indexOf(u'\n');
    const qsizetype fileEnd = text.indexOf(u'\n', nameEnd + 1);
    if (!text.startsWith(kNameKey) || fileEnd < 0 ||
        QStringView(text).mid(nameEnd + 1).startsWith(kFileKey) == false)
        return std::nullopt;
    CueRecovery::Orphan orphan;
    orphan.copyPath = info.absoluteFilePath();
    orphan.name = decoded(QStringView(text).mid(kNameKey.size(), nameEnd - kNameKey.size()));
    const qsizetype fileStart = nameEnd + 1 + kFileKey.size();
    orphan.sheetPath = decoded(QStringView(text).mid(fileStart, fileEnd - fileStart));
    orphan.written = info.lastModified();
    orphan.sheetText = text.mid(fileEnd + 1);
    CueSheet sheet;
    sheet.cueTableFromString(orphan.sheetText);
    orphan.rows = sheet.count();
    return orphan;
}

} // namespace

QString CueRecovery::defaultFolder() {
    return QDir::cleanPath(QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
                           QStringLiteral("/recovery"));
}

CueRecovery::CueRecovery(const QString& folder, QObject* parent)
    : QObject(parent), m_folder(folder) {}

CueRecovery::~CueRecovery() {
    flush();
    m_watched.clear();
    if (m_lock) {
        // An empty run folder has nothing to offer: it goes with the lock.
        QDir().rmdir(m_runFolder);
        m_lock->unlock();
    }
}

bool CueRecovery::ensureRunFolder() {
    if (m_lock)
        return true;
    const QString run =
        QDir(m_folder).filePath(kRunPrefix + QStringLiteral("%1-%2")
                                                 .arg(QCoreApplication::applicationPid())
                                                 .arg(QDateTime::currentMSecsSinceEpoch()));
    // The lock first: a run folder without a held lock belongs to a run that is over.
    if (!QDir().mkpath(m_folder))
        return false;
    std::unique_ptr<QLockFile> lock = runLock(run);
    if (!lock->tryLock(0) || !QDir().mkpath(run))
        return false;
    m_lock = std::move(lock);
    m_runFolder = run;
    return true;
}

void CueRecovery::watch(CueDocument* document) {
    if (!document || m_watched.contains(document))
        return;
    auto watched = std::make_shared<Watched>();
    watched->document = document;
    watched->timer = new QTimer(this);
    watched->timer->setSingleShot(true);
    connect(watched->timer, &QTimer::timeout, this, [this, document] { write(document); });
    for (auto signal : {&CueDocument::rowsChanged, &CueDocument::settingsChanged})
        connect(document, signal, this, [this, document] { changed(document); });
    connect(document, &CueDocument::filePathChanged, this, [this, document] { changed(document); });
    connect(document, &CueDocument::modifiedChanged, this, [this, document] { changed(document); });
    connect(document, &QObject::destroyed, this, [this, document] {
        if (const auto it = m_watched.constFind(document); it != m_watched.constEnd()) {
            delete it.value()->timer;
            m_watched.erase(it);
        }
    });
    m_watched.insert(document, watched);
    changed(document);
}

void CueRecovery::changed(CueDocument* document) {
    const auto it = m_watched.constFind(document);
    if (it == m_watched.constEnd())
        return;
    Watched& watched = *it.value();
    if (!document->isModified()) {
        removeCopy(watched); // saved, or back to what its file holds
        return;
    }
    // Not restarted by later changes: steady editing is still copied every
    // few seconds.
    if (!watched.timer->isActive())
        watched.timer->start(m_delayMs);
}

void CueRecovery::write(CueDocument* document) {
    const auto it = m_watched.constFind(document);
    if (it == m_watched.constEnd())
        return;
    Watched& watched = *it.value();
    if (!document->isModified()) {
        removeCopy(watched);
        return;
    }
    if (!ensureRunFolder()) {
        diag::print("cannot make the recovery folder in %s\n", qPrintable(m_folder));
        return;
    }
    if (watched.copyPath.isEmpty())
        watched.copyPath =
            QDir(m_runFolder).filePath(QStringLiteral("sheet-%1.txt").arg(m_nextCopy++));
    const QString text = kNameKey + encoded(document->displayName()) + u'\n' + kFileKey +
                         encoded(document->filePath()) + u'\n' +
                         document->sheet().stringFromCueTable();
    QString error;
    if (!OutputFile::write(watched.copyPath, text.toUtf8(), &error))
        diag::print("cannot write the recovery copy %s: %s\n", qPrintable(watched.copyPath),
                    qPrintable(error));
}

void CueRecovery::removeCopy(Watched& watched) {
    watched.timer->stop();
    if (!watched.copyPath.isEmpty())
        QFile::remove(watched.copyPath);
}

void CueRecovery::discard(CueDocument* document) {
    const auto it = m_watched.constFind(document);
    if (it == m_watched.constEnd())
        return;
    removeCopy(*it.value());
    document->disconnect(this);
    delete it.value()->timer;
    m_watched.erase(it);
}

void CueRecovery::flush() {
    for (const std::shared_ptr<Watched>& watched : std::as_const(m_watched)) {
        if (watched->timer->isActive()) {
            watched->timer->stop();
            write(watched->document);
        }
    }
}

QString CueRecovery::copyPath(const CueDocument* document) const {
    const auto it = m_watched.constFind(document);
    return it == m_watched.constEnd() ? QString() : it.value()->copyPath;
}

QList<CueRecovery::Orphan> CueRecovery::orphans() const {
    QList<Orphan> found;
    const QFileInfoList runs = QDir(m_folder).entryInfoList(
        {kRunPrefix + u'*'}, QDir::Dirs | QDir::NoDotAndDotDot | QDir::NoSymLinks);
    for (const QFileInfo& run : runs) {
        if (run.absoluteFilePath() == QFileInfo(m_runFolder).absoluteFilePath())
            continue;
        std::unique_ptr<QLockFile> lock = runLock(run.absoluteFilePath());
        if (!lock->tryLock(0))
            continue; // a run still going keeps its copies
        const QFileInfoList copies =
            QDir(run.absoluteFilePath()).entryInfoList({kCopyPattern}, QDir::Files);
        for (const QFileInfo& copy : copies) {
            if (std::optional<Orphan> orphan = readCopy(copy))
                found.append(*orphan);
        }
        if (copies.isEmpty())
            QDir().rmdir(run.absoluteFilePath());
        lock->unlock();
    }
    std::stable_sort(found.begin(), found.end(),
                     [](const Orphan& a, const Orphan& b) { return a.written < b.written; });
    return found;
}

void CueRecovery::remove(const Orphan& orphan) {
    QFile::remove(orphan.copyPath);
    // The run's folder goes with its last copy.
    QDir().rmdir(QFileInfo(orphan.copyPath).absolutePath());
}
