#include "cache/PlayedFrames.h"

#include "cache/SharedField.h"
#include "decode/DecodedAudioFrame.h"

#include <utility>

PlayedFrames::~PlayedFrames()
{
    while (latest) {
        auto const frame = std::move(latest);
        latest = std::move(frame->playedBefore);
        StoreShared(frame->isPlayed, false);
    }
}

// A frame that is already linked is held by its link and needs no second one.
void PlayedFrames::Take(std::shared_ptr<DecodedAudioFrame>& frame)
{
    if (frame && !ExchangeShared(frame->isPlayed, true)) {
        frame->playedBefore = std::move(latest);
        latest = std::move(frame);
    }
    frame.reset();
}
