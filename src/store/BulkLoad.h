// The first scan into an empty library. While it lasts, the files table goes
// without the indexes that only reads use, so that a row costs its own
// write and its path's, not a page of every index; finish() builds them
// once, each in one sorted pass. A library that already holds files keeps
// its indexes and is written as usual.
//
// Reads stay correct meanwhile, only slower on a large table. A load cut
// short (a crash, a kill) leaves the indexes missing: the next
// IndexStore::open() of the library builds them.
#pragma once

#include "store/IndexStore.h"

class BulkLoad
{
public:
    explicit BulkLoad(const IndexStore &store);
    // Builds the indexes if finish() hasn't; an error is left for the next
    // open of the library to mend.
    ~BulkLoad();
    BulkLoad(const BulkLoad &) = delete;
    BulkLoad &operator=(const BulkLoad &) = delete;

    // Whether the library was empty, so that its indexes wait for finish().
    bool isActive() const { return m_active; }
    // Builds the indexes; later calls do nothing. Throws SQLiteError.
    void finish();

private:
    IndexStore m_store;
    bool m_active = false;
};
