// What the inspector and the home page say of a file and of the hour: the
// greeting's boundaries, the rows of a file's details, and the camera read
// from the EXIF of photos as cameras and phones save them.
#include "screens/Greeting.h"
#include "screens/InspectorFacts.h"
#include "support/MediaFixtures.h"
#include "support/RecordFixtures.h"
#include "support/TestEnvironment.h"

#include <QFile>

#include <gtest/gtest.h>

namespace {

QStringList labels(const QVariantList &rows)
{
    QStringList result;
    for (const QVariant &row : rows)
        result.append(row.toMap().value("label").toString());
    return result;
}

QString value(const QVariantList &rows, const QString &label)
{
    for (const QVariant &row : rows) {
        if (row.toMap().value("label") == label)
            return row.toMap().value("value").toString();
    }
    return {};
}

} // namespace

TEST(Greeting, FollowsTheHourAndTheFirstName)
{
    const struct
    {
        int hour;
        QString fullName;
        QString greeting;
    } cases[] = {
        {4, "", "Good evening"},
        {5, "Ada Lovelace", "Good morning, Ada"},
        {11, "  Grace   Hopper ", "Good morning, Grace"},
        {12, "", "Good afternoon"},
        {17, "Alan", "Good afternoon, Alan"},
        {18, "", "Good evening"},
        {23, "", "Good evening"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(greetingText(c.hour, c.fullName), c.greeting) << c.hour;
}

TEST(InspectorFacts, DetailRowsLeaveOutWhatIsAbsent)
{
    FileRecord bare = RecordFixtures::file("/home/ada/Notes/todo.txt", 1200, 1.7e9);
    EXPECT_EQ(labels(InspectorFacts::detailRows(bare, "/home/ada")), (QStringList{"Size", "Modified", "Where"}));
    EXPECT_EQ(value(InspectorFacts::detailRows(bare, "/home/ada"), "Where"), "~/Notes");

    FileRecord video = RecordFixtures::file("/data/Clips/birthday.mp4", 5'000'000, 1.7e9, FileKind::video);
    video.width = 1920;
    video.height = 1080;
    video.duration = 125;
    video.created = 1.6e9;
    video.added = 1.7e9;
    video.opened = 1.71e9;
    video.pages = 0; // a count of nothing is left out
    const QVariantList rows = InspectorFacts::detailRows(video, "/home/ada");
    EXPECT_EQ(labels(rows), (QStringList{"Size", "Dimensions", "Duration", "Modified", "Created", "Added", "Last opened", "Where"}));
    EXPECT_EQ(value(rows, "Dimensions"), "1920 × 1080");
    EXPECT_EQ(value(rows, "Duration"), "2:05");
}

TEST(InspectorFacts, ExposureReadsAsAFractionBelowASecond)
{
    const struct
    {
        double seconds;
        QString text;
    } cases[] = {{0.004, "1/250 s"}, {1.0 / 3, "1/3 s"}, {0.6, "1/2 s"}, {1, "1.0 s"}, {2, "2.0 s"}, {2.5, "2.5 s"}};
    for (const auto &c : cases)
        EXPECT_EQ(InspectorFacts::exposureText(c.seconds), c.text) << c.seconds;
}

// The same camera through a JPEG's APP1 segment and through a HEIC's Exif
// item; files without camera data, damaged or of other kinds give nothing.
TEST(InspectorFacts, CameraComesFromThePhotosExif)
{
    const QString folder = TestEnvironment::makeFolder("Camera");
    for (const QString name : {"photo.jpg", "photo.heic"}) {
        const QString path = folder + "/" + name;
        ASSERT_TRUE(MediaFixtures::writeCameraPhoto(path, 2.0)) << name.toStdString();
        const std::optional<MediaFacts::Camera> camera = MediaFacts::camera(path);
        ASSERT_TRUE(camera) << name.toStdString();
        const QVariantList rows = InspectorFacts::cameraRows(*camera);
        EXPECT_EQ(labels(rows), (QStringList{"Camera", "Lens", "Focal length", "Aperture", "Exposure", "Sensitivity"}));
        EXPECT_EQ(value(rows, "Camera"), "Canon EOS R6");
        EXPECT_EQ(value(rows, "Lens"), "RF24-105mm F4 L IS USM");
        EXPECT_EQ(value(rows, "Focal length"), "50 mm");
        EXPECT_EQ(value(rows, "Aperture"), "ƒ/2.8");
        EXPECT_EQ(value(rows, "Exposure"), "2.0 s");
        EXPECT_EQ(value(rows, "Sensitivity"), "ISO 400");
    }

    ASSERT_TRUE(MediaFixtures::writeImage(folder + "/plain.jpg", 300, 200));
    QFile camera(folder + "/photo.jpg");
    ASSERT_TRUE(camera.open(QIODevice::ReadOnly));
    const QByteArray whole = camera.readAll();
    TestEnvironment::writeFile(folder + "/renamed.png", whole);
    for (const QString name : {"plain.jpg", "renamed.png", "missing.jpg"})
        EXPECT_FALSE(MediaFacts::camera(folder + "/" + name)) << name.toStdString();
    // Cut anywhere in its EXIF, a photo gives what is whole, or nothing
    // when the cut falls before the segment's data.
    for (qsizetype cut = 2; cut < 400; cut += 3) {
        TestEnvironment::writeFile(folder + "/cut.jpg", whole.left(cut));
        const std::optional<MediaFacts::Camera> camera = MediaFacts::camera(folder + "/cut.jpg");
        if (cut < 12) {
            EXPECT_FALSE(camera) << cut;
        }
    }
}
