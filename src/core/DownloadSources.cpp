#include "core/DownloadSources.h"

#include <QRegularExpression>

#include <algorithm>

namespace {

QString lowercaseWithoutWWW(const QString &host)
{
    QString lowered = host.toLower();
    if (lowered.startsWith(QLatin1String("www.")))
        lowered.remove(0, 4);
    return lowered;
}

// Trims only spaces and tabs, as the traces are written by programs.
QString trimmedSpacesAndTabs(const QString &text)
{
    qsizetype begin = 0;
    qsizetype end = text.size();
    const auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (begin < end && blank(text.at(begin)))
        ++begin;
    while (end > begin && blank(text.at(end - 1)))
        --end;
    return text.mid(begin, end - begin);
}

} // namespace

const QList<KnownSource> &KnownSource::all()
{
    // The hosts of each service in the roles the product relies on: the site
    // first, then the domains its downloads come from. Order decides ties.
    static const QList<KnownSource> sources{
        {"gmail", "Gmail", "envelope.fill", {"mail.google.com", "mail-attachment.googleusercontent.com"}, {},
         {"gmail", "google mail"}},
        {"drive", "Google Drive", "externaldrive.fill",
         {"drive.google.com", "docs.google.com", "drive.usercontent.google.com", "googleusercontent.com"},
         {"Google Drive"}, {"google drive", "gdrive", "drive", "google docs"}},
        {"chatgpt", "ChatGPT", "bubble.left.and.text.bubble.right.fill",
         {"chatgpt.com", "chat.openai.com", "oaiusercontent.com", "openai.com"}, {"ChatGPT"},
         {"chatgpt", "chat gpt", "openai"}},
        {"claude", "Claude", "sparkle", {"claude.ai", "claudeusercontent.com", "anthropic.com"}, {"Claude"},
         {"claude"}},
        {"canva", "Canva", "paintpalette.fill", {"canva.com", "canva-user-content.com"}, {"Canva"}, {"canva"}},
        {"x", "X", "at", {"x.com", "twitter.com", "twimg.com"}, {}, {"twitter", "x"}},
        {"slack", "Slack", "number", {"slack.com", "slack-edge.com", "slack-files.com"}, {"Slack"}, {"slack"}},
        {"whatsapp", "WhatsApp", "phone.bubble.fill", {"whatsapp.com", "whatsapp.net"}, {"WhatsApp"},
         {"whatsapp", "whats app"}},
        {"github", "GitHub", "chevron.left.forwardslash.chevron.right",
         {"github.com", "githubusercontent.com", "github.io"}, {}, {"github"}},
        {"dropbox", "Dropbox", "shippingbox.fill", {"dropbox.com", "dropboxusercontent.com"}, {"Dropbox"},
         {"dropbox"}},
        {"notion", "Notion", "square.text.square.fill",
         {"notion.so", "notion.site", "notion-static.com", "notionusercontent.com"}, {"Notion"}, {"notion"}},
        {"figma", "Figma", "pencil.and.ruler.fill", {"figma.com"}, {"Figma"}, {"figma"}},
        {"outlook", "Outlook", "envelope.badge.fill",
         {"outlook.live.com", "outlook.office.com", "outlook.office365.com", "attachments.office.net"},
         {"Microsoft Outlook"}, {"outlook", "hotmail"}},
        {"telegram", "Telegram", "paperplane.fill", {"telegram.org", "t.me"}, {"Telegram"}, {"telegram"}},
        {"discord", "Discord", "gamecontroller.fill", {"discord.com", "discordapp.com", "discordapp.net"},
         {"Discord"}, {"discord"}},
        {"linkedin", "LinkedIn", "person.2.fill", {"linkedin.com", "licdn.com"}, {}, {"linkedin"}},
        {"icloud", "iCloud", "icloud.fill", {"icloud.com", "icloud-content.com"}, {}, {"icloud"}},
        {"zoom", "Zoom", "video.fill", {"zoom.us"}, {"zoom.us"}, {"zoom"}},
        {"mail", "Mail", "envelope.open.fill", {}, {"Mail"}, {"apple mail", "email", "mail"}},
        {"messages", "Messages", "message.fill", {}, {"Messages"}, {"imessage", "messages"}},
        {"airdrop", "AirDrop", "dot.radiowaves.left.and.right", {}, {"sharingd", "AirDrop"}, {"airdrop"}},
    };
    return sources;
}

