#include "player/review/Markers.h"

#include "player/review/MarkerFile.h"
#include "player/review/MarkerStore.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include <sys/stat.h>

namespace {

using Kind = MarkerRow::Kind;

QVector<MarkerRow> SomeRows()
{
    return {{Kind::In, 2400000, 60, "00:00:02:10", {}},
            {Kind::Out, 2760000, 69, "00:00:02:19", {}},
            {Kind::Marker, 5480000, 137, "00:00:05:12", "a, \"b\"\nc – ü"},
            {Kind::Marker, 5480001, {}, {}, "two\nlines"}};
}

void ExpectSame(QVector<MarkerRow> const& read, QVector<MarkerRow> const& written)
{
    ASSERT_EQ(read.size(), written.size());
    for (int i = 0; i < read.size(); ++i) {
        EXPECT_EQ(read[i].kind, written[i].kind);
        EXPECT_EQ(read[i].time, written[i].time);
        EXPECT_EQ(read[i].number, written[i].number);
        EXPECT_EQ(read[i].timecode, written[i].timecode);
        EXPECT_EQ(read[i].note, written[i].note);
    }
}

std::vector<long long> TimesOf(Markers const& markers)
{
    std::vector<long long> times;
    for (Marker const& marker : markers.GetAll())
        times.push_back(marker.time);
    return times;
}

} // namespace

TEST(MarkersTest, StandInTheOrderOfTheirTimes)
{
    Markers markers;
    for (long long const time : {80, -20, 40, 80})
        EXPECT_TRUE(markers.Set(time, QString::number(time)));
    EXPECT_EQ(TimesOf(markers), (std::vector<long long>{-20, 40, 80}));
    EXPECT_EQ(markers.Before(40)->time, -20);
    EXPECT_EQ(markers.From(41)->time, 80);
    EXPECT_FALSE(markers.Before(-20));
    EXPECT_FALSE(markers.From(81));
    EXPECT_EQ(markers.FindIn(40, 41)->note, "40");
    EXPECT_FALSE(markers.FindIn(41, 80));
    EXPECT_TRUE(markers.RemoveIn(30, 41));
    EXPECT_FALSE(markers.RemoveIn(30, 41));
    EXPECT_EQ(TimesOf(markers), (std::vector<long long>{-20, 80}));
}

TEST(MarkersTest, AreBoundedInNumberAndLengthOfTheirNotes)
{
    Markers markers;
    for (int i = 0; i < 10000; ++i)
        ASSERT_TRUE(markers.Set(i, {}));
    EXPECT_FALSE(markers.Set(10000, {}));
    EXPECT_TRUE(markers.Set(9999, QString(5000, 'x')));
    EXPECT_EQ(markers.GetAll().last().note.size(), 1000);
    EXPECT_TRUE(markers.Set(3, "two\nlines\t "));
    EXPECT_EQ(markers.GetAll()[3].note, "two lines");
}

TEST(MarkerFileTest, WritesCsvByRfc4180)
{
    EXPECT_EQ(MarkerFile::ToCsv(SomeRows()).toStdString(), "kind,time,number,timecode,note\r\n"
                                                           "in,2.400000,60,00:00:02:10,\r\n"
                                                           "out,2.760000,69,00:00:02:19,\r\n"
                                                           "marker,5.480000,137,00:00:05:12,\"a, \"\"b\"\"\nc – ü\"\r\n"
                                                           "marker,5.480001,,,\"two\nlines\"\r\n");
    ExpectSame(MarkerFile::FromCsv(MarkerFile::ToCsv(SomeRows())).rows, SomeRows());
}

TEST(MarkerFileTest, WritesOneJsonObject)
{
    QJsonObject const object = QJsonDocument::fromJson(MarkerFile::ToJson(SomeRows(), "demo.mp4")).object();
    EXPECT_EQ(object["file"], "demo.mp4");
    EXPECT_EQ(object["schema"], 1);
    EXPECT_EQ(object["in"].toObject()["time"], "2.400000");
    EXPECT_EQ(object["out"].toObject()["number"], 69);
    QJsonObject const marker = object["markers"].toArray()[0].toObject();
    EXPECT_EQ(marker["timecode"], "00:00:05:12");
    EXPECT_EQ(marker["note"], "a, \"b\"\nc – ü");
    MarkerFile::Content const content = MarkerFile::FromJson(MarkerFile::ToJson(SomeRows(), "demo.mp4"));
    ExpectSame(content.rows, SomeRows());
    EXPECT_EQ(content.movie, "demo.mp4");
}

