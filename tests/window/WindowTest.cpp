// The real window on a display: rows of the sidebar are clicked and the
// shortcuts pressed as a person would, the detail area is checked, and a
// picture of every screen and state is saved for review.
#include "WindowFixture.h"

#include "screens/LibraryModel.h"
#include "core/Format.h"
#include "search/SearchModel.h"
#include "store/IndexStore.h"
#include "support/FakeClaudeServer.h"
#include "support/TestEnvironment.h"

#include <QQmlApplicationEngine>

using TestEnvironment::waitUntil;

using WindowTest = WindowFixture;

TEST_F(WindowTest, SidebarRowsRouteTheDetailArea)
{
    open();
    // The virtual display's OpenGL is Mesa's processor driver, or none: the
    // window is drawn by the renderer that repaints only what changed.
    auto *quick = qobject_cast<QQuickWindow *>(window());
    ASSERT_NE(quick, nullptr);
    EXPECT_EQ(quick->rendererInterface()->graphicsApi(), QSGRendererInterface::Software);
    makeLibrary(m_model->store());
    m_model->indexing()->bumpRevision();
    m_model->pin(TestEnvironment::home() + "/Library");
    waitForOverview();
    ASSERT_TRUE(waitUntil([&] { return m_shell->library()->totalCount() > 0; }, 4000));
    EXPECT_EQ(screen(), "home");
    EXPECT_TRUE(item("homeSubtitle")->property("text").toString().endsWith("files across your computer"));
    capture("01-home");
    // Each kind's tile and the storage total say what the store counts.
    qint64 totalBytes = 0;
    for (const KindStat &stat : m_model->store().stats().kinds()) {
        QQuickItem *count = item("categoryCount:kind:" + fileKindRawValue(stat.kind));
        ASSERT_NE(count, nullptr) << fileKindRawValue(stat.kind).toStdString();
        const QString expected = stat.count == 0 ? QStringLiteral("No files yet")
                                                 : QStringLiteral("%1 item%2 · %3").arg(stat.count).arg(stat.count == 1 ? "" : "s").arg(Format::byteCount(stat.bytes));
        EXPECT_EQ(count->property("text").toString(), expected);
        totalBytes += stat.bytes;
    }
    EXPECT_EQ(item("storageTotal")->property("text").toString(), Format::byteCount(totalBytes) + " indexed");

    // Each row, the screen it routes to, and what the listing counts.
    const struct
    {
        QString key;
        QString screen;
        QString subtitle;
    } rows[] = {
        {"recents", "listing", "items"},
        {"kind:image", "listing", "7 items"},
        {"kind:document", "listing", "4 items"},
        {"kind:audio", "listing", "0 items"},
        {"screenshots", "listing", "1 item"},
        {"largeFiles", "listing", "0 items"},
        {"folder:" + TestEnvironment::home() + "/Library", "listing", "items"},
        {"search", "search", ""},
        {"ask", "ask", ""},
        {"sources", "sources", ""},
        {"duplicates", "duplicates", ""},
        {"cleanup", "cleanup", ""},
        {"meetings", "meetings", ""},
        {"home", "home", ""},
    };
    int shot = 2;
    for (const auto &row : rows) {
        click("sidebar:" + row.key);
        EXPECT_EQ(m_model->selectionKey(), row.key);
        EXPECT_EQ(screen(), row.screen) << row.key.toStdString();
        if (row.screen == "listing") {
            auto *listing = item("listingScreen");
            ASSERT_NE(listing, nullptr);
            auto *browser = listing->property("model").value<QObject *>();
            ASSERT_NE(browser, nullptr);
            ASSERT_TRUE(waitUntil([&] { return !browser->property("loading").toBool(); }));
            EXPECT_TRUE(browser->property("countText").toString().startsWith(row.subtitle)
                        || row.subtitle == "items")
                << row.key.toStdString() << ": " << browser->property("countText").toString().toStdString();
        }
        const QString name = row.key.startsWith("folder:") ? QStringLiteral("pinned-folder") : QString(row.key).replace(':', '-');
        capture(QStringLiteral("%1-%2").arg(shot++, 2, 10, QChar('0')).arg(name));
    }

    // An empty listing says so in words.
    click("sidebar:kind:audio");
    ASSERT_TRUE(waitUntil([&] { return item("listingEmpty") && item("listingEmpty")->isVisible(); }));
    EXPECT_EQ(item("listingEmpty")->property("message").toString(), "No files match music.");
}

