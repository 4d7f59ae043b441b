#pragma once

#include "base/Alerts.h"

class QWidget;

// Shows the program's alerts as modal message boxes over the main window,
// each with a single default button ("OK"), and its OK/cancel questions.
class MessageBoxPresenter : public AlertPresenter {
public:
    explicit MessageBoxPresenter(QWidget* parent = nullptr) : m_parent(parent) {}
    void setParentWidget(QWidget* parent) { m_parent = parent; }
    void showAlert(const QString& message) override;
    bool askOkCancel(const QString& message) override;

private:
    QWidget* m_parent;
};
