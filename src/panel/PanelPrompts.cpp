#include "panel/PanelPrompts.h"

#include "base/Diagnostics.h"

void PanelPrompts::alert(PanelPrompts* prompts, const QString& message) {
    if (prompts)
        prompts->showAlert(message);
    else
        diag::print("alert: %s\n", message.toLocal8Bit().constData());
}

bool PanelPrompts::confirm(PanelPrompts* prompts, const QString& question) {
    if (prompts)
        return prompts->askOkCancel(question);
    diag::print("alert: %s\n", question.toLocal8Bit().constData());
    return false;
}
