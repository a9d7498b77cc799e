#include "platform/ZipArchive.h"

#include <QRegularExpression>

#include <zip.h>

ZipArchive::ZipArchive(const QString &path)
{
    int error = 0;
    m_zip = zip_open(path.toUtf8().constData(), ZIP_RDONLY, &error);
}

ZipArchive::~ZipArchive()
{
    if (m_zip)
        zip_discard(m_zip);
}

QStringList ZipArchive::memberNames() const
{
    QStringList names;
    if (!m_zip)
        return names;
    const zip_int64_t count = zip_get_num_entries(m_zip, 0);
    for (zip_int64_t i = 0; i < count; ++i) {
        if (const char *name = zip_get_name(m_zip, zip_uint64_t(i), ZIP_FL_ENC_GUESS))
            names << QString::fromUtf8(name);
    }
    return names;
}

bool ZipArchive::read(const QString &member, qint64 maxBytes,
                      const std::function<bool(const QByteArray &)> &sink) const
{
    if (!m_zip)
        return false;
    zip_file_t *file = zip_fopen(m_zip, member.toUtf8().constData(), 0);
    if (!file)
        return false;
    QByteArray chunk(64 * 1024, Qt::Uninitialized);
    qint64 total = 0;
    bool ok = true;
    while (total < maxBytes) {
        const zip_int64_t n = zip_fread(file, chunk.data(), zip_uint64_t(std::min<qint64>(chunk.size(), maxBytes - total)));
        if (n < 0) {
            ok = total > 0;
            break;
        }
        if (n == 0)
            break;
        total += n;
        if (!sink(QByteArray(chunk.constData(), n)))
            break;
    }
    zip_fclose(file);
    return ok;
}

QByteArray ZipArchive::bytes(const QString &member, qint64 maxBytes) const
{
    QByteArray all;
    read(member, maxBytes, [&all](const QByteArray &chunk) {
        all += chunk;
        return true;
    });
    return all;
}

bool ZipArchive::matches(const QString &name, const QString &pattern)
{
    QString expression;
    for (const QChar c : pattern) {
        if (c == u'*')
            expression += QStringLiteral(".*");
        else if (c == u'?')
            expression += u'.';
        else
            expression += QRegularExpression::escape(QString(c));
    }
    const QRegularExpression re(QRegularExpression::anchoredPattern(expression),
                                QRegularExpression::UseUnicodePropertiesOption
                                    | QRegularExpression::DotMatchesEverythingOption);
    return re.match(name).hasMatch();
}
