#pragma once

#include <QString>

// User-facing problems are modal alerts with a single default button. Code in
// the core raises them through this one presenter; the application installs a
// presenter that shows a message box, tests install one that records.
class AlertPresenter {
public:
    virtual ~AlertPresenter() = default;
    virtual void showAlert(const QString& message) = 0;
    // Two-button question ("OK" / "cancel"); true when the first was chosen.
    virtual bool askOkCancel(const QString& message) = 0;
};

namespace alerts {
// Installs the presenter (not owned); nullptr restores the default, which
// prints the alert on standard error and answers questions with "cancel".
void setPresenter(AlertPresenter* presenter);
AlertPresenter* presenter();
// Whether a presenter other than the default is installed.
bool hasPresenter();
void show(const QString& message);
bool askOkCancel(const QString& message);
} // namespace alerts
