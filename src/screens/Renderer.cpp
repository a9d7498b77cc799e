#include "screens/Renderer.h"

#include <QByteArray>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QQuickWindow>

namespace {

// What the platform says of its OpenGL.
struct OpenGLProbe
{
    enum class Outcome { none, named, unknown };
    Outcome outcome = Outcome::unknown;
    QByteArray renderer;
};

// The driver name of the OpenGL the platform offers: none when it offers
// no context at all, unknown when a context exists but could not be made
// current off screen (a Wayland compositor without off-screen surfaces).
OpenGLProbe probeOpenGL()
{
    QOpenGLContext context;
    if (!context.create())
        return {OpenGLProbe::Outcome::none, {}};
    QOffscreenSurface surface;
    surface.setFormat(context.format());
    surface.create();
    if (!surface.isValid() || !context.makeCurrent(&surface))
        return {};
    const auto *name = reinterpret_cast<const char *>(context.functions()->glGetString(GL_RENDERER));
    OpenGLProbe probe{OpenGLProbe::Outcome::named, QByteArray(name ? name : "")};
    context.doneCurrent();
    return probe;
}

} // namespace

namespace Renderer {

bool isProcessorOnly(QByteArrayView openGLRenderer)
{
    // Mesa names its processor drivers so: "llvmpipe (LLVM 15.0.6, 256
    // bits)", "softpipe", "Software Rasterizer" (swrast) and "SWR"; a
    // Windows host without a graphics card hands WSL "Microsoft Basic
    // Render Driver".
    for (const char *driver : {"llvmpipe", "softpipe", "software rasterizer", "swr ", "microsoft basic render"}) {
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
    if (!qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND") || !qEnvironmentVariableIsEmpty("QSG_RHI_BACKEND"))
        return;
    const OpenGLProbe probe = probeOpenGL();
    const bool processorOnly = probe.outcome == OpenGLProbe::Outcome::none
                               || (probe.outcome == OpenGLProbe::Outcome::named && isProcessorOnly(probe.renderer));
    if (processorOnly)
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
}

} // namespace Renderer