TEST_F(WindowTest, ShortcutsSelectScreensAndToggleTheViews)
{
    open();
    makeLibrary(m_model->store());
    waitForOverview();
    const struct
    {
        Qt::Key key;
        Qt::KeyboardModifiers modifiers;
        QString selection;
    } shortcuts[] = {
        {Qt::Key_F, Qt::ControlModifier, "search"},
        {Qt::Key_K, Qt::ControlModifier, "ask"},
        {Qt::Key_J, Qt::ControlModifier | Qt::ShiftModifier, "sources"},
        {Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier, "duplicates"},
        {Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier, "cleanup"},
        {Qt::Key_N, Qt::ControlModifier | Qt::ShiftModifier, "meetings"},
    };
    for (const auto &shortcut : shortcuts) {
        m_model->setSelectionKey("home");
        press(shortcut.key, shortcut.modifiers);
        EXPECT_EQ(m_model->selectionKey(), shortcut.selection);
    }
    // The search field took the focus it was asked to take.
    EXPECT_FALSE(m_model->focusSearchField());

    // Grid and list, and the inspector beside a listing.
    click("sidebar:kind:image");
    press(Qt::Key_2);
    EXPECT_EQ(m_settings->viewMode(), "list");
    ASSERT_TRUE(waitUntil([&] { return item("fileList") && item("fileList")->isVisible(); }));
    capture("20-images-list");
    press(Qt::Key_1);
    EXPECT_EQ(m_settings->viewMode(), "grid");
    EXPECT_TRUE(item("fileGrid")->isVisible());

    press(Qt::Key_I);
    EXPECT_TRUE(m_model->showInspector());
    EXPECT_TRUE(item("inspector")->isVisible());
    capture("21-inspector-empty");

    // A press on a tile selects it and the inspector shows it.
    QQuickItem *grid = item("fileGrid");
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier,
                      grid->mapToScene(QPointF(60, 60)).toPoint());
    ASSERT_TRUE(waitUntil([&] { return m_model->inspectedFile().has_value(); }));
    EXPECT_EQ(m_model->inspectedFile()->kind, FileKind::image);
    capture("22-inspector-file");
    press(Qt::Key_I);
    EXPECT_FALSE(m_model->showInspector());

    // The toast shows over the window.
    m_model->setToast(QStringLiteral("Moved 2 files to the Trash · 1.2 MB freed"));
    ASSERT_TRUE(waitUntil([&] { return item("toast")->opacity() == 1.0; }));
    capture("23-toast");
    m_model->setToast(std::nullopt);

    // Delete asks before anything moves; confirmed, the file goes to the
    // Trash and leaves the listing.
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, grid->mapToScene(QPointF(60, 60)).toPoint());
    const QString doomed = m_model->inspectedFile()->path;
    auto *images = grid->property("model").value<QObject *>();
    ASSERT_NE(images, nullptr);
    const qint64 imagesBefore = images->property("total").toLongLong();
    press(Qt::Key_Delete, Qt::NoModifier);
    ASSERT_TRUE(waitUntil([&] { return item("confirmButton") && item("confirmButton")->isVisible(); }));
    capture("23-trash-confirm");
    EXPECT_TRUE(QFile::exists(doomed));
    click("confirmButton");
    ASSERT_TRUE(waitUntil([&] { return !QFile::exists(doomed); }));
    EXPECT_TRUE(m_model->toastText().startsWith("Moved 1 file to the Trash")) << m_model->toastText().toStdString();
    ASSERT_TRUE(waitUntil([&] { return images->property("total").toLongLong() == imagesBefore - 1; }));

    // The preview window opens on a double press and closes with Escape.
    QTest::mouseDClick(window(), Qt::LeftButton, Qt::NoModifier, grid->mapToScene(QPointF(60, 60)).toPoint());
    ASSERT_TRUE(waitUntil([&] { return m_model->previewURL().has_value(); }));
    auto *preview = m_shell->engine().rootObjects().first()->findChild<QQuickWindow *>("previewWindow");
    ASSERT_NE(preview, nullptr);
    ASSERT_TRUE(waitUntil([&] { return preview->isVisible(); }));
    EXPECT_GT(m_model->previewURLs().size(), 1);
    capture("24-preview-image", preview);
}

