#include "platform/ApplicationIds.h"

#include "core/Paths.h"
#include "platform/QuietOpen.h"

#include <QDir>
#include <QFile>
#include <QXmlStreamReader>

#include <glib.h>

ApplicationIds::ApplicationIds()
{
    QStringList dataFolders{Paths::dataHome()};
    const QString systemFolders = qEnvironmentVariable("XDG_DATA_DIRS", QStringLiteral("/usr/local/share:/usr/share"));
    dataFolders += systemFolders.split(u':', Qt::SkipEmptyParts);
    for (const QString &folder : dataFolders)
        m_applicationFolders.append(QDir::cleanPath(folder) + QStringLiteral("/applications/"));
}

QString ApplicationIds::fromPath(const QString &path, const QString &name, QStringView mimeType) const
{
    if (mimeType != QLatin1String("application/x-desktop"))
        return name;
    // The path under an applications folder with "/" as "-", without
    // ".desktop"; elsewhere the file's own name.
    QString id = name;
    for (const QString &folder : m_applicationFolders) {
        if (path.startsWith(folder)) {
            id = path.mid(folder.size()).replace(u'/', u'-');
            break;
        }
    }
    if (id.endsWith(QLatin1String(".desktop")))
        id.chop(8);
    return id;
}

std::optional<QString> ApplicationIds::fromFlatpakBundle(const QString &path)
{
    // A bundle is one serialised GVariant tuple whose first member is the
    // metadata dictionary. The end of that member is the last framing
    // offset of the tuple, stored at the very end of the file in a width
    // that follows from the file's size.
    QFile file;
    if (!openQuietly(file, path))
        return std::nullopt;
    const qint64 size = file.size();
    const int width = size <= 0xff ? 1 : size <= 0xffff ? 2 : size <= 0xffffffffLL ? 4 : 8;
    if (size <= width || !file.seek(size - width))
        return std::nullopt;
    const QByteArray tail = file.read(width);
    if (tail.size() != width)
        return std::nullopt;
    quint64 metadataEnd = 0;
    for (int i = width - 1; i >= 0; --i)
        metadataEnd = (metadataEnd << 8) | quint8(tail.at(i));
    constexpr quint64 metadataCap = 16 * 1024 * 1024;
    if (metadataEnd == 0 || metadataEnd > quint64(size - width) || metadataEnd > metadataCap || !file.seek(0))
        return std::nullopt;
    const QByteArray head = file.read(qint64(metadataEnd));
    if (head.size() != qsizetype(metadataEnd))
        return std::nullopt;

    GBytes *bytes = g_bytes_new(head.constData(), gsize(head.size()));
    GVariant *metadata = g_variant_ref_sink(g_variant_new_from_bytes(G_VARIANT_TYPE("a{sv}"), bytes, FALSE));
    g_bytes_unref(bytes);
    std::optional<QString> id;
    const gchar *ref = nullptr;
    if (g_variant_lookup(metadata, "ref", "&s", &ref) && ref) {
        // "app/org.gnome.Maps/x86_64/stable"
        const QStringList parts = QString::fromUtf8(ref).split(u'/');
        if (parts.size() >= 2 && !parts.at(1).isEmpty())
            id = parts.at(1);
    }
    g_variant_unref(metadata);
    return id;
}

std::optional<QString> ApplicationIds::fromApplicationFolder(const QString &folder)
{
    QFile file(folder + QStringLiteral("/Contents/Info.plist"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QXmlStreamReader xml(&file);
    bool nextIsIdentifier = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("key")) {
            nextIsIdentifier = xml.readElementText() == QLatin1String("CFBundleIdentifier");
        } else if (nextIsIdentifier) {
            const QString value = xml.readElementText().trimmed();
            if (xml.name() == QLatin1String("string") && !value.isEmpty())
                return value;
            nextIsIdentifier = false;
        }
    }
    return std::nullopt;
}
