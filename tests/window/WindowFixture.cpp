#include "WindowFixture.h"

#include "screens/LibraryModel.h"
#include "screens/SearchHitList.h"
#include "search/SearchModel.h"
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/LibraryBuilder.h"
#include "support/MediaFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QLinearGradient>
#include <QPainter>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QQuickStyle>

using TestEnvironment::waitUntil;

namespace {

QString screenshotFolder()
{
    const QString folder = qEnvironmentVariableIsEmpty("LARDER_SCREENSHOTS") ? QDir::currentPath() + "/screenshots"
                                                                            : qEnvironmentVariable("LARDER_SCREENSHOTS");
    QDir().mkpath(folder);
    return folder;
}

QImage gradient(QColor from, QColor to, QSize size)
{
    QImage image(size, QImage::Format_RGB32);
    QPainter painter(&image);
    QLinearGradient fill(0, 0, size.width(), size.height());
    fill.setColorAt(0, from);
    fill.setColorAt(1, to);
    painter.fillRect(image.rect(), fill);
    painter.setBrush(QColor(255, 255, 255, 120));
    painter.setPen(Qt::NoPen);
    painter.drawEllipse(QPoint(size.width() / 3, size.height() / 2), size.height() / 4, size.height() / 4);
    return image;
}

} // namespace

QList<FileRecord> makeLibrary(IndexStore &store)
{
    const QString root = TestEnvironment::makeFolder("Library");
    QList<FileRecord> records;
    const auto add = [&](const QString &name, FileKind kind, std::optional<QString> source = std::nullopt) {
        FileRecord record = DocumentFixtures::recordOf(root + "/" + name, kind);
        record.sourceID = source;
        record.isScreenshot = name.startsWith("Screenshot");
        records.append(record);
    };
    const QList<std::pair<QColor, QColor>> colours = {{"#ff9a5a", "#ff4f7b"}, {"#4fc3f7", "#3949ab"}, {"#81c784", "#00796b"},
                                                      {"#ffd54f", "#f57c00"}, {"#ba68c8", "#4527a0"}, {"#4dd0e1", "#00838f"}};
    for (int i = 0; i < colours.size(); ++i) {
        const QString name = QStringLiteral("Holiday %1.jpg").arg(i + 1);
        DocumentFixtures::writeImage(root + "/" + name, gradient(colours[i].first, colours[i].second, {640, 420}));
        add(name, FileKind::image, i < 2 ? std::optional<QString>("whatsapp") : std::nullopt);
    }
    DocumentFixtures::writeImage(root + "/Screenshot from 2026-11-20.png",
                                 DocumentFixtures::textImage({"Wi-Fi: Larder-Home", "Password: pantry-shelf-42"}));
    add("Screenshot from 2026-11-20.png", FileKind::image);
    DocumentFixtures::writeTextPdf(root + "/Lease agreement.pdf", {"Lease agreement", "The tenant agrees to pay the rent."});
    add("Lease agreement.pdf", FileKind::document, "gmail");
    DocumentFixtures::writeTextPdf(root + "/Electricity plan.pdf", {"Home electricity plan", "Green tariff"});
    add("Electricity plan.pdf", FileKind::document, "gmail");
    TestEnvironment::writeFile(root + "/Shopping list.txt", "Flour\nRice\nLentils\nOlive oil\n");
    add("Shopping list.txt", FileKind::document);
    TestEnvironment::writeFile(root + "/Broken.pdf", "%PDF-1.7 this is not really a PDF");
    add("Broken.pdf", FileKind::document);
    if (MediaFixtures::writeVideo(root + "/Birthday.mp4", 320, 240, 1))
        add("Birthday.mp4", FileKind::video, "web:videos.example");
    TestEnvironment::writeFile(root + "/Photos backup.zip", QByteArray(5000, 'z'));
    add("Photos backup.zip", FileKind::archive, "drive");
    TestEnvironment::writeFile(root + "/Tool.AppImage", QByteArray(3000, 'a'));
    add("Tool.AppImage", FileKind::app);
    return LibraryBuilder::add(store, records, root);
}


