// The main of every test executable: results and messages travel through queued Qt signals, so a
// QCoreApplication must exist before any test runs.
#include <QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