TEST(MarkerFileTest, ReadsTablesThatOtherProgramsWrite)
{
    MarkerFile::Content const content =
        MarkerFile::FromCsv("\xEF\xBB\xBF"
                            "Note, Timecode ,colour\n\"x\",01:00:00:05,red\n\ny,,\nz,01:00:00:06\n");
    ExpectSame(content.rows, {{Kind::Marker, {}, {}, "01:00:00:05", "x"}, {Kind::Marker, {}, {}, "01:00:00:06", "z"}});
    EXPECT_EQ(content.unreadable, 1);
    ExpectSame(MarkerFile::FromCsv("number\r\n#12\r\n13").rows,
               {{Kind::Marker, {}, 12, {}, {}}, {Kind::Marker, {}, 13, {}, {}}});
    ExpectSame(MarkerFile::FromJson("{\"markers\":[{\"time\":1.5},{\"number\":\"7\"}]}").rows,
               {{Kind::Marker, 1500000, {}, {}, {}}, {Kind::Marker, {}, 7, {}, {}}});
}

TEST(MarkerFileTest, RefusesWhatHoldsNoMarkers)
{
    EXPECT_FALSE(MarkerFile::FromCsv("").fault.isEmpty());
    EXPECT_FALSE(MarkerFile::FromCsv("a,b,c\n1,2,3\n").fault.isEmpty());
    EXPECT_FALSE(MarkerFile::FromCsv("time,note\n1,\"open\n2,x\n").fault.isEmpty());
    EXPECT_TRUE(MarkerFile::FromCsv("time,note\n1,\"open\n2,x\n").rows.isEmpty());
    EXPECT_FALSE(MarkerFile::FromCsv("time,note\n1,\"a\"b\n").fault.isEmpty());
    EXPECT_FALSE(MarkerFile::FromJson("").fault.isEmpty());
    EXPECT_FALSE(MarkerFile::FromJson("[]").fault.isEmpty());
    EXPECT_FALSE(MarkerFile::FromJson("{\"markers\":{}}").fault.isEmpty());
    EXPECT_FALSE(MarkerFile::FromJson(QByteArray(100000, '[')).fault.isEmpty());
    EXPECT_FALSE(MarkerFile::Read("/no/such.csv").fault.isEmpty());
    EXPECT_FALSE(MarkerFile::Read("/").fault.isEmpty());
}

TEST(MarkerFileTest, RefusesWhatIsTooLargeOrNoFileWithoutReadingIt)
{
    QTemporaryDir const folder;
    QFile large(folder.filePath("large.csv"));
    ASSERT_TRUE(large.open(QIODevice::WriteOnly));
    large.write("time\n1.0\n");
    ASSERT_TRUE(large.resize(2LL << 30)); // takes no room on the disk
    EXPECT_EQ(MarkerFile::Read(large.fileName()).fault, "it is larger than 16 MiB.");
    QString const pipe = folder.filePath("pipe.csv"); // nobody ever writes into it
    ASSERT_EQ(mkfifo(QFile::encodeName(pipe).constData(), 0600), 0);
    EXPECT_EQ(MarkerFile::Read(pipe).fault, "it is no file.");
    EXPECT_EQ(MarkerFile::Read(folder.path()).fault, "it is no file.");
    EXPECT_EQ(MarkerFile::Read(folder.filePath("absent.csv")).fault, "it is no file.");
}

TEST(MarkerFileTest, KeepsNoMoreColumnsThanAnyTableHas)
{
    QByteArray const commas(4 * 1024 * 1024, ',');
    EXPECT_EQ(MarkerFile::FromCsv(commas + "time\n1").fault,
              "its first line has no column \"time\", \"number\" or \"timecode\".");
    MarkerFile::Content const content = MarkerFile::FromCsv("time" + commas + "\n2.5" + commas);
    ASSERT_EQ(content.rows.size(), 1);
    EXPECT_EQ(content.rows[0].time, 2500000);
}

