#pragma once

#include <memory>

struct DecodedAudioFrame;

// The frames that one fill is done with. They are released with this object, which the fill declares before it takes
// its mutex, so that no frame is freed under that. Neither allocates nor throws: the frames are linked to each other.
class PlayedFrames
{
public:
    PlayedFrames() = default;
    ~PlayedFrames();
    PlayedFrames(PlayedFrames const&) = delete;
    PlayedFrames& operator=(PlayedFrames const&) = delete;

    // Takes the frame over and leaves `frame` empty; an empty one is nothing.
    void Take(std::shared_ptr<DecodedAudioFrame>& frame);

private:
    std::shared_ptr<DecodedAudioFrame> latest; // and so on by DecodedAudioFrame::playedBefore
};
