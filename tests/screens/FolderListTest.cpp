// The folders of Settings and the welcome: how many files each holds, as
// counted on disk and worded for the list.
#include "screens/FolderList.h"
#include "support/TestEnvironment.h"

#include <gtest/gtest.h>

TEST(FolderListTest, CountsWordTheFilesOfAFolder)
{
    const struct
    {
        std::optional<qint64> count;
        QString text;
    } counts[] = {
        {std::nullopt, "Not found"},
        {0, "No files"},
        {1, "1 file"},
        {2345, "2,345 files"},
        {FolderList::countLimit - 1, "9,999 files"},
        {FolderList::countLimit, "10,000+ files"},
    };
    for (const auto &row : counts)
        EXPECT_EQ(FolderList::countText(row.count).toStdString(), row.text.toStdString());
}

TEST(FolderListTest, CountsFilesInSubfoldersButNotHiddenOnesOrFolders)
{
    const QString root = TestEnvironment::makeFolder("Counted");
    TestEnvironment::writeFile(root + "/a.txt", "a");
    TestEnvironment::writeFile(root + "/deep/er/b.txt", "b");
    TestEnvironment::writeFile(root + "/deep/c.txt", "c");
    TestEnvironment::writeFile(root + "/.cache/d.txt", "hidden");
    TestEnvironment::writeFile(root + "/.hidden.txt", "hidden");
    EXPECT_EQ(FolderList::countFiles(root, CancellationToken::none()), 3);
    EXPECT_EQ(FolderList::countFiles(root + "/missing", CancellationToken::none()), std::nullopt);
    EXPECT_EQ(FolderList::countFiles(root + "/a.txt", CancellationToken::none()), std::nullopt)
        << "a file is not a folder";

    // A cancelled count stops at once.
    CancellationToken cancelled;
    cancelled.cancel();
    EXPECT_EQ(FolderList::countFiles(root, cancelled), 0);
}
