// The search model's state as the search screen binds to it: Claude's picks
// and the other results as lists of rows, each with its snippet and reason,
// and the phase by name.
#pragma once

#include "screens/SearchHitList.h"
#include "search/SearchModel.h"

#include <QObject>
#include <QVariantList>

class SearchResults : public QObject
{
    Q_OBJECT
    Q_PROPERTY(SearchHitList *ranked READ ranked CONSTANT)
    Q_PROPERTY(SearchHitList *others READ others CONSTANT)
    // "idle", "searching", "understanding", "ranking", "done" or "failed".
    Q_PROPERTY(QString phase READ phaseName NOTIFY phaseChanged)

public:
    // The model must outlive this.
    explicit SearchResults(const SearchModel &model, QObject *parent = nullptr);

    SearchHitList *ranked() { return &m_ranked; }
    SearchHitList *others() { return &m_others; }
    QString phaseName() const;

    // The files of the hits as QVariants holding FileRecord, picks first,
    // for the preview to step through.
    Q_INVOKABLE QVariantList allRecords() const;

Q_SIGNALS:
    void phaseChanged();

private:
    void update();

    const SearchModel &m_model;
    SearchHitList m_ranked;
    SearchHitList m_others;
};
