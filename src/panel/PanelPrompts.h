#pragma once

#include <QString>

// What the control panel's core tells the person at the screen, or asks
// them. The core opens no window: whoever builds the panel installs these
// (the application shows each as a modal message box and returns once it is
// closed, so the reply that raised it is handled before the next). With none
// installed a message is only logged and every question is answered
// "cancel", so nothing that erases the unit starts unasked.
class PanelPrompts {
public:
    virtual ~PanelPrompts() = default;
    // A problem to read before going on.
    virtual void showAlert(const QString& message) = 0;
    // "OK" or "cancel"; true for OK.
    virtual bool askOkCancel(const QString& question) = 0;

    // Through `prompts`, or as above when it is null.
    static void alert(PanelPrompts* prompts, const QString& message);
    static bool confirm(PanelPrompts* prompts, const QString& question);
};
