#include "tools/report/MessageLog.h"

#include <QDir>

#include <gtest/gtest.h>

namespace {

std::string Shown(std::function<void(MessageLog& log)> const& work)
{
    testing::internal::CaptureStderr();
    {
        MessageLog log;
        work(log);
    }
    return testing::internal::GetCapturedStderr();
}

} // namespace

TEST(MessageLogTest, ShowsMessagesWithTheirSource)
{
    EXPECT_EQ(Shown([](MessageLog& log) {
                  log.BeginSource("a.mp4");
                  Logger::GetInstance().Error("No.");
                  Logger::GetInstance().Info(QStringLiteral("Note."));
                  log.EndSource();
                  Logger::GetInstance().Error("Late.");
              }),
              "tavolin: a.mp4: No.\ntavolin: a.mp4: Note.\ntavolin: Late.\n");
}

// The library names files by their absolute path, by their name, or by what it was given.
TEST(MessageLogTest, NamesTheSourceOnceInEachMessage)
{
    auto const shown = [](QString const& source, QString const& message) {
        return Shown([&](MessageLog& log) {
            log.BeginSource(source);
            Logger::GetInstance().Info(message);
        });
    };
    QString const absolute = QDir::current().absoluteFilePath("clips/a.mp4");
    EXPECT_EQ(shown("clips/a.mp4", "File not found: " + absolute), "tavolin: File not found: clips/a.mp4\n");
    EXPECT_EQ(shown("clips/a.mp4", "\"clips/a.mp4\" is empty."), "tavolin: \"clips/a.mp4\" is empty.\n");
    EXPECT_EQ(shown("clips/a.mp4", "Nothing in \"a.mp4\""), "tavolin: Nothing in \"clips/a.mp4\"\n");
    EXPECT_EQ(shown("clips/a.mp4", "Too early: a.mp4 (-4)"), "tavolin: Too early: clips/a.mp4 (-4)\n");
    EXPECT_EQ(shown("a", "A packet."), "tavolin: a: A packet.\n");
    EXPECT_EQ(shown("video", "No video."), "tavolin: video: No video.\n");
}

TEST(MessageLogTest, SaysCodesInWords)
{
    EXPECT_EQ(Shown([](MessageLog&) { Logger::GetInstance().Error("No.", -2); }),
              "tavolin: No. (No such file or directory)\n");
}

TEST(MessageLogTest, CountsRepetitionsInsteadOfShowingThem)
{
    EXPECT_EQ(Shown([](MessageLog& log) {
                  log.BeginSource("a");
                  for (int i = 0; i < 1000; ++i)
                      Logger::GetInstance().Error("No.");
                  Logger::GetInstance().Error("Other.");
              }),
              "tavolin: a: No.\ntavolin: a: the last message came 999 times more\ntavolin: a: Other.\n");
}

TEST(MessageLogTest, SaysThatAMessageCameOnceMore)
{
    EXPECT_EQ(Shown([](MessageLog& log) {
                  log.BeginSource("a");
                  Logger::GetInstance().Error("No.");
                  Logger::GetInstance().Error("No.");
              }),
              "tavolin: a: No.\ntavolin: a: the last message came once more\n");
}

TEST(MessageLogTest, RemembersTheErrorsOfASourceButNoNotes)
{
    Shown([](MessageLog& log) {
        log.BeginSource("a");
        Logger::GetInstance().Error("First.", -5);
        Logger::GetInstance().Info(QStringLiteral("Note."));
        EXPECT_EQ(log.GetErrorCount(), 1);
        EXPECT_EQ(log.GetLastError(), "First.");
        EXPECT_EQ(log.GetLastErrorCode(), -5);
        log.BeginSource("b");
        EXPECT_EQ(log.GetErrorCount(), 0);
        EXPECT_EQ(log.GetLastError(), "");
    });
}
