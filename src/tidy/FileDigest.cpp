#include "tidy/FileDigest.h"

#include <QFile>

#include <openssl/evp.h>

#include <cerrno>
#include <fcntl.h>
#include <memory>
#include <unistd.h>
#include <vector>

namespace FileDigest {

namespace {

// O_NOATIME is refused (EPERM) on files the process doesn't own unless it
// has the capability; then the plain open serves.
int openForReading(const QByteArray &path)
{
    int fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC | O_NOATIME);
    if (fd < 0 && errno == EPERM)
        fd = ::open(path.constData(), O_RDONLY | O_CLOEXEC);
    return fd;
}

struct FileCloser
{
    int fd;
    ~FileCloser()
    {
        if (fd >= 0)
            ::close(fd);
    }
};

const EVP_MD *sha256Algorithm()
{
    // Fetched once: the implicit lookup of EVP_sha256() costs a lock per use.
    static EVP_MD *algorithm = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    return algorithm ? algorithm : EVP_sha256();
}

} // namespace

std::optional<QString> sha256(const QString &path, const CancellationToken &token)
{
    const int fd = openForReading(QFile::encodeName(path));
    if (fd < 0)
        return std::nullopt;
    FileCloser closer{fd};
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);

    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), sha256Algorithm(), nullptr) != 1)
        return std::nullopt;

    thread_local std::vector<unsigned char> buffer(chunkSize);
    for (;;) {
        if (token.isCancelled())
            return std::nullopt;
        ssize_t filled = 0;
        // Fill the whole chunk unless the file ends first.
        while (filled < chunkSize) {
            const ssize_t n = ::read(fd, buffer.data() + filled, size_t(chunkSize - filled));
            if (n < 0) {
                if (errno == EINTR)
                    continue;
                return std::nullopt;
            }
            if (n == 0)
                break;
            filled += n;
        }
        if (filled == 0)
            break;
        if (EVP_DigestUpdate(context.get(), buffer.data(), size_t(filled)) != 1)
            return std::nullopt;
        if (filled < chunkSize)
            break;
    }

    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest, &length) != 1)
        return std::nullopt;
    static const char hex[] = "0123456789abcdef";
    QString text(qsizetype(length) * 2, Qt::Uninitialized);
    QChar *out = text.data();
    for (unsigned int i = 0; i < length; ++i) {
        *out++ = QLatin1Char(hex[digest[i] >> 4]);
        *out++ = QLatin1Char(hex[digest[i] & 0xf]);
    }
    return text;
}

} // namespace FileDigest
