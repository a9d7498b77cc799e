// The window's "image://thumbnail/" images: each tile asks for its file's
// thumbnail when it comes on screen, and the work runs on the userInitiated
// pool. A tile that scrolls away before its turn cancels its request.
#pragma once

#include <QQuickAsyncImageProvider>

class ThumbnailProvider : public QQuickAsyncImageProvider
{
public:
    // The side of a thumbnail when the view asks for no size.
    static constexpr int defaultSize = 256;

    QQuickImageResponse *requestImageResponse(const QString &id, const QSize &requestedSize) override;
};

// The preview window's "image://preview/" images: a picture, or one page of a
// PDF ("PATH?page=N"), drawn at the size the window asks for and not kept.
class PreviewProvider : public QQuickAsyncImageProvider
{
public:
    static constexpr int defaultSize = 1600;

    QQuickImageResponse *requestImageResponse(const QString &id, const QSize &requestedSize) override;
};
