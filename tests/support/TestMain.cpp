// The main of every test executable: results and messages travel through queued Qt signals, so a
// QCoreApplication must exist before any test runs.
#include "sonacore/ISonaCore.h"

#include <QCoreApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    const int result = RUN_ALL_TESTS();
    // The configuration objects the tests created belong to the library until this call, as in any host.
    ISonaCore::destroy();
    return result;
}