TEST_F(WindowTest, PreviewShowsPdfPagesAndText)
{
    open();
    const QList<FileRecord> files = makeLibrary(m_model->store());
    auto *preview = m_shell->engine().rootObjects().first()->findChild<QQuickWindow *>("previewWindow");
    ASSERT_NE(preview, nullptr);
    for (const FileRecord &file : files) {
        if (file.name != "Lease agreement.pdf" && file.name != "Shopping list.txt" && file.name != "Broken.pdf")
            continue;
        m_model->preview(file);
        ASSERT_TRUE(waitUntil([&] { return preview->isVisible(); }));
        EXPECT_EQ(preview->title(), file.name);
        ASSERT_TRUE(QTest::qWaitForWindowActive(preview));
        capture("25-preview-" + QString(file.name).replace(' ', '-').toLower(), preview);
        QTest::keyClick(preview, Qt::Key_Escape);
        ASSERT_TRUE(waitUntil([&] { return !m_model->previewURL().has_value(); }));
    }
}

TEST_F(WindowTest, DarkSchemeAndALibraryThatCannotOpen)
{
    qputenv("LARDER_COLOR_SCHEME", "dark");
    open();
    makeLibrary(m_model->store());
    m_model->indexing()->bumpRevision();
    waitForOverview();
    ASSERT_TRUE(waitUntil([&] { return m_shell->library()->totalCount() > 0; }, 4000));
    capture("30-home-dark");
    click("sidebar:kind:image");
    capture("31-images-dark");
    m_model->setShowInspector(true);
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, item("fileGrid")->mapToScene(QPointF(60, 60)).toPoint());
    capture("33-inspector-dark");
    m_model->setSelectionKey("sources");
    ASSERT_TRUE(waitUntil([&] { return item("sourceTile:gmail") != nullptr; }));
    capture("34-downloaded-from-dark");
    press(Qt::Key_F);
    typeSearch("lease");
    ASSERT_TRUE(waitUntil([&] { return !hitNames("others").isEmpty(); }));
    capture("35-search-dark");
    m_shell.reset();
    m_model.reset();
    qunsetenv("LARDER_COLOR_SCHEME");

    // Not a test host: the library file is read, and it is not a library.
    qunsetenv("LARDER_TEST_HOST");
    const QString path = TestEnvironment::makeFolder("broken-library") + "/Library.sqlite";
    TestEnvironment::writeFile(path, "this is a shopping list, not a library\n");
    open({"-LarderDatabase", path});
    waitForOverview();
    const QString toast = item("toastText")->property("text").toString();
    EXPECT_TRUE(toast.startsWith("Couldn't open the library database: ")) << toast.toStdString();
    EXPECT_EQ(m_shell->library()->totalCount(), 0);
    capture("32-library-failed");
}

