#include "tools/report/SoundCheck.h"

#include "decode/DecodedAudioFrame.h"
#include "source/Source.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Media.h"
#include "tests/support/Sessions.h"
#include "tests/tools/ToolMedia.h"

#include <gtest/gtest.h>

namespace {

struct Check
{
    explicit Check(QString const& path) : source(Source::OpenFile(path)), sound(source) {}

    // A packet of half a second.
    void Take(double second)
    {
        auto frame = std::make_shared<DecodedAudioFrame>();
        frame->sampleRate = 8000;
        frame->frameCount = 4000;
        frame->startTime = static_cast<long long>(second * 1e6);
        frame->endTime = frame->startTime + 499999;
        sound.TakePacket({frame});
    }

    QString Faults() const
    {
        QStringList texts;
        for (CheckFault const& fault : sound.GetFaults())
            texts << fault.text;
        return texts.join(QLatin1Char('\n'));
    }

    OutputChannels channels{8};
    LogCapture log;
    Source source;
    SoundCheck sound;
};

QString Wav()
{
    return MakeMedia("two.wav", Tone(8000, 1, 2.0));
}

} // namespace

TEST(SoundCheckTest, IsContentWithPacketsThatMeet)
{
    Check check(Wav());
    for (double const second : {0.0, 0.5, 1.0, 1.51, 2.0})
        check.Take(second);
    EXPECT_EQ(check.Faults(), "");
    EXPECT_EQ(check.sound.GetDuration(), 2500000);
    EXPECT_EQ(check.sound.GetEnd(), 2500000);
}

TEST(SoundCheckTest, FindsPacketsThatDoNotRise)
{
    Check check(Wav());
    for (double const second : {0.0, 0.5, 0.5, 0.2, 0.7})
        check.Take(second);
    EXPECT_EQ(check.Faults(), "2 packets of sound come at or before the time of the one before");
}

TEST(SoundCheckTest, FindsAHole)
{
    Check check(Wav());
    for (double const second : {0.0, 0.5, 2.0, 2.5})
        check.Take(second);
    EXPECT_EQ(check.Faults(), "1 hole in the sound, the first at 00:00:01.000");
}

TEST(SoundCheckTest, TakesManyHolesForSilenceLeftOut)
{
    Check check(Wav());
    for (double const second : {0.0, 2.0, 4.0, 6.0})
        check.Take(second);
    EXPECT_EQ(check.Faults(), "");
}

// The index of such a file tells how long each packet lasts.
TEST(SoundCheckTest, TakesAHoleInQuickTimeForMeant)
{
    Check check(MakeMedia("two.mov", Tone(8000, 1, 2.0)));
    for (double const second : {0.0, 0.5, 2.0, 2.5})
        check.Take(second);
    EXPECT_EQ(check.Faults(), "");
}

TEST(SoundCheckTest, FindsSoundThatIsNotThereBackwards)
{
    Check good(Wav());
    for (double const second : {0.0, 0.5, 1.0, 1.5})
        good.Take(second);
    good.sound.ReadBackwards();
    EXPECT_EQ(good.Faults(), "");
    good.Take(2.0); // of which the file knows nothing
    good.sound.ReadBackwards();
    EXPECT_EQ(good.Faults(), "sound that is there forwards is not found backwards, from 00:00:00.000 on");
}
