// The question a start after a crash asks about each sheet copy it finds.
#include "app/CueWindows.h"

#include <QDir>
#include <QLocale>
#include <QMessageBox>
#include <QPushButton>

CueWindows::RestoreAnswer CueWindows::askRestore(QWidget* parent, const CueRecovery::Orphan& copy) {
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Question);
    box.setWindowTitle(tr("Restore Cue Sheet"));
    box.setText(tr("\u201c%1\u201d had changes that were not saved when the application last "
                   "ended.")
                    .arg(copy.name));
    const QString where =
        copy.sheetPath.isEmpty()
            ? tr("It was never saved: Save asks for a name.")
            : tr("Save then writes it to %1.").arg(QDir::toNativeSeparators(copy.sheetPath));
    box.setInformativeText(
        tr("The copy from %1 holds %2. Restore opens it in a window of its own. %3\n\n"
           "Discard throws the copy away; Not Now keeps it for the next start.")
            .arg(QLocale().toString(copy.written, QLocale::LongFormat),
                 copy.rows == 1 ? tr("1 cue") : tr("%1 cues").arg(copy.rows), where));
    QPushButton* restore = box.addButton(tr("Restore"), QMessageBox::AcceptRole);
    QPushButton* discard = box.addButton(tr("Discard"), QMessageBox::DestructiveRole);
    box.addButton(tr("Not Now"), QMessageBox::RejectRole);
    box.setDefaultButton(restore);
    box.exec();
    if (box.clickedButton() == restore)
        return RestoreAnswer::Restore;
    return box.clickedButton() == discard ? RestoreAnswer::Discard : RestoreAnswer::Later;
}
