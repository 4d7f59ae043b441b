#include <QApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Widget tests run on the offscreen platform unless told otherwise.
int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // The user's data folder (recovery copies, unit files) is the test's own.
    QTemporaryDir dataHome;
    qputenv("XDG_DATA_HOME", dataHome.path().toUtf8());
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
