#pragma once

// Multiplies `count` samples by `volume` in place, clamped to 16 bits and truncated toward zero (-0.9 becomes 0). A NaN
// volume counts as 0. Uses AVX2 if the processor has it; the result is the same.
void ScaleSamples(short* samples, long long count, double volume);

// The same without AVX2.
void ScaleSamplesPortably(short* samples, long long count, double volume);
