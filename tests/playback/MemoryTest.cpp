#include "VirtualTime.h"
#include "tests/support/Clips.h"
#include "tests/support/Patience.h"

#include "decode/DecodedVideoFrame.h"
#include "media/MediaInfo.h"
#include "media/MediaReader.h"
#include "playback/PlaybackEngine.h"
#include "source/MoviePictures.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

// Measures the process's resident memory by the kernel, which includes what our own counters miss.

namespace {

long long PeakBytes()
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("VmHWM:", 0) == 0)
            return std::stoll(line.substr(6)) * 1024;
    }
    return -1;
}

// Resets the kernel's peak to the present value.
bool ResetPeak()
{
    std::ofstream clear("/proc/self/clear_refs");
    clear << 5 << std::flush;
    return clear.good() && PeakBytes() > 0;
}

bool IsSanitized()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) // GCC
    return true;
#elif defined(__has_feature) // Clang
    return __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
    return false;
#endif
}

template <typename Work>
long long GrowthBy(Work const& work)
{
    EXPECT_TRUE(ResetPeak());
    long long const before = PeakBytes();
    work();
    return PeakBytes() - before;
}

// Memory for decoding alone, one picture at a time.
void ReadAll(QString const& path)
{
    auto const info = std::make_shared<MediaInfo>(path);
    ASSERT_TRUE(MediaReader::ParseMedia(info));
    MoviePictures reader(info, 25.0);
    ASSERT_TRUE(reader.Open());
    std::shared_ptr<DecodedVideoFrame> picture;
    while (reader.Read(picture) == ReadResult::Got)
        picture.reset();
}

void PlayBothWays(QString const& path, long long budget)
{
    auto const time = std::make_shared<VirtualTime>();
    PlaybackOptions options;
    options.withSound = false;
    options.cacheBudget = budget;
    PlaybackEngine engine(options, time);
    engine.Open(path);
    ASSERT_TRUE(engine.WaitUntilReady(patience));
    for (double speed : {1.0, -1.0, 1.0}) {
        engine.SetSpeed(speed);
        for (int i = 0; i < 80; ++i) {
            ASSERT_TRUE(engine.WaitUntilReady(patience));
            ASSERT_TRUE(engine.GetPicture());
            time->Advance(40000);
        }
    }
    engine.Seek(3000000);
    ASSERT_TRUE(engine.WaitUntilReady(patience));
}

TEST(MemoryTest, ResidentMemoryStaysWithinTheBudgetAndTheNeedOfTheDecoder)
{
    if (!ResetPeak() || IsSanitized())
        GTEST_SKIP() << "needs Linux's /proc/self, and no sanitizer, which keeps freed memory";
    constexpr long long budget = 40LL * 1280 * 720 * 3;
    QString const clip = Clips::Made("large.mp4");
    long long const decoder = GrowthBy([&] { ReadAll(clip); });
    long long const engine = GrowthBy([&] { PlayBothWays(clip, budget); });
    // Six pictures beside the 40 of the budget: the store of buffers keeps four, one is being decoded, one is shown.
    EXPECT_LE(engine, decoder + budget + 6 * budget / 40);
    EXPECT_GE(engine, budget / 2); // otherwise nothing was measured
}

} // namespace
