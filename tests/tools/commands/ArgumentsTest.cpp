#include "tools/commands/Arguments.h"
#include "tools/commands/Commands.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

Arguments Given(QStringList const& words)
{
    static std::vector<Option> const options = {
        Options::Output("PICTURE"),    {"width", "PIXELS", ""}, {"speed", "S", ""},
        {"loop", "yes|no", "", "yes"}, Options::from,           Options::to,
        Options::Colours(true),        Options::noToneMapping,  Options::stills};
    return Arguments("draw", options, words);
}

// What a command that reads all of this objects to.
QString FaultOf(QStringList const& words)
{
    Arguments arguments = Given(words);
    arguments.OnlyFile();
    arguments.Output({"png", "jpg", "ppm"});
    arguments.Number("width", 1, 9, 5);
    arguments.Range();
    arguments.Colours(true, false);
    return arguments.GetFault();
}

// Each path is the number of its own answer.
ExitCode AnswerTo(QStringList const& numbers)
{
    Arguments arguments = Given(numbers);
    return ForEachItem(arguments, [](MediaItem const& item) { return static_cast<ExitCode>(item.path.toInt()); });
}

} // namespace

TEST(ArgumentsTest, HoldFilesAndOptionsInAnyOrder)
{
    Arguments arguments = Given({"--width", "7", "a.mp4", "-o", "b.PNG", "--from=1.5", "--loop", "--colours=plain"});
    EXPECT_EQ(arguments.OnlyFile(), "a.mp4");
    EXPECT_EQ(arguments.Output({"png"}), "b.PNG");
    EXPECT_EQ(arguments.Number("width", 1, 9, 5), 7);
    EXPECT_EQ(arguments.Text("loop"), "yes");
    EXPECT_EQ(arguments.Range().from, 1500000);
    EXPECT_FALSE(arguments.Range().HasEnd());
    EXPECT_FALSE(arguments.Colours(true, true).followStream);
    EXPECT_TRUE(arguments.Colours(true, true).toneMapping);
    EXPECT_TRUE(arguments.Colours(true, true).exact);
    EXPECT_EQ(arguments.GetFault(), "");
}

TEST(ArgumentsTest, StandForTheUsualWhereNothingIsGiven)
{
    Arguments arguments = Given({"a.mp4"});
    EXPECT_EQ(arguments.Number("width", 1, 9, 5), 5);
    EXPECT_EQ(arguments.Decimal("speed", 1.0), 1.0);
    EXPECT_EQ(arguments.Time("from", -3), -3);
    EXPECT_FALSE(arguments.Range().HasBegin());
    EXPECT_TRUE(arguments.Colours(true, false).followStream);
    EXPECT_FALSE(arguments.Colours(false, false).followStream);
    EXPECT_FALSE(arguments.Has("loop"));
    EXPECT_FALSE(arguments.AreWrong());
}

TEST(ArgumentsTest, KeepTheFirstFault)
{
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png"}), "");
    EXPECT_EQ(FaultOf({"a.mp4", "b.mp4", "--width", "0"}), "draw takes one file");
    EXPECT_EQ(FaultOf({"-o", "a.png"}), "draw takes one file");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.gif"}), "draw needs -o with a name that ends in .png, .jpg or .ppm");
    EXPECT_EQ(FaultOf({"a.mp4"}), "draw needs -o with a name that ends in .png, .jpg or .ppm");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png", "--width", "10"}), "--width is a whole number from 1 to 9");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png", "--width", "1.5"}), "--width is a whole number from 1 to 9");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png", "--from", "-1"}), "\"-1\" is not a time");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png", "--to", "x"}), "\"x\" is not a time");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png", "--from", "2", "--to", "2"}), "--from must come before --to");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png", "--colours=odd"}), "--colours takes \"stream\" or \"plain\"");
    EXPECT_EQ(FaultOf({"a.mp4", "-o", "a.png", "--what"}), "Unknown option 'what'");
}

TEST(ArgumentsTest, TakeAnOutputByItsEnding)
{
    for (char const* name : {"a.png", "a.PNG", "a.jpg", "a.Jpg", "a.ppm", "a.b.png"})
        EXPECT_EQ(FaultOf({"a.mp4", "-o", name}), "") << name;
    for (char const* name : {"a", "png", "a.", "a.gif", "a.png.txt", ""})
        EXPECT_NE(FaultOf({"a.mp4", "-o", name}), "") << name;
}

TEST(ArgumentsTest, TellWhatIsNoDecimalNumber)
{
    EXPECT_EQ(Given({"--speed=-2.5"}).Decimal("speed", 1.0), -2.5);
    EXPECT_TRUE(std::isnan(Given({"--speed=x"}).Decimal("speed", 1.0)));
}

TEST(ArgumentsTest, LeaveWhatFollowsTwoDashesAsItIs)
{
    Arguments const arguments = Given({"--loop", "--", "--loop"});
    EXPECT_EQ(arguments.Files(), QStringList("--loop"));
    EXPECT_EQ(arguments.Text("loop"), "yes");
}

TEST(ForEachItemTest, OneFileAnswersForItself)
{
    EXPECT_EQ(AnswerTo({"0"}), ExitCode::Ok);
    EXPECT_EQ(AnswerTo({"3"}), ExitCode::CannotOpen);
    EXPECT_EQ(AnswerTo({"4"}), ExitCode::DecodingFailed);
}

TEST(ForEachItemTest, OneFailureAmongSeveralFilesMakesSomeFailed)
{
    EXPECT_EQ(AnswerTo({"0", "0"}), ExitCode::Ok);
    EXPECT_EQ(AnswerTo({"0", "3", "0"}), ExitCode::SomeInputsFailed);
    EXPECT_EQ(AnswerTo({"4", "4"}), ExitCode::SomeInputsFailed);
}

TEST(ForEachItemTest, TriesEveryFileWhateverCameBefore)
{
    Arguments arguments = Given({"a", "b", "c"});
    QStringList seen;
    ForEachItem(arguments, [&](MediaItem const& item) {
        seen << item.path;
        return ExitCode::CannotOpen;
    });
    EXPECT_EQ(seen, (QStringList{"a", "b", "c"}));
}

TEST(ForEachItemTest, NoFileIsWrongUsage)
{
    EXPECT_EQ(AnswerTo({}), ExitCode::Usage);
}