TEST(MarkerFileTest, PassesOverWhatNamesNoPicture)
{
    MarkerFile::Content const content = MarkerFile::FromJson(
        "{\"markers\":[1,null,{},{\"time\":1e300},{\"time\":\"x\"},{\"number\":-3},{\"number\":1e17},{\"time\":2}]}");
    EXPECT_EQ(content.unreadable, 7);
    ExpectSame(content.rows, {{Kind::Marker, 2000000, {}, {}, {}}});
    QByteArray many = "time\n";
    for (int i = 0; i < 10010; ++i)
        many += QByteArray::number(i) + '\n';
    EXPECT_EQ(MarkerFile::FromCsv(many).rows.size(), 10002);
    EXPECT_EQ(MarkerFile::FromCsv(many).unreadable, 8);
}

TEST(MarkerFileTest, SurvivesDamage)
{
    std::mt19937 random(7);
    for (QByteArray const& whole : {MarkerFile::ToCsv(SomeRows()), MarkerFile::ToJson(SomeRows(), "demo.mp4")}) {
        for (int i = 0; i < 2000; ++i) {
            QByteArray bytes = whole.left(static_cast<int>(random() % (whole.size() + 1)));
            for (int changes = static_cast<int>(random() % 4); changes > 0 && !bytes.isEmpty(); --changes)
                bytes[static_cast<int>(random() % bytes.size())] = static_cast<char>(random());
            // A row of CSV takes a line behind the first one, a row of JSON an object.
            EXPECT_LE(MarkerFile::FromCsv(bytes).rows.size(), bytes.count('\n') + bytes.count('\r'));
            EXPECT_LE(MarkerFile::FromJson(bytes).rows.size(), bytes.count('{'));
        }
    }
}

TEST(MarkerStoreTest, KeepsTheMarkersOfEachFile)
{
    QTemporaryDir const home;
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    Markers markers;
    markers.Set(-5, "before");
    markers.Set(40000, "here");
    EXPECT_TRUE(MarkerStore::Save("/films/a.mov", markers));
    EXPECT_EQ(MarkerStore::Load("/films/a.mov").GetAll(), markers.GetAll());
    EXPECT_EQ(MarkerStore::Load("/films/../films/a.mov").GetAll(), markers.GetAll());
    EXPECT_TRUE(MarkerStore::Load("/films/b.mov").IsEmpty());
    EXPECT_TRUE(MarkerStore::Save("/films/a.mov", {}));
    EXPECT_TRUE(QDir(MarkerStore::Folder()).entryList(QDir::Files).isEmpty());
    EXPECT_TRUE(MarkerStore::Save("/films/b.mov", {}));
}

TEST(MarkerStoreTest, ForgetsTheOldestOfTooManyFiles)
{
    QTemporaryDir const home;
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    Markers markers;
    markers.Set(0, {});
    ASSERT_TRUE(QDir().mkpath(MarkerStore::Folder()));
    for (int i = 0; i < 502; ++i) {
        QFile older(QDir(MarkerStore::Folder()).filePath(QString("%1.json").arg(i)));
        ASSERT_TRUE(older.open(QIODevice::WriteOnly));
        ASSERT_TRUE(
            older.setFileTime(QDateTime::currentDateTime().addDays(i - 1000), QFileDevice::FileModificationTime));
    }
    ASSERT_TRUE(MarkerStore::Save("/films/a.mov", markers));
    EXPECT_EQ(QDir(MarkerStore::Folder()).entryList(QDir::Files).size(), 500);
    EXPECT_FALSE(MarkerStore::Load("/films/a.mov").IsEmpty());
    EXPECT_FALSE(QFile::exists(QDir(MarkerStore::Folder()).filePath("2.json")));
    EXPECT_TRUE(QFile::exists(QDir(MarkerStore::Folder()).filePath("3.json")));
}

TEST(MarkerStoreTest, SaysWhenItCannotWrite)
{
    QTemporaryDir const home;
    QFile blocking(home.filePath("tavolin"));
    ASSERT_TRUE(blocking.open(QIODevice::WriteOnly));
    qputenv("XDG_DATA_HOME", home.path().toUtf8());
    Markers markers;
    markers.Set(0, {});
    EXPECT_FALSE(MarkerStore::Save("/films/a.mov", markers));
    EXPECT_TRUE(MarkerStore::Load("/films/a.mov").IsEmpty());
}
