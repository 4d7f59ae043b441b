#include "base/view/UnreadMark.h"

#include <QGroupBox>
#include <QVariant>

namespace {
constexpr const char* kPlainTitle = "qz62PlainTitle";
} // namespace

namespace unreadmark {

void markTitle(QGroupBox* group, bool unread) {
    QVariant plain = group->property(kPlainTitle);
    if (!plain.isValid()) {
        plain = group->title();
        group->setProperty(kPlainTitle, plain);
    }
    const QString title = plain.toString();
    if (unread) {
        group->setTitle(title + QStringLiteral(" — not read from the unit"));
        group->setToolTip(QStringLiteral("The unit has not reported these settings yet. They "
                                         "show the program's defaults and cannot be changed "
                                         "until the unit answers."));
    } else {
        group->setTitle(title);
        group->setToolTip(QString());
    }
}

void showGroup(QGroupBox* group, bool read) {
    markTitle(group, !read);
    for (QWidget* w : group->findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
        w->setEnabled(read);
}

} // namespace unreadmark
