#pragma once

// Each of `count` samples times `volume`, held to 16 bits and truncated toward zero (-0.9 becomes 0), in place. A
// volume that is not a number counts as 0. Takes the widest vectors that the processor has; the result is the same.
void ScaleSamples(short* samples, long long count, double volume);

// The same without a choice.
void ScaleSamplesPortably(short* samples, long long count, double volume);
