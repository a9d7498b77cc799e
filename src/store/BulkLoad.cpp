#include "store/BulkLoad.h"

BulkLoad::BulkLoad(const IndexStore &store)
    : m_store(store)
{
    // Checked and dropped in one transaction, so that no file arrives in
    // between.
    m_active = m_store.m_db->transaction([&] {
        if (m_store.m_db->scalar(QStringLiteral("SELECT EXISTS(SELECT 1 FROM files)")).intValue().value_or(1) != 0)
            return false;
        m_store.dropFileIndexes();
        return true;
    });
}

BulkLoad::~BulkLoad()
{
    try {
        finish();
    } catch (const DescribedError &) {
    }
}

void BulkLoad::finish()
{
    if (!m_active)
        return;
    m_active = false;
    m_store.transaction([&] { m_store.buildFileIndexes(); });
}
