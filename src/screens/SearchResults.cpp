#include "screens/SearchResults.h"

#include <QMetaEnum>

SearchResults::SearchResults(const SearchModel &model, QObject *parent)
    : QObject(parent)
    , m_model(model)
{
    connect(&model, &SearchModel::resultsChanged, this, &SearchResults::update);
    connect(&model, &SearchModel::rankedChanged, this, &SearchResults::update);
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
    for (const auto *list : {&m_ranked, &m_others}) {
        for (const FileHit &hit : list->hits())
            records.append(QVariant::fromValue(hit.file));
    }
    return records;
}

void SearchResults::update()
{
    // Both lists follow from the model's two, laid over the rows already
    // shown, so the screen keeps the rows of files that stay.
    m_ranked.setHits(m_model.ranked());
    m_others.setHits(m_model.otherResults());
}
