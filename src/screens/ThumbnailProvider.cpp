#include "screens/ThumbnailProvider.h"

#include "core/Tasks.h"
#include "platform/ImageLoader.h"
#include "platform/PdfDocument.h"
#include "platform/Thumbnails.h"

#include <QQuickTextureFactory>
#include <QUrl>

#include <functional>

namespace {

// One image made on the userInitiated pool.
class MadeImage : public QQuickImageResponse
{
public:
    explicit MadeImage(std::function<QImage()> make)
    {
        Tasks::run(Tasks::Priority::UserInitiated, [this, make](const CancellationToken &token) {
            QImage image = token.isCancelled() ? QImage() : make();
            // Back on the response's own thread, after the loader has
            // connected to it. The loader lets a response go only after its
            // finished(), which it waits for even after a cancel.
            Tasks::deliver(this, [this, image = std::move(image)] {
                m_image = image;
                Q_EMIT finished();
            });
        }, m_token);
    }

    // A file without a picture answers one transparent pixel, which the tile
    // takes as "keep the kind's icon", without a warning for every tile.
    QQuickTextureFactory *textureFactory() const override
    {
        if (m_image.isNull()) {
            QImage none(1, 1, QImage::Format_ARGB32_Premultiplied);
            none.fill(Qt::transparent);
            return QQuickTextureFactory::textureFactoryForImage(none);
        }
        return QQuickTextureFactory::textureFactoryForImage(m_image);
    }

    void cancel() override { m_token.cancel(); }

private:
    CancellationToken m_token;
    QImage m_image;
};

QString pathOf(const QString &id)
{
    // The loader hands the address over partly decoded already: names
    // outside ASCII arrive as characters, escapes such as %25 still escaped.
    return QUrl::fromPercentEncoding(id.left(id.indexOf(u'?')).toUtf8());
}

QString parameter(const QString &id, const QString &name)
{
    const qsizetype query = id.indexOf(u'?');
    if (query < 0)
        return {};
    for (const QString &pair : id.mid(query + 1).split(u'&')) {
        if (pair.startsWith(name + u'='))
            return pair.mid(name.size() + 1);
    }
    return {};
}

} // namespace

QQuickImageResponse *ThumbnailProvider::requestImageResponse(const QString &id, const QSize &requestedSize)
{
    // id: the escaped path, then "?m=STAMP&k=KIND".
    const QString path = pathOf(id);
    const FileKind kind = fileKindFromRawValue(parameter(id, QStringLiteral("k")));
    const int side = std::max(requestedSize.width(), requestedSize.height());
    const int size = side > 0 ? side : defaultSize;
    return new MadeImage([path, kind, size] { return Thumbnails::thumbnail(path, kind, size); });
}

QQuickImageResponse *PreviewProvider::requestImageResponse(const QString &id, const QSize &requestedSize)
{
    const QString path = pathOf(id);
    const QString page = parameter(id, QStringLiteral("page"));
    const int side = std::max(requestedSize.width(), requestedSize.height());
    const int size = side > 0 ? side : defaultSize;
    if (page.isEmpty())
        return new MadeImage([path, size] { return ImageLoader::bounded(path, size); });
    const int index = page.toInt();
    return new MadeImage([path, index, size] {
        const PdfDocument pdf(path);
        return pdf.isOpen() ? pdf.renderPage(index, size) : QImage();
    });
}
