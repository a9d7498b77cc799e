// Which of Qt Quick's renderers draws Larder's windows. With a graphics
// card, Qt Quick's default draws each frame on the card. Where OpenGL is
// only emulated on the processor (Mesa's llvmpipe in a virtual machine, a
// remote session or a virtual display), that default draws every frame
// whole, on the processor, for each key typed and each blink of the cursor;
// Qt Quick's software renderer repaints only what changed, at a fraction of
// the cost.
#pragma once

#include <QByteArrayView>

namespace Renderer {

// True for the OpenGL renderer names of Mesa's processor-only drivers.
bool isProcessorOnly(QByteArrayView openGLRenderer);

// Chooses once per process, after the application object and before the
// first window: the software renderer where OpenGL is processor-only or
// missing, Qt's default otherwise, and where the driver could not be asked.
// A renderer the user set through QT_QUICK_BACKEND or QSG_RHI_BACKEND
// stands.
void choose();

} // namespace Renderer
