#include "playback/PlaybackEngine.h"

#include "playback/EngineCore.h"

PlaybackEngine::PlaybackEngine(PlaybackOptions const&) {}

PlaybackEngine::PlaybackEngine(PlaybackOptions const&, std::shared_ptr<TimeSource const>) {}

PlaybackEngine::~PlaybackEngine() = default;

void PlaybackEngine::Open(QString const&) {}

void PlaybackEngine::OpenSequence(QString const&) {}

void PlaybackEngine::Close() {}

void PlaybackEngine::SetSpeed(double) {}

void PlaybackEngine::Pause() {}

void PlaybackEngine::Step(int) {}

void PlaybackEngine::Seek(long long) {}

void PlaybackEngine::SeekPreview(long long) {}

void PlaybackEngine::SetLoop(long long, long long) {}

void PlaybackEngine::ClearLoop() {}

void PlaybackEngine::SetVolume(double) {}

void PlaybackEngine::SetMuted(bool) {}

void PlaybackEngine::SetMuteAboveSpeed(double) {}

void PlaybackEngine::SetCacheBudget(long long) {}

std::shared_ptr<DecodedVideoFrame const> PlaybackEngine::GetPicture()
{
    return nullptr;
}

int PlaybackEngine::FillAudio(short*, int, long long)
{
    return 0;
}

PlaybackStatus PlaybackEngine::GetStatus() const
{
    return {};
}

bool PlaybackEngine::WaitUntilReady(int) const
{
    return true;
}
