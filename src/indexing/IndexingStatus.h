// What indexing is doing, for the screens and the command line. Changed on
// the main thread only.
#pragma once

#include <QObject>
#include <QString>

#include <optional>

struct IndexingPhase
{
    enum class Kind { idle, scanning, reading, ready };

    Kind kind = Kind::idle;
    QString folder; // scanning
    qint64 found = 0; // scanning
    qint64 remaining = 0; // reading

    static IndexingPhase idle() { return {}; }
    static IndexingPhase ready() { return {Kind::ready, {}, 0, 0}; }
    static IndexingPhase scanning(const QString &folder, qint64 found) { return {Kind::scanning, folder, found, 0}; }
    static IndexingPhase reading(qint64 remaining) { return {Kind::reading, {}, 0, remaining}; }

    // "Scanning Documents · 1,204 items", "Reading contents · 12 left",
    // "Getting ready", "Up to date".
    QString statusText() const;

    friend bool operator==(const IndexingPhase &, const IndexingPhase &) = default;
};

class IndexingStatus : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString statusText READ statusText NOTIFY phaseChanged)
    Q_PROPERTY(qint64 revision READ revision NOTIFY revisionChanged)
    Q_PROPERTY(QString lastError READ lastErrorText NOTIFY lastErrorChanged)

public:
    explicit IndexingStatus(QObject *parent = nullptr);

    IndexingPhase phase() const { return _phase; }
    void setPhase(const IndexingPhase &phase);
    QString statusText() const { return _phase.statusText(); }

    qint64 revision() const { return _revision; }
    void bumpRevision();

    std::optional<QString> lastError() const { return _lastError; }
    QString lastErrorText() const { return _lastError.value_or(QString()); }
    void setLastError(const std::optional<QString> &error);

Q_SIGNALS:
    void phaseChanged();
    void revisionChanged();
    void lastErrorChanged();

private:
    IndexingPhase _phase;
    qint64 _revision = 0;
    std::optional<QString> _lastError;
};
