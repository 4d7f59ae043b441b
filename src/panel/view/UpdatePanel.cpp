#include "panel/view/UpdatePanel.h"

#include "panel/UpdateController.h"
#include "panel/view/NetworkPanel.h"
#include "panel/view/qz62View.h"

#include <QAction>
#include <QFileDialog>
#include <QGridLayout>
#include <QMenu>
#include <QPushButton>

namespace {
const QString kNeedsNetwork =
    QStringLiteral("Needs the network link: connect to the unit's network proxy on the Unit tab");

struct NetworkItem {
    QAction* action;
    QString toolTip; // when the network link is open
};
} // namespace

UpdatePanel::UpdatePanel(qz62View* view, QMenu* menu, QObject* parent)
    : QObject(parent), m_view(view), m_updates(view->controller().updates()) {
    m_chooseFile = [view](const QString& title, const QString& filter) {
        return QFileDialog::getOpenFileName(view, title, QString(), filter);
    };
    m_updateMicro = menu->addAction(QStringLiteral("Update &Microcontroller…"));
    m_updateMicro->setToolTip(QStringLiteral("Replace the unit's program from an .s19 file over "
                                             "the USB-serial connection"));
    m_defaultMicro = menu->addAction(QStringLiteral("Default Microcontroller &Update"));
    menu->addSeparator();
    m_updateFirmware = menu->addAction(QStringLiteral("Update &Firmware…"));
    m_defaultFirmware = menu->addAction(QStringLiteral("Default Firmware U&pdate"));
    m_defaultFonts = menu->addAction(QStringLiteral("Default F&ont Update"));
    menu->setToolTipsVisible(true);
    connect(m_updateMicro, &QAction::triggered, this, &UpdatePanel::menuFileUpdateMicro);
    connect(m_updateFirmware, &QAction::triggered, this, &UpdatePanel::menuFileUpdateFirmware);
    connect(m_defaultMicro, &QAction::triggered, this, [this] { m_updates.defaultMicroUpdate(); });
    connect(m_defaultFirmware, &QAction::triggered, this,
            [this] { m_updates.defaultFirmwareUpdate(); });
    connect(m_defaultFonts, &QAction::triggered, this, [this] { m_updates.defaultFontUpdate(); });

    // Abort sits beside the progress bar on the unit tab.
    m_abort = new QPushButton(QStringLiteral("&Abort"), view);
    m_abort->setObjectName(QStringLiteral("buttonAbortUpdate"));
    m_abort->setToolTip(QStringLiteral("Stop the update; the unit then needs its power cycled"));
    if (auto* grid = view->findChild<QGridLayout*>(QStringLiteral("layoutUnitStatus")))
        grid->addWidget(m_abort, 1, 2);
    m_abort->setVisible(false);
    connect(m_abort, &QPushButton::clicked, this, [this] { m_updates.abort(); });

    connect(&m_updates, &UpdateController::runningChanged, this, &UpdatePanel::refreshActions);
    connect(&view->networkPanel()->link(), &NetworkLink::stateChanged, this,
            &UpdatePanel::refreshActions);
    connect(&m_updates, &UpdateController::finished, view, [view](const QString& message) {
        view->appendDebugText(QStringLiteral("update: ") + message);
    });
    refreshActions();
}

void UpdatePanel::refreshActions() {
    const bool running = m_updates.isRunning();
    const bool network = m_updates.hasNetworkLink();
    m_abort->setVisible(running);
    m_updateMicro->setEnabled(!running);
    const NetworkItem items[] = {
        {m_defaultMicro, QStringLiteral("Send the unit's own microcontroller program (c192b.sx) "
                                        "through the network proxy")},
        {m_updateFirmware, QStringLiteral("Load an .mcs firmware image through the network proxy")},
        {m_defaultFirmware, QStringLiteral("Load the unit's own firmware image (c192b.mcs) "
                                           "through the network proxy")},
        {m_defaultFonts, QStringLiteral("Load the unit's own font set (fonts.mcs) through the "
                                        "network proxy")},
    };
    for (const NetworkItem& item : items) {
        item.action->setEnabled(!running && network);
        item.action->setToolTip(network ? item.toolTip : kNeedsNetwork);
    }
}

void UpdatePanel::menuFileUpdateMicro() {
    if (!m_updates.beginMicroUpdate())
        return;
    const QString path = m_chooseFile(QStringLiteral("Update Microcontroller"),
                                      QStringLiteral("S-record files (*.s19 *.S19)"));
    if (!path.isEmpty())
        m_updates.startMicroUpdate(path);
}

void UpdatePanel::menuFileUpdateFirmware() {
    // "A 1" goes to the unit before the file is chosen, even if it is not.
    if (!m_updates.beginFirmwareUpdate())
        return;
    const QString path = m_chooseFile(QStringLiteral("Update Firmware"),
                                      QStringLiteral("Firmware images (*.mcs *.MCS)"));
    if (!path.isEmpty())
        m_updates.startFirmwareUpdate(path);
}
