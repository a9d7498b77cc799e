// Where a downloaded file came from: the table of well-known sources, and
// the classification of a file's download traces (its where-from URLs and
// the application that saved it) into one short source id. Pure data and URL
// text; nothing here reads a file.
#pragma once

#include <QHash>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// A source id as the library stores it: the id of a well-known source such
// as "gmail", or "web:" and a host for any other site.
struct DownloadSource
{
    QString id;

    friend bool operator==(const DownloadSource &, const DownloadSource &) = default;
};

inline size_t qHash(const DownloadSource &source, size_t seed = 0)
{
    return qHash(source.id, seed);
}

struct KnownSource
{
    QString id; // stored in the library
    QString title; // display name
    QString symbol; // icon name
    QStringList hosts; // lowercase domain names, no scheme
    QStringList agents; // names of the applications that save its files
    QStringList aliases; // lowercase words a search request may use for it

    // The 21 known sources in their fixed order; the order decides ties.
    static const QList<KnownSource> &all();
    static const QHash<QString, KnownSource> &byID();

    // The row whose host is the given one or a parent domain of it, the
    // longest such host winning. "www." is ignored.
    static std::optional<KnownSource> match(const QString &host);
};

// The source id of a file from its where-from URLs (download URL first, the
// page that led to it second) and the agent that saved it: a known host
// beats a known agent, which beats the generic "web:host" form.
std::optional<QString> classifySource(const QStringList &whereFroms, const QString &agent = QString());

// The URL's percent-encoded host when the scheme is http or https.
std::optional<QString> sourceHost(const QUrl &url);

// "Gmail" for "gmail", "files.example" for "web:files.example".
QString sourceDisplayName(const QString &id);
// The icon of a source; "globe" for any site that isn't known.
QString sourceSymbol(const QString &id);

// The URL without user name and password, for storing and showing.
QString withoutCredentials(const QString &url);
