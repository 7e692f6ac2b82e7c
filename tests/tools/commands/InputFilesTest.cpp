#include "tools/commands/InputFiles.h"

#include <gtest/gtest.h>

namespace {

// Each path is the number of its own answer.
ExitCode AnswerTo(QStringList const& numbers)
{
    return ForEachInput(numbers, [](QString const& number) { return static_cast<ExitCode>(number.toInt()); });
}

} // namespace

TEST(InputFilesTest, OneInputAnswersForItself)
{
    EXPECT_EQ(AnswerTo({"0"}), ExitCode::Ok);
    EXPECT_EQ(AnswerTo({"3"}), ExitCode::CannotOpen);
    EXPECT_EQ(AnswerTo({"4"}), ExitCode::DecodingFailed);
}

TEST(InputFilesTest, OneFailureAmongSeveralInputsMakesSomeFailed)
{
    EXPECT_EQ(AnswerTo({"0", "0"}), ExitCode::Ok);
    EXPECT_EQ(AnswerTo({"0", "3", "0"}), ExitCode::SomeInputsFailed);
    EXPECT_EQ(AnswerTo({"4", "4"}), ExitCode::SomeInputsFailed);
}

TEST(InputFilesTest, TriesEveryInputWhateverCameBefore)
{
    QStringList seen;
    ForEachInput({"a", "b", "c"}, [&](QString const& path) {
        seen << path;
        return ExitCode::CannotOpen;
    });
    EXPECT_EQ(seen, (QStringList{"a", "b", "c"}));
}

TEST(InputFilesTest, NoInputIsWrongUsage)
{
    EXPECT_EQ(AnswerTo({}), ExitCode::Usage);
}
