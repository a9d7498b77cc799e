// The entry point of every test program. Before anything runs, HOME and the
// XDG folders move into a temporary folder, so no test can read or change
// the real user's files, settings or keys.
#include "support/TestEnvironment.h"

#include <QGuiApplication>

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    TestEnvironment::isolate();
    // Test discovery runs the programs at build time, outside CTest's
    // environment: never reach for a display.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    QGuiApplication app(argc, argv);
    const int status = RUN_ALL_TESTS();
    TestEnvironment::cleanUp();
    return status;
}
