// What the window is told by the shell before anything is drawn: the
// sidebar's sections, what the preview can show, and thumbnail addresses
// that survive any file name.
#include "app/AppModel.h"
#include "core/Defaults.h"
#include "screens/FileItems.h"
#include "screens/Renderer.h"
#include "screens/Shell.h"
#include "screens/ThumbnailProvider.h"
#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"

#include <QQuickTextureFactory>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

QVariantList sectionTitles(const QVariantList &sections)
{
    QVariantList titles;
    for (const QVariant &section : sections)
        titles.append(section.toMap().value("title"));
    return titles;
}

} // namespace

TEST(Shell, ThePinnedSectionStandsOnlyWithPinsInTheirOrder)
{
    qputenv("LARDER_TEST_HOST", "1");
    QTemporaryDir dir;
    Defaults defaults(dir.path() + "/settings.json");
    AppSettings settings(defaults);
    AppModel model(settings);
    Shell shell(model);
    const QVariantList plain{"", "Library", "Smart Folders", "Tidy Up", "Notes"};
    EXPECT_EQ(sectionTitles(shell.sidebarSections()), plain);
    EXPECT_EQ(shell.sidebarSections().at(1).toMap().value("keys").toStringList().size(), 8) << "Recents and seven kinds";

    QSignalSpy changed(&shell, &Shell::sidebarSectionsChanged);
    model.pin("/srv/b");
    model.pin("/home/ada/a");
    const QVariantList sections = shell.sidebarSections();
    EXPECT_EQ(sectionTitles(sections), plain + QVariantList{"Pinned"});
    EXPECT_EQ(sections.last().toMap().value("keys").toStringList(), QStringList({"folder:/srv/b", "folder:/home/ada/a"}));
    EXPECT_EQ(shell.itemInfo("folder:/home/ada/a").value("title"), "a");
    EXPECT_TRUE(shell.itemInfo("nonsense").isEmpty());
    model.unpin("/srv/b");
    model.unpin("/home/ada/a");
    EXPECT_EQ(sectionTitles(shell.sidebarSections()), plain);
    EXPECT_EQ(changed.count(), 4);
    qunsetenv("LARDER_TEST_HOST");
}

TEST(Shell, ThePreviewShowsPicturesPdfsAndText)
{
    const QString folder = TestEnvironment::makeFolder("preview-kinds");
    const std::pair<QString, QString> cases[] = {
        {"photo.jpg", "image"}, {"scan.pdf", "pdf"}, {"notes.txt", "text"},
        {"script.sh", "text"}, {"archive.zip", "none"}, {"song.mp3", "none"},
    };
    for (const auto &[name, kind] : cases)
        EXPECT_EQ(Shell::previewKind(QUrl::fromLocalFile(folder + "/" + name)), kind) << name.toStdString();
}

// Only Mesa's processor drivers count as such: a graphics card whose name
// also mentions LLVM, or a virtual machine's card, keeps OpenGL.
TEST(Renderer, OnlyProcessorDriversAreDrawnInSoftware)
{
    const struct
    {
        const char *renderer;
        bool processorOnly;
    } cases[] = {
        {"llvmpipe (LLVM 15.0.6, 256 bits)", true},
        {"softpipe", true},
        {"Software Rasterizer", true},
        {"SWR (LLVM 11.0.1, 256 bits)", true},
        {"Mesa Intel(R) UHD Graphics 620 (KBL GT2)", false},
        {"AMD Radeon RX 580 Series (polaris10, LLVM 15.0.6, DRM 3.49, 6.1.0-13-amd64)", false},
        {"NVIDIA GeForce GTX 1080/PCIe/SSE2", false},
        {"virgl (Mesa Intel(R) Xe Graphics (TGL GT2))", false},
        {"SVGA3D; build: RELEASE; LLVM;", false},
        {"", false},
    };
    for (const auto &c : cases)
        EXPECT_EQ(Renderer::isProcessorOnly(c.renderer), c.processorOnly) << c.renderer;
}

// The address a tile asks for, taken apart as the image loader does, names
// the same file, whatever its name holds.
TEST(ThumbnailProvider, AddressesNameTheFileWhateverItsName)
{
    const QString folder = TestEnvironment::makeFolder("awkward [names];");
    ThumbnailProvider provider;
    for (const QString name : {"plain.png", "a [1];b.png", "50% off #2?.png", "a%20b.png", "ünï cødé & co.png"}) {
        const QString path = folder + "/" + name;
        DocumentFixtures::writeImage(path, QImage(40, 30, QImage::Format_RGB32));
        FileRecord record = DocumentFixtures::recordOf(path, FileKind::image);
        const QUrl source(FileItems::thumbnailSource(record));
        ASSERT_EQ(source.scheme(), "image");
        const QString id = source.toString(QUrl::RemoveScheme | QUrl::RemoveAuthority).mid(1);
        std::unique_ptr<QQuickImageResponse> response(provider.requestImageResponse(id, QSize(64, 64)));
        QSignalSpy finished(response.get(), &QQuickImageResponse::finished);
        ASSERT_TRUE(finished.wait(5000)) << name.toStdString();
        std::unique_ptr<QQuickTextureFactory> texture(response->textureFactory());
        EXPECT_EQ(texture->image().size(), QSize(40, 30)) << name.toStdString();
    }
}
