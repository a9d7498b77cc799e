// The base of the program's typed errors. Every error that can reach a person
// carries a description worded for them.
#pragma once

#include <QString>

#include <exception>

class DescribedError : public std::exception
{
public:
    virtual QString description() const = 0;

    const char *what() const noexcept override;

private:
    mutable QByteArray m_what;
};

// A folder or file operation of the file system failed.
class FileSystemError : public DescribedError
{
public:
    explicit FileSystemError(QString description);
    QString description() const override;

private:
    QString m_description;
};

// Thrown by blocking work that noticed its cancellation token. Callers treat
// it as silence, never as a failure to show.
class CancellationError : public std::exception
{
public:
    const char *what() const noexcept override { return "cancelled"; }
};
