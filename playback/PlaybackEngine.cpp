#include "playback/PlaybackEngine.h"

#include "playback/EngineCore.h"
#include "playback/TimeSource.h"

#include <utility>

PlaybackEngine::PlaybackEngine(PlaybackOptions const& options) : PlaybackEngine(options, nullptr) {}

PlaybackEngine::PlaybackEngine(PlaybackOptions const& options, std::shared_ptr<TimeSource const> timeSource)
    : core(std::make_unique<EngineCore>(options, std::move(timeSource)))
{}

PlaybackEngine::~PlaybackEngine() = default;

void PlaybackEngine::Open(QString const& path)
{
    core->Open(path, /*isSequence=*/false);
}

void PlaybackEngine::OpenSequence(QString const& path)
{
    core->Open(path, /*isSequence=*/true);
}

void PlaybackEngine::Close()
{
    core->Close();
}

void PlaybackEngine::SetSpeed(double speed)
{
    core->SetSpeed(speed);
}

void PlaybackEngine::Pause()
{
    core->SetSpeed(0.0);
}

void PlaybackEngine::Step(int pictures)
{
    core->Step(pictures);
}

void PlaybackEngine::Seek(long long time)
{
    core->Seek(time, /*isPreview=*/false);
}

void PlaybackEngine::SeekPreview(long long time)
{
    core->Seek(time, /*isPreview=*/true);
}

void PlaybackEngine::SetLoop(long long start, long long end)
{
    core->SetLoop(start, end);
}

void PlaybackEngine::ClearLoop()
{
    core->SetLoop(0, 0);
}

void PlaybackEngine::SetVolume(double volume)
{
    core->SetVolume(volume);
}

void PlaybackEngine::SetMuted(bool muted)
{
    core->SetMuted(muted);
}

void PlaybackEngine::SetMuteAboveSpeed(double speed)
{
    core->SetMuteAboveSpeed(speed);
}

void PlaybackEngine::SetCacheBudget(long long bytes)
{
    core->SetCacheBudget(bytes);
}

void PlaybackEngine::SetColours(ColourSettings const& colours)
{
    core->SetColours(colours);
}

std::shared_ptr<DecodedVideoFrame const> PlaybackEngine::GetPicture()
{
    return core->GetPicture();
}

int PlaybackEngine::FillAudio(short* buffer, int frames, long long delay)
{
    return core->FillAudio(buffer, frames, delay);
}

PlaybackStatus PlaybackEngine::GetStatus() const
{
    return core->GetStatus();
}

bool PlaybackEngine::WaitUntilReady(int milliseconds) const
{
    return core->WaitUntilReady(milliseconds);
}
