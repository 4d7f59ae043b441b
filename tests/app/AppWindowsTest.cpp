// The application's windows as a user meets them: what its questions default
// to, what it remembers between runs, where new cue windows open and the
// keys and questions of the File and Edit commands.
#include "app/MessageBoxPresenter.h"

#include <QMessageBox>
#include <QPushButton>
#include <gtest/gtest.h>

namespace {

// Enter or Escape on a question that would erase the unit's FLASH cancels.
TEST(AppWindows, QuestionsDefaultToCancel) {
    const std::unique_ptr<QMessageBox> box =
        MessageBoxPresenter::questionBox(QStringLiteral("Reset FLASH to defaults?"), nullptr);
    ASSERT_NE(box->defaultButton(), nullptr);
    EXPECT_EQ(box->defaultButton()->text(), "cancel");
    EXPECT_EQ(box->buttonRole(box->defaultButton()), QMessageBox::RejectRole);
    EXPECT_EQ(box->escapeButton(), box->defaultButton());
}

} // namespace
