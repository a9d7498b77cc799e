// The search model's state as the search screen binds to it: Claude's picks
// and the other results as lists of rows, each with its snippet and reason,
// and the phase by name.
//
// The other results live in two lists that take turns. One is on screen;
// results that come in before the typing pause ends are laid over the
// other, which the screen keeps out of sight, so that its rows are made and
// laid out while the user still types, and the end of the pause only swaps
// the two.
#pragma once

#include "screens/SearchHitList.h"
#include "search/SearchModel.h"

#include <QObject>
#include <QVariantList>

class SearchResults : public QObject
{
    Q_OBJECT
    Q_PROPERTY(SearchHitList *ranked READ ranked CONSTANT)
    // The other results on screen: one of the two pages.
    Q_PROPERTY(SearchHitList *others READ others NOTIFY othersChanged)
    // Both lists of other results, in a fixed order.
    Q_PROPERTY(QList<QObject *> otherPages READ otherPages CONSTANT)
    // "idle", "searching", "understanding", "ranking", "done" or "failed".
    Q_PROPERTY(QString phase READ phaseName NOTIFY phaseChanged)

public:
    // The model must outlive this.
    explicit SearchResults(const SearchModel &model, QObject *parent = nullptr);

    SearchHitList *ranked() { return &m_ranked; }
    SearchHitList *others() { return &m_pages[m_shown]; }
    QList<QObject *> otherPages() { return {&m_pages[0], &m_pages[1]}; }
    QString phaseName() const;

    // The files of the hits as QVariants holding FileRecord, picks first,
    // for the preview to step through.
    Q_INVOKABLE QVariantList allRecords() const;

Q_SIGNALS:
    void othersChanged();
    void phaseChanged();

private:
    void update();
    void prepare();

    const SearchModel &m_model;
    SearchHitList m_ranked;
    SearchHitList m_pages[2];
    int m_shown = 0;
};
