#pragma once

// What the tests of the Update menu share: the unit's data folder, the
// application on a simulated unit with its open panel answered, files made
// by srec_cat, and pictures of the window for a person to look at.
#include "link/ComThread.h"
#include "panel/InhibitPing.h"
#include "panel/UpdateController.h"
#include "panel/view/NetworkPanel.h"
#include "panel/view/UpdatePanel.h"
#include "support/FilesAndTools.h"
#include "support/PanelTestSupport.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QImage>
#include <QLabel>
#include <QMenu>
#include <QPainter>
#include <QProgressBar>
#include <QPushButton>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QToolTip>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace updatetest {

using testsupport::waitFor;
using testsupport::writeFile;

inline constexpr int kUpdateWaitMs = 60000;

inline QByteArray randomBytes(int count, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(count, '\0');
    for (char& b : bytes)
        b = char(random.bounded(256));
    return bytes;
}

// The unit's data folder for this test, with a loader made for the simulated unit.
struct UnitData {
    UnitData() {
        qputenv("QZ62_UNIT_DATA", dir.path().toLocal8Bit());
        loader = randomBytes(MicroUpdateThread::kLoaderBytes, 772);
        writeFile(path("loader.bin"), loader);
    }
    ~UnitData() { qunsetenv("QZ62_UNIT_DATA"); }
    QString path(const QString& name) const { return dir.filePath(name); }
    QTemporaryDir dir;
    QByteArray loader;
};

// The application on a started simulated unit, its Update menu answering the
// open panel with `file` after running `beforeChoosing`.
struct UpdateApp {
    explicit UpdateApp(SimulatedUnit& unit, const QString& networkHost = QString())
        : sim(unit), app(unit.ptyPath(), kQuietTickMs, networkHost) {
        panel()->setFileChooser([this](const QString& title, const QString&) {
            chosen << title;
            if (beforeChoosing)
                beforeChoosing();
            return file;
        });
        QObject::connect(&controller().updates(), &UpdateController::finished,
                         [this](const QString& m) { finals << m; });
    }
    PanelController& controller() { return app.controller(); }
    UpdateController& updates() { return controller().updates(); }
    UpdatePanel* panel() { return app.window.updatePanel(); }
    QString label() { return app.find<QLabel>("labelUpdate")->text(); }
    bool progressShown() { return app.find<QWidget>("labelUpdate")->isVisibleTo(&app.window); }
    bool finished() { return !updates().isRunning() && !finals.isEmpty(); }
    // The user picks the file once the unit's settings are in.
    void chooseAfterTheSettings() {
        beforeChoosing = [this] {
            EXPECT_TRUE(waitFor([this] { return sim.commandLines().contains("A 1"); }));
        };
    }
    // The link has its port back at 38400 baud, runs, and the keep-alive is on.
    void expectLinkBack() {
        ComThread* link = controller().comThread();
        EXPECT_EQ(link->getBaud(), 38400);
        EXPECT_TRUE(link->isRunning());
        EXPECT_FALSE(inhibitPing.load());
        EXPECT_FALSE(panel()->abortButton()->isVisibleTo(&app.window));
    }
    SimulatedUnit& sim;
    App app;
    QString file;
    std::function<void()> beforeChoosing;
    QStringList chosen; // titles of the open panels shown
    QStringList finals;
};

// Runs a program and returns its exit status (-1 when it did not run).
// Through fork and exec, not QProcess or posix_spawn: a child started
// vfork-style shares this process's memory until its exec, which leaves the
// thread checker blind to the starting thread's locks.
inline int spawn(const QStringList& args) {
    std::vector<QByteArray> bytes;
    for (const QString& a : args)
        bytes.push_back(a.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& b : bytes)
        argv.push_back(b.data());
    argv.push_back(nullptr);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    if (pid < 0)
        return -1;
    int status = 0;
    if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status))
        return -1;
    return WEXITSTATUS(status);
}

// srec_cat's S-records of bytes placed at address (extra: its options).
inline QByteArray srecCat(const UnitData& data, const QByteArray& bytes, unsigned address,
                          const QStringList& extra = {}) {
    const QString bin = data.path("srec-in.bin");
    const QString out = data.path("srec-out.s19");
    EXPECT_TRUE(writeFile(bin, bytes));
    EXPECT_EQ(spawn(QStringList{"srec_cat", bin, "-binary", "-offset",
                                QStringLiteral("0x%1").arg(address, 0, 16), "-o", out} +
                    extra),
              0);
    return testsupport::readFile(out);
}

// With QZ62_UPDATE_SHOTS=dir, pictures of the window for a person to look at.
inline void shoot(QWidget& window, const char* name) {
    const QString dir = qEnvironmentVariable("QZ62_UPDATE_SHOTS");
    if (dir.isEmpty())
        return;
    window.resize(1000, 760);
    QDir().mkpath(dir);
    window.grab().save(QDir(dir).filePath(QString::fromLatin1(name) + ".png"));
}

// The same for the Update menu as it drops down, and the tooltip of its
// firmware item beside it.
inline void shootMenu(QWidget& window, QAction* item) {
    const QString dir = qEnvironmentVariable("QZ62_UPDATE_SHOTS");
    auto* menu = window.findChild<QMenu*>(QStringLiteral("menuUpdate"));
    if (dir.isEmpty() || !menu)
        return;
    QDir().mkpath(dir);
    menu->popup(QPoint(0, 0));
    QToolTip::showText(menu->actionGeometry(item).topRight(), item->toolTip(), menu);
    QImage picture(900, menu->sizeHint().height() + 40, QImage::Format_ARGB32);
    picture.fill(Qt::white);
    QPainter painter(&picture);
    menu->render(&painter);
    for (QWidget* w : QApplication::topLevelWidgets())
        if (w->inherits("QTipLabel") && w->isVisible())
            w->render(&painter, QPoint(menu->sizeHint().width() + 8, 8));
    painter.end();
    picture.save(QDir(dir).filePath(QStringLiteral("update-menu.png")));
    QToolTip::hideText();
    menu->hide();
}

// S1 text of 16 bytes, built here independently of SRecord.
inline QString s1(std::uint32_t address, const QByteArray& data) {
    QByteArray body =
        QByteArray(1, char(data.size() + 3)) + char(address >> 8) + char(address) + data;
    unsigned sum = 0;
    for (char b : body)
        sum += uchar(b);
    body += char(~sum & 0xff);
    return QStringLiteral("S1") + QString::fromLatin1(body.toHex().toUpper());
}

// A small good program: one record at 0x8000 and the end record.
inline QByteArray smallProgram() {
    return (s1(0x8000, QByteArray::fromHex("000102030405060708090a0b0c0d0e0f")) + "\nS9030000FC\n")
        .toLatin1();
}

// The records the unit must receive for a program from 0x8000: the unit's
// own settings (size bytes at 0xfc00) over it, erased rows left out.
inline QStringList expectedRecords(const QByteArray& program, const QByteArray& settings) {
    QByteArray image = program;
    image.replace(0xfc00 - 0x8000, settings.size(), settings);
    QStringList records;
    for (int offset = 0; offset < image.size(); offset += 16) {
        const QByteArray row = image.mid(offset, 16);
        if (row != QByteArray(16, char(0xff)))
            records << s1(std::uint32_t(0x8000 + offset), row);
    }
    return records << QStringLiteral("S9030000FC");
}

} // namespace updatetest
