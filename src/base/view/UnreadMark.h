#pragma once

class QGroupBox;
class QWidget;

// A group of controls showing settings the unit reports. Until the unit has
// reported them, what the controls hold is the program's own default: the
// group's title says that the unit has not been read, and the controls that
// would send such a value are disabled.
namespace unreadmark {
// Adds the note to the group's title (and a tooltip saying why), or takes it
// away again.
void markTitle(QGroupBox* group, bool unread);
// The whole group at once: its title marked and every control in it
// disabled while unread.
void showGroup(QGroupBox* group, bool read);
} // namespace unreadmark