// Requests typed into the search field: local results and chips as the user
// types, a removed chip widening the results, nothing found without a key,
// Claude's picks with their reasons, and a failed Claude step that keeps the
// local results. Then the downloads by source and one source's files.
TEST_F(WindowTest, SearchScreenAndDownloadedFrom)
{
    FakeClaudeServer server;
    qputenv("LARDER_ANTHROPIC_BASE_URL", server.baseURL().toUtf8());
    open();
    const QList<FileRecord> files = makeLibrary(m_model->store());
    for (const FileRecord &file : files) {
        if (file.name == "Shopping list.txt")
            m_model->store().textQueue().setText(file, {"Flour, rice, lentils and olive oil for the week."});
    }
    m_model->indexing()->bumpRevision();
    waitForOverview();
    ASSERT_TRUE(waitUntil([&] { return m_shell->library()->sources().size() >= 3; }, 4000));
    SearchModel *search = m_model->search();
    const auto settled = [&] {
        return waitUntil([&] {
            const auto phase = search->phase();
            return phase == SearchModel::Phase::done || phase == SearchModel::Phase::failed;
        });
    };

    press(Qt::Key_F);
    EXPECT_EQ(screen(), "search");
    ASSERT_TRUE(waitUntil([&] { return item("searchField") && item("searchField")->hasActiveFocus(); }));
    capture("40-search-empty");

    // Each request, the chips it shows, and what it finds, by name.
    const struct
    {
        QString text;
        QStringList chips;
        QStringList found;
    } requests[] = {
        {"images from whatsapp", {"Images", "From WhatsApp"}, {"Holiday 1.jpg", "Holiday 2.jpg"}},
        {"lease", {"“lease”"}, {"Lease agreement.pdf"}},
        {"zebra crossing", {"“zebra”", "“crossing”"}, {}},
    };
    for (const auto &request : requests) {
        typeSearch(request.text);
        ASSERT_TRUE(settled());
        QStringList chips;
        for (const FilterChip &chip : search->chips())
            chips.append(chip.label);
        EXPECT_EQ(chips, request.chips) << request.text.toStdString();
        QStringList found = hitNames("others");
        found.sort();
        EXPECT_EQ(found, request.found) << request.text.toStdString();
        EXPECT_EQ(item("searchNothingFound")->isVisible(), request.found.isEmpty());
    }
    // The matched words of a snippet are emphasised, never shown raw.
    typeSearch("lentils");
    ASSERT_TRUE(settled());
    // The list lays out its new rows with the next frame.
    ASSERT_TRUE(waitUntil([&] { return item("otherResult:0") != nullptr; }));
    QStringList shown;
    for (QQuickItem *child : item("otherResult:0")->findChildren<QQuickItem *>()) {
        if (child->isVisible() && child->inherits("QQuickText"))
            shown.append(child->property("text").toString());
    }
    EXPECT_TRUE(shown.join('\n').contains("<b>lentils</b>")) << shown.join('\n').toStdString();
    EXPECT_FALSE(shown.join('\n').contains("⟦")) << shown.join('\n').toStdString();
    capture("41-search-snippet");

    // A misspelt word finds nothing; the library's own word is one press away.
    typeSearch("lentls");
    ASSERT_TRUE(settled());
    ASSERT_TRUE(waitUntil([&] { return item("searchSuggestion")->isVisible(); }));
    EXPECT_EQ(item("searchSuggestion")->property("text").toString(), "Did you mean “lentils”?");
    capture("48-search-did-you-mean");
    click("searchSuggestion");
    EXPECT_EQ(search->text(), "lentils");
    ASSERT_TRUE(waitUntil([&] { return hitNames("others") == QStringList{"Shopping list.txt"}; }));
    EXPECT_FALSE(item("searchSuggestion")->isVisible());

    // Without a key, nothing found points to Settings.
    typeSearch("zebra crossing");
    ASSERT_TRUE(settled());
    EXPECT_EQ(item("searchNothingFound")->property("message").toString(),
              "Try other words, or add a Claude API key in Settings for smarter search.");
    capture("42-search-nothing-no-key");

    // Removing the source's chip widens the request to every image.
    typeSearch("images from whatsapp");
    ASSERT_TRUE(settled());
    capture("43-search-chips");
    QQuickItem *remove = find(item("searchChip:1"), "chipRemove");
    ASSERT_NE(remove, nullptr);
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier,
                      remove->mapToScene(QPointF(remove->width() / 2, remove->height() / 2)).toPoint());
    ASSERT_TRUE(waitUntil([&] { return hitNames("others").size() == 7; }));
    EXPECT_EQ(search->chips().size(), 1);
    EXPECT_EQ(search->text(), "images from whatsapp");

    // With a key, Return asks Claude: its pick comes first with its reason,
    // and the matched words of the rest are emphasised, never raw.
    m_model->setAPIKey(QStringLiteral("sk-test"));
    qint64 leaseID = -1;
    for (const FileRecord &file : files) {
        if (file.name == "Lease agreement.pdf")
            leaseID = file.id;
    }
    server.enqueue(FakeReply::message(R"({"keywords":["lease"],"related_terms":["tenancy"],"summary":"The lease of the flat"})"));
    server.enqueue(FakeReply::message(QStringLiteral(R"({"matches":[{"id":%1,"relevance":0.9,"reason":"The signed lease for the flat"}]})").arg(leaseID)));
    typeSearch("the lease agreement");
    press(Qt::Key_Return, Qt::NoModifier);
    ASSERT_TRUE(waitUntil([&] { return !search->ranked().isEmpty() && search->phase() == SearchModel::Phase::done; }, 8000))
        << search->failureText().toStdString();
    EXPECT_EQ(hitNames("ranked"), QStringList{"Lease agreement.pdf"});
    ASSERT_NE(item("bestMatch:0"), nullptr);
    EXPECT_EQ(item("bestMatch:0")->property("reason").toString(), "The signed lease for the flat");
    EXPECT_TRUE(item("bestMatchesHeading")->isVisible());
    EXPECT_EQ(item("searchStatus")->property("text").toString(), "Ranked by Claude");
    EXPECT_EQ(item("searchSummary")->property("text").toString(), "The lease of the flat");
    capture("44-search-best-matches");
    // Choosing a row shows its file in the inspector.
    click("bestMatch:0");
    ASSERT_TRUE(m_model->inspectedFile().has_value());
    EXPECT_EQ(m_model->inspectedFile()->id, leaseID);
    // A keystroke drops the picks at once.
    QTest::keyClick(window(), Qt::Key_S);
    EXPECT_FALSE(item("bestMatchesHeading")->isVisible());

    // A failed Claude step says why and keeps the local results.
    server.enqueue(FakeReply::error(400, "invalid_request_error", "The request was refused"));
    typeSearch("lease agreement pdf");
    press(Qt::Key_Return, Qt::NoModifier);
    ASSERT_TRUE(waitUntil([&] { return search->phase() == SearchModel::Phase::failed; }, 8000));
    ASSERT_TRUE(waitUntil([&] { return hitNames("others").contains("Lease agreement.pdf"); }));
    EXPECT_TRUE(hitNames("ranked").isEmpty());
    EXPECT_FALSE(item("bestMatchesHeading")->isVisible());
    EXPECT_EQ(item("searchStatus")->property("text").toString(), search->failureText());
    EXPECT_TRUE(item("retrySearch")->isVisible());
    capture("45-search-claude-failed");
    // Retry runs the Claude step again.
    server.enqueue(FakeReply::message(R"({"keywords":["lease"],"summary":"The lease as a PDF"})"));
    server.enqueue(FakeReply::message(QStringLiteral(R"({"matches":[{"id":%1,"relevance":0.8,"reason":"The lease itself"}]})").arg(leaseID)));
    click("retrySearch");
    ASSERT_TRUE(waitUntil([&] { return hitNames("ranked") == QStringList{"Lease agreement.pdf"}; }, 8000));
    EXPECT_FALSE(item("retrySearch")->isVisible());

    // Home's field leads here with the request filled in.
    click("sidebar:home");
    click("homeSearchField");
    typeKeys("shopping");
    press(Qt::Key_Return, Qt::NoModifier);
    EXPECT_EQ(screen(), "search");
    EXPECT_EQ(search->text(), "shopping");
    ASSERT_TRUE(waitUntil([&] { return hitNames("others") == QStringList{"Shopping list.txt"}; }));

    m_model->setSelectionKey("sources");
    ASSERT_TRUE(waitUntil([&] { return item("sourceTile:gmail") != nullptr; }));
    capture("46-downloaded-from");
    click("sourceTile:gmail");
    EXPECT_EQ(m_model->selectedSourceText(), "gmail");
    auto *listing = item("listingScreen");
    ASSERT_NE(listing, nullptr);
    auto *browser = listing->property("model").value<QObject *>();
    ASSERT_TRUE(browser && waitUntil([&] { return !browser->property("loading").toBool(); }));
    EXPECT_TRUE(browser->property("countText").toString().startsWith("2 items")) << browser->property("countText").toString().toStdString();
    capture("47-downloaded-from-gmail");
    click("sourceBack");
    EXPECT_EQ(m_model->selectedSourceText(), QString());
    EXPECT_TRUE(item("sourceGrid")->isVisible());
}
