// The application's windows as a user meets them: what its questions default
// to, what it remembers between runs, where new cue windows open and the
// keys and questions of the File and Edit commands.
#include "app/MainWindow.h"
#include "app/MessageBoxPresenter.h"
#include "support/FilesAndTools.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QTabWidget>
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

// The window's size and place, the tab shown and "Hide ping" are as the
// user left them at the last close.
TEST(AppWindows, TheLayoutIsRememberedBetweenRuns) {
    const testsupport::Scratch scratch;
    {
        MainWindow window;
        window.rememberLayout();
        window.resize(1011, 733);
        window.panel()->tabView()->setCurrentIndex(4);
        window.findChild<QCheckBox*>("checkBoxInhibitPing")->setChecked(true);
        window.windowClosing();
    }
    MainWindow window;
    EXPECT_EQ(window.panel()->tabView()->currentIndex(), 0);
    window.rememberLayout();
    EXPECT_EQ(window.size(), QSize(1011, 733));
    EXPECT_EQ(window.panel()->tabView()->currentIndex(), 4);
    EXPECT_TRUE(window.findChild<QCheckBox*>("checkBoxInhibitPing")->isChecked());
}

} // namespace
