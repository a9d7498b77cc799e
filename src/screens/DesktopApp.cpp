#include "screens/DesktopApp.h"

#include "app/AppModel.h"
#include "core/Defaults.h"
#include "screens/Shell.h"

#include <QApplication>
#include <QQuickStyle>

#include <cstdio>

namespace DesktopApp {

bool hasDisplay()
{
    return !qEnvironmentVariableIsEmpty("DISPLAY") || !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY")
        || !qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM");
}

void prepareEnvironment()
{
    if (!qEnvironmentVariableIsSet("QT_QPA_UPDATE_IDLE_TIME"))
        qputenv("QT_QPA_UPDATE_IDLE_TIME", "0");
}

int run(int &argc, char **argv)
{
    if (!hasDisplay()) {
        std::fputs("larder: no display to open the window on (neither DISPLAY nor WAYLAND_DISPLAY is set). "
                    "Start Larder from a desktop session, or run a command such as 'larder status'.\n",
                    stderr);
        return 1;
    }
    prepareEnvironment();
    // A widget application, for the tray icon's menu.
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Larder"));
    QApplication::setApplicationDisplayName(QStringLiteral("Juniper Larder"));
    QApplication::setApplicationVersion(QStringLiteral(LARDER_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("co.norvale.larder"));
    // Every control is drawn by our own style over Basic, which looks the
    // same on every desktop and renderer.
    QQuickStyle::setStyle(QStringLiteral("Basic"));

    Defaults::setStandardArguments(Defaults::splitArguments(QApplication::arguments().mid(1)).launch);
    AppSettings settings(Defaults::standard());
    AppModel model(settings);
    Shell shell(model);
    if (!shell.show())
        return 1;
    const int status = QApplication::exec();
    // Quitting while a meeting is recorded keeps what was said so far.
    model.finishRecordingBeforeQuit();
    return status;
}

} // namespace DesktopApp
