// The application's windows as a user meets them: what its questions default
// to, what it remembers between runs, where new cue windows open and the
// keys and questions of the File and Edit commands.
#include "app/MainWindow.h"
#include "app/MessageBoxPresenter.h"
#include "support/FilesAndTools.h"

#include <QAbstractButton>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
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

// Every control on the tabs that set up the unit's picture says what the
// unit does with it and in which unit: its tooltip is not empty.
TEST(AppWindows, EveryOverlayControlHasATooltip) {
    MainWindow window;
    QStringList silent;
    for (const char* tab :
         {"tabVideo", "tabTimecode", "tabStreamer", "tabPunch", "tabAnnunciator"}) {
        auto* page = window.findChild<QWidget*>(QLatin1String(tab));
        ASSERT_NE(page, nullptr) << tab;
        for (QWidget* w : page->findChildren<QWidget*>()) {
            const bool control =
                qobject_cast<QAbstractButton*>(w) || qobject_cast<QAbstractSpinBox*>(w) ||
                qobject_cast<QComboBox*>(w) || qobject_cast<QAbstractSlider*>(w) ||
                (qobject_cast<QLineEdit*>(w) && !w->parent()->inherits("QAbstractSpinBox") &&
                 !w->parent()->inherits("QComboBox"));
            if (control && w->toolTip().isEmpty())
                silent << QLatin1String(tab) + u'/' + w->objectName() + u' ' +
                              w->metaObject()->className();
        }
    }
    EXPECT_TRUE(silent.isEmpty()) << silent.join(u'\n').toStdString();
}

} // namespace
