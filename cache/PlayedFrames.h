#pragma once

#include <memory>

struct DecodedAudioFrame;

// Collects the frames that one fill has finished with, and releases them in its destructor. The fill declares it before
// locking its mutex, so that no frame is freed while the mutex is locked. Neither allocates nor throws: the frames are
// linked to each other.
class PlayedFrames
{
public:
    PlayedFrames() = default;
    ~PlayedFrames();
    PlayedFrames(PlayedFrames const&) = delete;
    PlayedFrames& operator=(PlayedFrames const&) = delete;

    // Takes the frame and leaves `frame` empty. Ignores an empty one.
    void Take(std::shared_ptr<DecodedAudioFrame>& frame);

private:
    std::shared_ptr<DecodedAudioFrame> latest; // head of the list linked by DecodedAudioFrame::playedBefore
};
