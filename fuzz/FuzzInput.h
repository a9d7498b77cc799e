// Reading a fuzzer's bytes as the parameters and the payload of one run.
#pragma once

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <cstdint>

class FuzzInput
{
public:
    FuzzInput(const uint8_t *data, size_t size)
        : m_data(data)
        , m_size(size)
    {
    }

    // One byte taken from the front; 0 once the input is used up.
    uint8_t byte()
    {
        if (m_at >= m_size)
            return 0;
        return m_data[m_at++];
    }

    // Whatever is left, as bytes or as UTF-8 text (invalid bytes become U+FFFD).
    QByteArray rest() const
    {
        return QByteArray(reinterpret_cast<const char *>(m_data + m_at), qsizetype(m_size - m_at));
    }
    QString restAsText() const { return QString::fromUtf8(rest()); }

private:
    const uint8_t *m_data;
    size_t m_size;
    size_t m_at = 0;
};

// A folder for the files a run writes, the same for the whole process: on
// memory where there is a memory-backed file system, so that writing a file
// each run costs no disk.
QString fuzzFolder();
// Writes a run's bytes to the file, making its folder; false when it can't.
bool writeFuzzFile(const QString &path, const uint8_t *data, size_t size);

// A failed property: prints what held and what was seen, then aborts so that
// the fuzzer keeps the input.
[[noreturn]] void fuzzFailure(const char *property, const QString &detail = QString());
#define FUZZ_EXPECT(condition, detail)                                                                            \
    do {                                                                                                          \
        if (!(condition))                                                                                         \
            fuzzFailure(#condition, detail);                                                                      \
    } while (false)
