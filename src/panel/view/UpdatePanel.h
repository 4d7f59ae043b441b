#pragma once

#include <QObject>
#include <QString>
#include <functional>

class QAction;
class QMenu;
class QPushButton;
class UpdateController;
class qz62View;

// The "Update" menu and the unit tab's Abort button. Asks for files and hands
// everything else to the panel's UpdateController; the progress shows in the
// unit tab's progress display, the final message also in its log. The
// firmware and font items need the network link: without one they are
// disabled, and their tooltip says so.
class UpdatePanel final : public QObject {
    Q_OBJECT
public:
    // Asks the user for a file to open: title, name filter; empty when cancelled.
    using FileChooser = std::function<QString(const QString& title, const QString& filter)>;

    UpdatePanel(qz62View* view, QMenu* menu, QObject* parent = nullptr);

    // Tests answer the open panel themselves.
    void setFileChooser(FileChooser chooser) { m_chooseFile = std::move(chooser); }

    QAction* updateMicroAction() const { return m_updateMicro; }
    QAction* defaultMicroAction() const { return m_defaultMicro; }
    QAction* updateFirmwareAction() const { return m_updateFirmware; }
    QAction* defaultFirmwareAction() const { return m_defaultFirmware; }
    QAction* defaultFontsAction() const { return m_defaultFonts; }
    QPushButton* abortButton() const { return m_abort; }

    void menuFileUpdateMicro();
    void menuFileUpdateFirmware();
    // Enables the items for what can run now (the network link comes and
    // goes; an update runs).
    void refreshActions();

private:
    qz62View* m_view;
    UpdateController& m_updates;
    FileChooser m_chooseFile;
    QAction* m_updateMicro = nullptr;
    QAction* m_defaultMicro = nullptr;
    QAction* m_updateFirmware = nullptr;
    QAction* m_defaultFirmware = nullptr;
    QAction* m_defaultFonts = nullptr;
    QPushButton* m_abort = nullptr;
};