void WindowFixture::SetUpTestSuite()
{
    QQuickStyle::setStyle(QStringLiteral("Basic"));
}

void WindowFixture::SetUp()
{
    qputenv("LARDER_TEST_HOST", "1");
}

void WindowFixture::TearDown()
{
    m_shell.reset();
    m_model.reset();
    qunsetenv("LARDER_TEST_HOST");
    qunsetenv("LARDER_COLOR_SCHEME");
}

void WindowFixture::open(const QStringList &arguments)
{
    m_defaults = std::make_unique<Defaults>(TestEnvironment::home() + "/settings.json", arguments);
    m_settings = std::make_unique<AppSettings>(*m_defaults);
    m_model = std::make_unique<AppModel>(*m_settings);
    m_shell = std::make_unique<Shell>(*m_model);
    ASSERT_TRUE(m_shell->show());
    window()->resize(1240, 800);
    ASSERT_TRUE(QTest::qWaitForWindowExposed(window()));
    // Shortcuts go to the active window.
    window()->requestActivate();
    ASSERT_TRUE(QTest::qWaitForWindowActive(window()));
}

void WindowFixture::waitForOverview()
{
    ASSERT_TRUE(waitUntil([&] { return m_shell->library()->isLoaded(); }));
}

QQuickItem *WindowFixture::item(const QString &name) const
{
    QQuickItem *root = window()->contentItem();
    while (root->parentItem())
        root = root->parentItem();
    return find(root, name);
}

QQuickItem *WindowFixture::find(QQuickItem *under, const QString &name)
{
    for (QQuickItem *child : under->childItems()) {
        if (child->objectName() == name)
            return child;
        if (QQuickItem *found = find(child, name))
            return found;
    }
    return nullptr;
}

QString WindowFixture::screen() const
{
    QQuickItem *detail = item("detail");
    return detail ? detail->property("screen").toString() : QString();
}

void WindowFixture::click(const QString &name)
{
    QQuickItem *target = item(name);
    ASSERT_NE(target, nullptr) << name.toStdString();
    const QPointF centre = target->mapToScene(QPointF(target->width() / 2, target->height() / 2));
    QTest::mouseClick(window(), Qt::LeftButton, Qt::NoModifier, centre.toPoint());
}

void WindowFixture::typeKeys(const QString &text)
{
    for (const QChar letter : text)
        QTest::keyClick(window(), letter.toLatin1());
}

void WindowFixture::typeSearch(const QString &text)
{
    QQuickItem *field = item("searchField");
    ASSERT_NE(field, nullptr);
    ASSERT_TRUE(field->hasActiveFocus());
    QTest::keyClick(window(), Qt::Key_A, Qt::ControlModifier);
    QTest::keyClick(window(), Qt::Key_Backspace);
    typeKeys(text);
    EXPECT_EQ(m_model->search()->text(), text);
}

QStringList WindowFixture::hitNames(const char *list) const
{
    QStringList names;
    auto *results = m_shell->engine().rootContext()->contextProperty("searchResults").value<QObject *>();
    const auto *rows = results->property(list).value<SearchHitList *>();
    for (const FileHit &hit : rows->hits())
        names.append(hit.file.name);
    return names;
}

void WindowFixture::press(Qt::Key key, Qt::KeyboardModifiers modifiers)
{
    QTest::keyClick(window(), key, modifiers);
}

void WindowFixture::capture(const QString &name, QWindow *which)
{
    QTest::qWait(250); // animations and thumbnails settle for the picture
    auto *quick = qobject_cast<QQuickWindow *>(which ? which : window());
    const QImage image = quick->grabWindow();
    ASSERT_FALSE(image.isNull());
    EXPECT_TRUE(image.save(screenshotFolder() + "/" + name + ".png")) << name.toStdString();
}
