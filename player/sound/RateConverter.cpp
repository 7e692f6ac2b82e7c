#include "player/sound/RateConverter.h"

#include "common/Microseconds.h"
#include "media/FfmpegBridge.h"

#include <algorithm>

namespace {

constexpr int blockFrames = 256;

FfmpegPtr<SwrContext> MakeResampler(RateConverter::Format from, RateConverter::Format to)
{
    FfmpegPtr<SwrContext> resampler(swr_alloc());
    if (!resampler)
        return nullptr;
    FfmpegBridge::SetResamplerInputLayout(resampler.get(), FfmpegBridge::DefaultChannelLayout(from.channels));
    FfmpegBridge::SetResamplerOutputLayout(resampler.get(), FfmpegBridge::DefaultChannelLayout(to.channels));
    av_opt_set_int(resampler.get(), "in_sample_rate", from.sampleRate, 0);
    av_opt_set_int(resampler.get(), "out_sample_rate", to.sampleRate, 0);
    av_opt_set_sample_fmt(resampler.get(), "in_sample_fmt", AV_SAMPLE_FMT_S16, 0);
    av_opt_set_sample_fmt(resampler.get(), "out_sample_fmt", AV_SAMPLE_FMT_S16, 0);
    return swr_init(resampler.get()) < 0 ? nullptr : std::move(resampler);
}

} // namespace

std::unique_ptr<RateConverter> RateConverter::Make(AudioDevice::Fill source, Format from, Format to)
{
    std::unique_ptr<RateConverter> converter(new RateConverter(std::move(source), from, to));
    return converter->resampler ? std::move(converter) : nullptr;
}

RateConverter::RateConverter(AudioDevice::Fill source, Format from, Format to)
    : source(std::move(source)),
      to(to),
      block(static_cast<size_t>(blockFrames) * static_cast<size_t>(std::max(1, from.channels))),
      resampler(MakeResampler(from, to))
{}

void RateConverter::Fill(short* buffer, int frames, long long delay)
{
    auto* resampled = reinterpret_cast<uint8_t*>(buffer);
    int written = swr_convert(resampler.get(), &resampled, frames, nullptr, 0); // what was left of the last block
    while (written >= 0 && written < frames) {
        long long const heardAfter = delay + secondUs * written / to.sampleRate;
        int const more = ConvertBlock(buffer + static_cast<ptrdiff_t>(written) * to.channels, frames - written,
                                      heardAfter + swr_get_delay(resampler.get(), secondUs));
        written = more < 0 ? more : written + more;
    }
    if (written < 0)
        std::fill_n(buffer, static_cast<ptrdiff_t>(frames) * to.channels, short{0});
}

int RateConverter::ConvertBlock(short* buffer, int frames, long long delay)
{
    source(block.data(), blockFrames, delay);
    auto* resampled = reinterpret_cast<uint8_t*>(buffer);
    auto const* taken = reinterpret_cast<uint8_t const*>(block.data());
    return swr_convert(resampler.get(), &resampled, frames, &taken, blockFrames);
}
