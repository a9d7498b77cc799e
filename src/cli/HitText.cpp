#include "cli/HitText.h"

#include "cli/Printable.h"

#include "core/DownloadSources.h"
#include "core/Format.h"

#include <QDateTime>
#include <QFileInfo>

QString snippetText(const QString &snippet, Emphasis emphasis)
{
    QString text = printable(snippet.simplified());
    const bool bold = emphasis == Emphasis::terminalBold;
    text.replace(u'⟦', bold ? QStringLiteral("\x1b[1m") : QString());
    text.replace(u'⟧', bold ? QStringLiteral("\x1b[22m") : QString());
    return text;
}

namespace {

QString folderText(const QString &path, const QString &home)
{
    const QString folder = QFileInfo(path).path();
    if (!home.isEmpty() && (folder == home || folder.startsWith(home + u'/')))
        return u'~' + folder.mid(home.size());
    return folder;
}

} // namespace

QString hitText(const FileHit &hit, Emphasis emphasis, const QString &home)
{
    const FileRecord &file = hit.file;
    QStringList facts{printable(folderText(file.path, home)), Format::byteCount(file.size)};
    if (const auto date = file.modified ? file.modified : file.added)
        facts.append(QDateTime::fromMSecsSinceEpoch(qint64(*date * 1000)).toString(QStringLiteral("yyyy-MM-dd")));
    if (file.sourceID)
        facts.append(sourceDisplayName(*file.sourceID));

    QString text = printable(file.name) + u'\n' + QStringLiteral("    ") + facts.join(QStringLiteral(" · ")) + u'\n';
    if (hit.snippet)
        text += QStringLiteral("    ") + snippetText(*hit.snippet, emphasis) + u'\n';
    return text;
}
