// What the inspector shows of the file under inspection beyond its tile:
// the rows of its details, where it came from, the camera of a photo (read
// from the file on the pool, so that the window never waits on a disk), and
// the heading of the text found inside it. Follows AppModel's inspected file.
#pragma once

#include "core/Tasks.h"
#include "platform/MediaFacts.h"
#include "store/FileRecord.h"

#include <QObject>
#include <QVariantList>

class AppModel;

class InspectorFacts : public QObject
{
    Q_OBJECT
    // Rows of {label, value}, absent values left out.
    Q_PROPERTY(QVariantList details READ details NOTIFY factsChanged)
    Q_PROPERTY(QVariantList camera READ camera NOTIFY cameraChanged)
    Q_PROPERTY(QString kindWord READ kindWord NOTIFY factsChanged)
    // Empty when the file has no known source.
    Q_PROPERTY(QString sourceID READ sourceID NOTIFY factsChanged)
    Q_PROPERTY(QString sourceTitle READ sourceTitle NOTIFY factsChanged)
    Q_PROPERTY(QString sourceSymbol READ sourceSymbol NOTIFY factsChanged)
    Q_PROPERTY(QString sourceHost READ sourceHost NOTIFY factsChanged)
    // "Text in Image", or "Text" for a file of another kind.
    Q_PROPERTY(QString textHeading READ textHeading NOTIFY factsChanged)
    Q_PROPERTY(QString excerpt READ excerpt NOTIFY factsChanged)

public:
    explicit InspectorFacts(AppModel &app, QObject *parent = nullptr);
    ~InspectorFacts() override;

    const QVariantList &details() const { return _details; }
    const QVariantList &camera() const { return _camera; }
    QString kindWord() const { return _kindWord; }
    QString sourceID() const { return _sourceID; }
    QString sourceTitle() const { return _sourceTitle; }
    QString sourceSymbol() const { return _sourceSymbol; }
    QString sourceHost() const { return _sourceHost; }
    QString textHeading() const { return _textHeading; }
    QString excerpt() const { return _excerpt; }

    static QVariantList detailRows(const FileRecord &file, const QString &home);
    static QVariantList cameraRows(const MediaFacts::Camera &camera);
    // "1/250 s" below a second, "2.0 s" from one second on.
    static QString exposureText(double seconds);

Q_SIGNALS:
    void factsChanged();
    void cameraChanged();

private:
    void follow();
    void setCamera(const QVariantList &rows);

    AppModel &m_app;
    QVariantList _details;
    QVariantList _camera;
    QString _kindWord;
    QString _sourceID;
    QString _sourceTitle;
    QString _sourceSymbol;
    QString _sourceHost;
    QString _textHeading;
    QString _excerpt;
    CancellationToken m_cameraRead;
};
