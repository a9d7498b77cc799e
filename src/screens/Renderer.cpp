#include "screens/Renderer.h"

#include <QByteArray>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>

namespace {

// The renderer name of the OpenGL the platform offers, or empty when it
// offers none.
QByteArray openGLRenderer()
{
    QOpenGLContext context;
    if (!context.create())
        return {};
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface))
        return {};
    const auto *name = reinterpret_cast<const char *>(context.functions()->glGetString(GL_RENDERER));
    QByteArray renderer(name ? name : "");
    context.doneCurrent();
    return renderer;
}

} // namespace

namespace Renderer {

bool isProcessorOnly(QByteArrayView openGLRenderer)
{
    // Mesa names its processor drivers so: "llvmpipe (LLVM 15.0.6, 256
    // bits)", "softpipe", "Software Rasterizer" (swrast) and "SWR".
    for (const char *driver : {"llvmpipe", "softpipe", "software rasterizer", "swr "}) {
        if (openGLRenderer.toByteArray().toLower().contains(driver))
            return true;
    }
    return false;
}

void choose()
{
    static bool chosen = false;
    if (chosen)
        return;
    chosen = true;
    if (qEnvironmentVariableIsSet("QT_QUICK_BACKEND") || qEnvironmentVariableIsSet("QSG_RHI_BACKEND"))
        return;
    const QByteArray renderer = openGLRenderer();
    if (renderer.isEmpty() || isProcessorOnly(renderer))
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

} // namespace Renderer
