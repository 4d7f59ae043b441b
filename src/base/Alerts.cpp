#include "base/Alerts.h"

#include "base/Diagnostics.h"

#include <atomic>

namespace {
class StderrPresenter final : public AlertPresenter {
public:
    void showAlert(const QString& message) override {
        diag::printError("alert: %s\n", message.toLocal8Bit().constData());
    }
    bool askOkCancel(const QString& message) override {
        showAlert(message);
        return false;
    }
};

StderrPresenter g_fallback;
std::atomic<AlertPresenter*> g_presenter{nullptr};
} // namespace

namespace alerts {
void setPresenter(AlertPresenter* presenter) {
    g_presenter.store(presenter);
}

AlertPresenter* presenter() {
    AlertPresenter* p = g_presenter.load();
    return p ? p : &g_fallback;
}

bool hasPresenter() {
    return g_presenter.load() != nullptr;
}

void show(const QString& message) {
    presenter()->showAlert(message);
}

bool askOkCancel(const QString& message) {
    return presenter()->askOkCancel(message);
}
} // namespace alerts
