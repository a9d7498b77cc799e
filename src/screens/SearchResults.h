// The search model's state as the search screen binds to it: Claude's picks
// and the other results as lists of file values, each with its snippet and
// reason, and the phase by name.
#pragma once

#include "search/SearchModel.h"

#include <QObject>
#include <QVariantList>
#include <QVariantMap>

class SearchResults : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QVariantList ranked READ rankedItems NOTIFY rankedChanged)
    Q_PROPERTY(QVariantList others READ otherItems NOTIFY othersChanged)
    // "idle", "searching", "understanding", "ranking", "done" or "failed".
    Q_PROPERTY(QString phase READ phaseName NOTIFY phaseChanged)

public:
    // The model must outlive this.
    explicit SearchResults(const SearchModel &model, QObject *parent = nullptr);

    QVariantList rankedItems() const { return items(_ranked); }
    QVariantList otherItems() const { return items(_others); }
    QString phaseName() const;

    // A hit's file values, with "snippet" and "reason" (empty when absent).
    static QVariantMap hitItem(const FileHit &hit);
    // The files of the hits as QVariants holding FileRecord, picks first,
    // for the preview to step through.
    Q_INVOKABLE QVariantList allRecords() const;

Q_SIGNALS:
    void rankedChanged();
    void othersChanged();
    void phaseChanged();

private:
    static QVariantList items(const QList<FileHit> &hits);
    void update();

    const SearchModel &m_model;
    QList<FileHit> _ranked;
    QList<FileHit> _others;
};
