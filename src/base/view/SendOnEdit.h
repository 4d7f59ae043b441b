#pragma once

#include <QAbstractSpinBox>
#include <QObject>
#include <functional>
#include <memory>

// A number field sends when its editing is done (Enter, leaving the field)
// or an arrow is used, not at every keystroke; Enter on an unchanged value
// sends it again, as the operator expects. Letters or an empty field fall
// back to the last good value.
template <typename Box>
void sendOnEdit(Box* box, QObject* context, std::function<void()> send) {
    box->setKeyboardTracking(false);
    auto sentSinceEdit = std::make_shared<bool>(false);
    QObject::connect(box, &Box::valueChanged, context, [send, sentSinceEdit] {
        send();
        *sentSinceEdit = true;
    });
    QObject::connect(box, &QAbstractSpinBox::editingFinished, context, [send, sentSinceEdit] {
        if (!*sentSinceEdit)
            send();
        *sentSinceEdit = false;
    });
}