const QHash<QString, KnownSource> &KnownSource::byID()
{
    static const QHash<QString, KnownSource> table = [] {
        QHash<QString, KnownSource> map;
        for (const KnownSource &source : all())
            map.insert(source.id, source);
        return map;
    }();
    return table;
}

std::optional<KnownSource> KnownSource::match(const QString &host)
{
    const QString wanted = lowercaseWithoutWWW(host);
    if (wanted.isEmpty())
        return std::nullopt;
    const KnownSource *best = nullptr;
    qsizetype bestLength = 0;
    for (const KnownSource &source : all()) {
        for (const QString &candidate : source.hosts) {
            const bool matches = wanted == candidate
                || (wanted.endsWith(candidate) && wanted.size() > candidate.size()
                    && wanted.at(wanted.size() - candidate.size() - 1) == u'.');
            // Only a strictly longer host replaces the best, so ties go to
            // the row that comes first.
            if (matches && candidate.size() > bestLength) {
                best = &source;
                bestLength = candidate.size();
            }
        }
    }
    if (!best)
        return std::nullopt;
    return *best;
}

std::optional<QString> sourceHost(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    if (scheme != QLatin1String("http") && scheme != QLatin1String("https"))
        return std::nullopt;
    return url.host(QUrl::FullyEncoded);
}

std::optional<QString> classifySource(const QStringList &whereFroms, const QString &agent)
{
    QList<QUrl> urls;
    for (const QString &text : whereFroms) {
        const QUrl url(trimmedSpacesAndTabs(text), QUrl::StrictMode);
        if (url.isValid() && !url.scheme().isEmpty())
            urls.append(url);
    }
    // A message link means the file was saved from a mail program.
    for (const QUrl &url : urls) {
        if (url.scheme().toLower() == QLatin1String("message"))
            return QStringLiteral("mail");
    }
    // The page that led to the download says more than the download URL,
    // which is often on a delivery host: look at it first.
    if (urls.size() >= 2)
        urls.append(urls.takeFirst());
    for (const QUrl &url : urls) {
        if (const auto host = sourceHost(url)) {
            if (const auto known = KnownSource::match(*host))
                return known->id;
        }
    }
    const QString trimmedAgent = trimmedSpacesAndTabs(agent);
    if (!trimmedAgent.isEmpty()) {
        for (const KnownSource &source : KnownSource::all()) {
            for (const QString &candidate : source.agents) {
                if (candidate.compare(trimmedAgent, Qt::CaseInsensitive) == 0)
                    return source.id;
            }
        }
    }
    for (const QUrl &url : urls) {
        const auto host = sourceHost(url);
        if (!host)
            continue;
        // "https://www./" names no site once "www." is dropped.
        const QString site = lowercaseWithoutWWW(*host);
        if (site.isEmpty())
            return std::nullopt;
        return QStringLiteral("web:") + site;
    }
    return std::nullopt;
}

QString sourceDisplayName(const QString &id)
{
    const auto known = KnownSource::byID().constFind(id);
    if (known != KnownSource::byID().constEnd())
        return known->title;
    if (id.startsWith(QLatin1String("web:")))
        return id.mid(4);
    return id;
}

QString sourceSymbol(const QString &id)
{
    const auto known = KnownSource::byID().constFind(id);
    if (known != KnownSource::byID().constEnd())
        return known->symbol;
    return QStringLiteral("globe");
}

QString withoutCredentials(const QString &url)
{
    QUrl parsed(url);
    if (parsed.isValid() && !parsed.userInfo().isEmpty()) {
        parsed.setUserInfo(QString());
        return parsed.toString(QUrl::FullyEncoded);
    }
    // Text that isn't a URL to Qt (a bad port, a space) may still carry
    // "user:password@" in front of its host: cut what comes before the last
    // "@" of the part between the scheme's "://" and the path.
    static const QRegularExpression schemeAndSlashes(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
    const QRegularExpressionMatch scheme = schemeAndSlashes.match(url);
    if (!scheme.hasMatch())
        return url;
    const qsizetype from = scheme.capturedEnd();
    qsizetype end = url.size();
    for (const QChar stop : {u'/', u'?', u'#'}) {
        const qsizetype at = url.indexOf(stop, from);
        if (at >= 0)
            end = std::min(end, at);
    }
    const qsizetype at = url.lastIndexOf(u'@', end - 1);
    if (at < from)
        return url;
    return url.left(from) + url.mid(at + 1);
}
