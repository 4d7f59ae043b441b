#pragma once

#include "base/Alerts.h"
#include "panel/PanelPrompts.h"

#include <memory>

class QMessageBox;
class QWidget;

// Shows the program's alerts as modal message boxes over the main window,
// each with a single default button ("OK"), and its OK/cancel questions.
// Every question the program asks guards something that cannot be undone
// (erasing the unit's FLASH), so "cancel" is the default: Enter or Escape
// leaves the unit as it is.
class MessageBoxPresenter : public AlertPresenter {
public:
    explicit MessageBoxPresenter(QWidget* parent = nullptr) : m_parent(parent) {}
    void setParentWidget(QWidget* parent) { m_parent = parent; }
    void showAlert(const QString& message) override;
    bool askOkCancel(const QString& message) override;
    // The question's box, not yet shown; its accept button is "OK".
    static std::unique_ptr<QMessageBox> questionBox(const QString& message, QWidget* parent);

private:
    QWidget* m_parent;
};

// The control panel's alerts and questions, shown as every alert of the
// program is: by the presenter the application installs (message boxes), or
// the one a test installs in its place.
class PanelAlerts final : public PanelPrompts {
public:
    void showAlert(const QString& message) override { alerts::show(message); }
    bool askOkCancel(const QString& question) override { return alerts::askOkCancel(question); }
};
