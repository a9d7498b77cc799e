#include "screens/SearchResults.h"

#include "screens/FileItems.h"

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

QVariantMap SearchResults::hitItem(const FileHit &hit)
{
    QVariantMap item = FileItems::map(hit.file);
    item.insert(QStringLiteral("snippet"), hit.snippet.value_or(QString()));
    item.insert(QStringLiteral("reason"), hit.reason.value_or(QString()));
    return item;
}

QVariantList SearchResults::items(const QList<FileHit> &hits)
{
    QVariantList list;
    list.reserve(hits.size());
    for (const FileHit &hit : hits)
        list.append(hitItem(hit));
    return list;
}

QVariantList SearchResults::allRecords() const
{
    QVariantList records;
    for (const auto *hits : {&_ranked, &_others}) {
        for (const FileHit &hit : *hits)
            records.append(QVariant::fromValue(hit.file));
    }
    return records;
}

void SearchResults::update()
{
    // Both lists follow from the model's two; each is published only when
    // it changed, so the screen keeps its rows otherwise.
    const QList<FileHit> ranked = m_model.ranked();
    const QList<FileHit> others = m_model.otherResults();
    if (ranked != _ranked) {
        _ranked = ranked;
        Q_EMIT rankedChanged();
    }
    if (others != _others) {
        _others = others;
        Q_EMIT othersChanged();
    }
}
