#pragma once

// Tuning constants of the whole process.
struct Settings
{
    // Frames per second. A rate outside the range tells nothing about the true rate (cover art reports 90000), so the
    // default replaces it. The range covers slow-motion phones and slide shows.
    static constexpr double DEFAULT_IMAGE_SEQUENCE_FRAME_RATE = 24.0;
    static constexpr double MIN_IMAGE_SEQUENCE_FRAME_RATE = 0.1;
    static constexpr double MAX_IMAGE_SEQUENCE_FRAME_RATE = 1000.0;

    // Pictures up to this many frame durations before a seek target are kept.
    static constexpr int maxTrailingFramesAfterSeek = 2;

    // Microseconds; a first picture up to this late counts as starting at 0, because a millisecond time base rounds
    // that far.
    static constexpr int ROUNDING_ERROR_EXTRA_TIME = 1000;

    // Fraction of the picture cache's byte budget kept behind the play position during playback.
    static constexpr float maxTrailingCacheWhilePlaying = 0.1f;
};
