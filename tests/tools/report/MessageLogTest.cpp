#include "tools/report/MessageLog.h"

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
