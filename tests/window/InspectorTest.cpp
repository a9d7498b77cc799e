// The inspector beside a listing: a photo with its camera and where it was
// downloaded from, a document with the text found inside it and its copy
// button, and nothing of the camera for a file that has none.
#include "WindowFixture.h"

#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/LibraryBuilder.h"
#include "support/MediaFixtures.h"
#include "support/TestEnvironment.h"

#include <QClipboard>
#include <QGuiApplication>

using TestEnvironment::waitUntil;

using InspectorTest = WindowFixture;

TEST_F(InspectorTest, ShowsCameraSourceAndTextOfTheFile)
{
    const auto shownValue = [](QQuickItem *row) {
        QQuickItem *value = row ? find(row, "value") : nullptr;
        return value ? value->property("text").toString() : QString();
    };
    open();
    const QString root = TestEnvironment::makeFolder("Inspected");
    ASSERT_TRUE(MediaFixtures::writeCameraPhoto(root + "/Harbour at dusk.jpg", 1.0 / 250));
    FileRecord photo = DocumentFixtures::recordOf(root + "/Harbour at dusk.jpg", FileKind::image);
    photo.width = 600;
    photo.height = 400;
    photo.sourceID = QStringLiteral("gmail");
    photo.sourceURL = QStringLiteral("https://mail.google.com/mail/u/0/#inbox/abc");
    DocumentFixtures::writeTextPdf(root + "/Lease agreement.pdf", {"Lease agreement", "The tenant agrees to pay the rent."});
    FileRecord lease = DocumentFixtures::recordOf(root + "/Lease agreement.pdf", FileKind::document);
    const QList<FileRecord> stored = LibraryBuilder::add(m_model->store(), {photo, lease}, root);
    ASSERT_EQ(stored.size(), 2);
    // The document's text as the reader stores it.
    m_model->store().textQueue().setText(stored[1], {"Lease agreement. The tenant agrees to pay the rent on the first of each month."}, 1);
    const std::optional<FileRecord> read = m_model->store().files().record(stored[1].id);
    ASSERT_TRUE(read && read->textExcerpt);
    waitForOverview();

    click("sidebar:kind:image");
    m_model->setShowInspector(true);
    m_model->inspect(QVariant::fromValue(stored[0]));
    ASSERT_TRUE(waitUntil([&] { return item("inspectorRow:Camera") != nullptr; }));
    const struct
    {
        QString label;
        QString value;
    } rows[] = {
        {"Camera", "Canon EOS R6"},  {"Exposure", "1/250 s"}, {"Aperture", "ƒ/2.8"},
        {"Dimensions", "600 × 400"}, {"Where", "~/Inspected"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(shownValue(item("inspectorRow:" + row.label)), row.value) << row.label.toStdString();
    EXPECT_TRUE(item("inspectorSource")->isVisible());
    EXPECT_FALSE(item("inspectorText")->isVisible());
    capture("90-inspector-photo");

    // A document: its text and the copy button, and no camera.
    m_model->inspect(QVariant::fromValue(*read));
    ASSERT_TRUE(waitUntil([&] { return item("inspectorText") && item("inspectorText")->isVisible(); }));
    EXPECT_FALSE(item("inspectorCamera")->isVisible());
    EXPECT_FALSE(item("inspectorSource")->isVisible());
    EXPECT_EQ(shownValue(item("inspectorRow:Pages")), "1");
    EXPECT_EQ(item("inspectorText")->property("title").toString(), "Text in Document");
    QGuiApplication::clipboard()->clear();
    click("inspectorCopyText");
    ASSERT_TRUE(waitUntil([&] { return QGuiApplication::clipboard()->text().contains("The tenant agrees"); }));
    capture("91-inspector-document");
}
