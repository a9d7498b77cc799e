// Members of a zip container (office documents, OpenDocument files, iWork
// files), read with libzip. Reads are streamed and capped: a member that
// claims or inflates to more than the cap is cut there, so a zip bomb costs
// no more memory than the cap.
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

struct zip;

class ZipArchive
{
public:
    explicit ZipArchive(const QString &path);
    ~ZipArchive();
    ZipArchive(const ZipArchive &) = delete;
    ZipArchive &operator=(const ZipArchive &) = delete;

    bool isOpen() const { return m_zip != nullptr; }

    // Member names in the order the container lists them.
    QStringList memberNames() const;

    // Feeds the member's inflated bytes to sink in chunks, at most maxBytes in
    // all. The sink returns false to stop early. False when the member is
    // missing or can't be read.
    bool read(const QString &member, qint64 maxBytes, const std::function<bool(const QByteArray &)> &sink) const;
    // The member's bytes, cut at maxBytes; empty when it can't be read.
    QByteArray bytes(const QString &member, qint64 maxBytes) const;

    // Whether a member name matches a pattern of the unzip kind, where "*"
    // stands for any run of characters (slashes included) and "?" for one.
    static bool matches(const QString &name, const QString &pattern);

private:
    zip *m_zip = nullptr;
};
