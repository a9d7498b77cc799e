// `larder` with no command: the desktop application. Checks that there is a
// display before anything of Qt's GUI is made, so that a session without one
// gets one clear line rather than a crash.
#pragma once

#include <QStringList>

namespace DesktopApp {

// True when the process can reach a display: a Wayland or X11 session, or a
// platform named through QT_QPA_PLATFORM.
bool hasDisplay();

// Settings of Qt's own that must be made before the application object:
// a change reaches the screen with the next frame, without the idle time
// that the platform otherwise waits before it asks for one (5 ms), so that
// results appear when the typing pause ends rather than a moment later.
// An explicit QT_QPA_UPDATE_IDLE_TIME in the environment stands.
void prepareEnvironment();

// Runs the window until the user quits. argc and argv are the process's own;
// launch arguments (-LarderDatabase PATH) are read from them.
int run(int &argc, char **argv);

} // namespace DesktopApp
