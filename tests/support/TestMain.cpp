#include <QCoreApplication>
#include <QTemporaryDir>
#include <gtest/gtest.h>

// Headless tests: a QCoreApplication so queued calls and timers work.
int main(int argc, char** argv) {
    // The user's data folder (recovery copies, unit files) is the test's own.
    QTemporaryDir dataHome;
    qputenv("XDG_DATA_HOME", dataHome.path().toUtf8());
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
