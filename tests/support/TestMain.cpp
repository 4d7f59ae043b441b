#include <QCoreApplication>
#include <gtest/gtest.h>

// Headless tests: a QCoreApplication so queued calls and timers work.
int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
