#pragma once

// Tuning constants of the whole process.
struct Settings
{
    // Frames per second. A rate outside the range says nothing about the true one (cover art reports 90000), so the
    // default takes its place. The range lets slow-motion phones and slide shows pass.
    static constexpr double DEFAULT_IMAGE_SEQUENCE_FRAME_RATE = 24.0;
    static constexpr double MIN_IMAGE_SEQUENCE_FRAME_RATE = 0.1;
    static constexpr double MAX_IMAGE_SEQUENCE_FRAME_RATE = 1000.0;

    // Frame durations before a seek target of which pictures are still kept.
    static constexpr int maxTrailingFramesAfterSeek = 2;

    // Microseconds after 0 within which a first picture counts as starting at 0: a millisecond time base rounds that
    // far.
    static constexpr int ROUNDING_ERROR_EXTRA_TIME = 1000;

    // Fraction of the picture cache's byte budget that stays behind the play position while playing.
    static constexpr float maxTrailingCacheWhilePlaying = 0.1f;
};
