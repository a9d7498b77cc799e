#include "core/Errors.h"

const char *DescribedError::what() const noexcept
{
    m_what = description().toUtf8();
    return m_what.constData();
}

FileSystemError::FileSystemError(QString description)
    : m_description(std::move(description))
{
}

QString FileSystemError::description() const
{
    return m_description;
}
