#include "screens/SearchResults.h"

#include <QMetaEnum>

SearchResults::SearchResults(const SearchModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    connect(&model, &SearchModel::resultsChanged, this, &SearchResults::update);
    connect(&model, &SearchModel::rankedChanged, this, &SearchResults::update);
    connect(&model, &SearchModel::resultsUpcoming, this, &SearchResults::prepare);
    connect(&model, &SearchModel::phaseChanged, this, &SearchResults::phaseChanged);
    update();
}

QString SearchResults::phaseName() const
{
    return QString::fromLatin1(QMetaEnum::fromType<SearchModel::Phase>().valueToKey(int(m_model.phase())));
}

QVariantList SearchResults::allRecords() const
{
    QVariantList records;
    for (const auto *list : {&m_ranked, &m_pages[m_shown]}) {
        for (const FileHit &hit : list->hits())
            records.append(QVariant::fromValue(hit.file));
    }
    return records;
}

void SearchResults::update()
{
    // Both lists follow from the model's two, laid over the rows already
    // shown, so the screen keeps the rows of files that stay; or, when the
    // page out of sight already holds the new results, it takes the screen.
    m_ranked.setHits(m_model.ranked());
    const QList<FileHit> others = m_model.otherResults();
    SearchHitList &shown = m_pages[m_shown];
    SearchHitList &next = m_pages[1 - m_shown];
    if (!others.isEmpty() && next.hits() == others && shown.hits() != others) {
        m_shown = 1 - m_shown;
        Q_EMIT othersChanged();
        return;
    }
    shown.setHits(others);
}

void SearchResults::prepare()
{
    m_pages[1 - m_shown].setHits(m_model.upcomingResults());
}
