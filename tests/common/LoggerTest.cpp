#include "common/Logger.h"

#include "tests/support/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

TEST(LoggerTest, IsOneForTheProcess)
{
    EXPECT_EQ(&Logger::GetInstance(), &Logger::GetInstance());
}

TEST(LoggerTest, HandsEveryOverloadToTheSinkWithItsLevelAndCode)
{
    LogCapture log;
    Logger& logger = Logger::GetInstance();
    logger.Error("literal.");
    logger.Error("literal with code.", -22);
    logger.Error(QStringLiteral("text."));
    logger.Error(QStringLiteral("text with code."), -1);
    logger.Info(QStringLiteral("note."));
    EXPECT_EQ(log.Lines(),
              (std::vector<LogLine>{ErrorLine("literal."), ErrorLine("literal with code.", -22), ErrorLine("text."),
                                    ErrorLine("text with code.", -1), InfoLine("note.")}));
}

TEST(LoggerTest, ReadsLiteralsAsUtf8)
{
    LogCapture log;
    Logger::GetInstance().Error("Caf\xc3\xa9.");
    ASSERT_EQ(log.Lines().size(), 1u);
    EXPECT_EQ(log.Lines()[0].message, QString(QStringLiteral("Caf") + QChar(0xe9) + '.'));
}

TEST(LoggerTest, WritesOneLineAMessageToStandardErrorByDefault)
{
    testing::internal::CaptureStderr();
    Logger::GetInstance().Error("Plain.");
    Logger::GetInstance().Error("Coded.", -1094995529);
    Logger::GetInstance().Info(QStringLiteral("Noted."));
    std::string const written = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(written.begin(), written.end(), '\n'), 3);
    EXPECT_NE(written.find("Plain.\n"), std::string::npos) << written;
    EXPECT_NE(written.find("Coded. (-1094995529)\n"), std::string::npos) << written;
    EXPECT_NE(written.find("Noted.\n"), std::string::npos) << written;
}

TEST(LoggerTest, ReturnsToStandardErrorWithAnEmptySink)
{
    int messages = 0;
    Logger::GetInstance().SetSink([&](Logger::Level, QString const&, int) { ++messages; });
    Logger::GetInstance().Error("To the sink.");
    Logger::GetInstance().SetSink({});
    testing::internal::CaptureStderr();
    Logger::GetInstance().Error("To standard error.");
    EXPECT_NE(testing::internal::GetCapturedStderr().find("To standard error.\n"), std::string::npos);
    EXPECT_EQ(messages, 1);
}

TEST(LoggerTest, LosesNoMessageOfAnyThread)
{
    constexpr int threadCount = 4;
    constexpr int messagesEach = 200;
    LogCapture log;
    std::vector<std::thread> threads;
    for (int t = 0; t < threadCount; ++t) {
        threads.emplace_back([t] {
            for (int i = 0; i < messagesEach; ++i)
                Logger::GetInstance().Error(QString::number(t), i + 1);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::vector<int> last(threadCount, 0);
    auto const lines = log.Lines();
    ASSERT_EQ(lines.size(), 800u);
    for (LogLine const& line : lines) {
        int& previous = last[line.message.toUInt()];
        EXPECT_EQ(line.code, previous + 1);
        previous = line.code;
    }
}

TEST(LoggerTest, LetsASinkLogAndReplaceItself)
{
    std::vector<QString> first;
    std::vector<QString> second;
    Logger& logger = Logger::GetInstance();
    logger.SetSink([&](Logger::Level, QString const& message, int) {
        first.push_back(message);
        if (message == QLatin1String("outer"))
            logger.Error("inner");
        else
            logger.SetSink([&](Logger::Level, QString const& later, int) { second.push_back(later); });
    });
    logger.Error("outer");
    logger.Error("after");
    logger.SetSink({});
    EXPECT_EQ(first, (std::vector<QString>{"outer", "inner"}));
    EXPECT_EQ(second, (std::vector<QString>{"after"}));
}
