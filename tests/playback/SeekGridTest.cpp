#include "ClipTest.h"
#include "VirtualTime.h"
#include "tests/support/Patience.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"
#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "playback/PlaybackEngine.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <set>

// After a seek to any place in the stream, the pictures equal those of decoding from the beginning, in bytes and times.

namespace {

constexpr int fewTargets = 9;
constexpr size_t picturesAfterTarget = 6;

// Clips with wrong key flags, without times, or with damaged key pictures: a seeking session cannot be right, the
// engine can.
std::set<std::string> const engineOnly = {
    "damaged-h264.mp4",
    "damaged-mpeg2.ts",
    "raw.264",
    "all-key-hevc.mp4",
    "all-key-mpeg4.mp4",
    "real/asf-msmpeg4-avg-rate-0.wmv",
    "real/asf-two-video-streams-rate-0.asf",
    "real/h264-raw-size-change-352x288-640x480.264",
    "real/phone-h263-amr-vfr.3gp",
};

class SeekGridTest : public ClipTest
{
protected:
    std::vector<long long> Targets() const
    {
        long long const end = pictures.back().time + 20000;
        QByteArray const asked = qgetenv("TAVOLIN_SEEK_STEP_MS");
        long long const step = asked.isEmpty() ? end / fewTargets + 1 : asked.toLongLong() * 1000;
        std::vector<long long> targets;
        for (long long target = 0; target < end; target += std::max(step, 1LL))
            targets.push_back(target);
        // Not in order, so that each one needs a seek.
        std::vector<long long> shuffled;
        for (size_t i = 0; i < targets.size(); ++i)
            shuffled.push_back(targets[i * 7 % targets.size()]);
        return targets.size() % 7 == 0 ? targets : shuffled;
    }
};

TEST_P(SeekGridTest, TheEngineShowsThePicturesOfStraightDecoding)
{
    PlaybackOptions options = Reference::PlainOptions();
    options.withSound = false;
    auto time = std::make_shared<VirtualTime>();
    PlaybackEngine engine(options, time);
    engine.Open(path);
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    for (long long const target : Targets()) {
        engine.Seek(target);
        size_t index = IndexAt(target);
        size_t const last = std::min(index + picturesAfterTarget, pictures.size());
        for (; index < last; ++index) {
            ASSERT_TRUE(engine.WaitUntilReady(patience));
            auto const shown = engine.GetPicture();
            ASSERT_TRUE(shown) << "target " << target;
            EXPECT_EQ(shown->startTime, pictures[index].time) << "target " << target << ", picture " << index;
            EXPECT_TRUE(IsRight(*shown, index)) << "target " << target << ", picture " << index;
            engine.Step(1);
        }
        if (HasFailure())
            return;
    }
    if (Clips::IsWhole(GetParam())) {
        EXPECT_EQ(engine.GetStatus().damage, QVector<long long>());
    }
}

// The current packet's media time; beyond all pictures without a packet or a time.
static long long KeyTime(MediaInstance& session, long long start)
{
    constexpr auto limits = std::numeric_limits<long long>();
    long long const time = session.HasPacket() ? session.GetPacketTime() : limits.min();
    return time == limits.min() ? limits.max() : time - start;
}

// Compares from the session's key picture on: pictures shown before it may refer to undecoded ones.
TEST_P(SeekGridTest, ASessionDeliversThePicturesOfStraightDecoding)
{
    if (engineOnly.count(GetParam()) > 0)
        return;
    auto const info = std::make_shared<MediaInfo>(path);
    ASSERT_TRUE(MediaReader::ParseMedia(info));
    MediaInstance session;
    ASSERT_TRUE(session.Initialize(info, 0));
    ASSERT_TRUE(session.HasPacket());
    long long const start = info->GetStartTime();
    std::map<long long, size_t> indexOf;
    for (size_t i = 0; i < pictures.size(); ++i)
        indexOf[pictures[i].time] = i;
    int compared = 0;
    for (long long const target : Targets()) {
        session.Seek(target == 0 ? 0 : target + start);
        while (session.HasPacket() && !session.IsEndOfFile() && !(session.IsVideoPacket() && session.IsKeyPacket()))
            session.PrepareNextPacket(false);
        long long const keyTime = KeyTime(session, start);
        QList<std::shared_ptr<DecodedAudioFrame>> sounds;
        QList<std::shared_ptr<DecodedVideoFrame>> records;
        size_t delivered = 0;
        size_t previous = 0;
        for (int drains = 0; drains < 100 && delivered < picturesAfterTarget;) {
            if (!session.HasPacket()) {
                session.PrepareNextPacket(true);
                ++drains;
            }
            session.DecodePacket(sounds, records, target);
            for (auto const& record : records) {
                if (!record->data) {
                    drains = 100;
                    continue;
                }
                if (record->startTime < std::max(keyTime, 0LL) || record->status != 0)
                    continue;
                auto const known = indexOf.find(record->startTime);
                ASSERT_NE(known, indexOf.end()) << "target " << target << ", time " << record->startTime;
                if (delivered > 0) {
                    EXPECT_EQ(known->second, previous + 1) << "target " << target;
                }
                EXPECT_TRUE(IsRight(*record, known->second)) << "target " << target << ", picture " << known->second;
                previous = known->second;
                ++delivered;
                ++compared;
            }
            records.clear();
            sounds.clear();
        }
        if (HasFailure())
            return;
    }
    EXPECT_GT(compared, 0);
}

INSTANTIATE_TEST_SUITE_P(Clips, SeekGridTest, testing::ValuesIn(Clips::MovieNames()), ClipTest::TestName);

} // namespace
