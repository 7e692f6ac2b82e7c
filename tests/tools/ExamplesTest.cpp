#include "tests/support/Media.h"
#include "tests/tools/ToolMedia.h"
#include "tests/tools/ToolRun.h"

#include <gtest/gtest.h>

namespace {

QString SourceText(QString const& name)
{
    return QString::fromUtf8(ReadMedia(QStringLiteral(TAVOLIN_SOURCE_DIR "/") + name));
}

// The lines between the two marks, moved left by their common indent.
QString QuotedPart(QString const& source)
{
    QStringList lines = source.section("    // [loop]\n", 1, 1).split('\n');
    for (QString& line : lines)
        line = line.startsWith("    ") ? line.mid(4) : line;
    return lines.join('\n');
}

} // namespace

TEST(ExamplesTest, TheReadmeQuotesTheLoopAsItIsCompiled)
{
    QString const loop = QuotedPart(SourceText("examples/loop.cpp"));
    ASSERT_GT(loop.count('\n'), 15);
    EXPECT_TRUE(SourceText("README.md").contains("```cpp\n" + loop + "```\n"));
}

#ifdef TAVOLIN_EXAMPLE_LOOP
TEST(ExamplesTest, TheLoopShowsEveryPictureOnceInOrder)
{
    QString const path = Movie("movie.mp4", {"-c:v", "libx264", "-g", "50", "-bf", "3", "-c:a", "aac"});
    ToolRun const run = RunProgram(QStringLiteral(TAVOLIN_EXAMPLE_LOOP), {path});
    EXPECT_EQ(run.exitCode, 0);
    QStringList expected;
    for (long long time = 0; time < 3960000; time += 40000)
        expected << QStringLiteral("%1 to %2 us: 96 x 64").arg(time).arg(time + 39999);
    EXPECT_EQ(run.Lines().mid(0, 99), expected);
    EXPECT_EQ(run.Lines().size(), 100);
    EXPECT_TRUE(run.Lines().last().startsWith("3960000 to 4"));
}
#endif
