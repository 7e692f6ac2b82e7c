#pragma once

#include "source/PictureIndex.h"
#include "source/ReadResult.h"

#include <memory>

class Source;

// The index of a source's pictures without decoding them: from the container's own index where that tells the time of
// each, otherwise from the packets of the pictures, which takes as long as reading the file. A sequence has a number
// for each number of its files, holes included. Opens the file once for itself; nothing is logged but what FFmpeg says.
//
// Null for sound, if `stop` answered true, and if packets do not tell what decoding will give: they lack usable times,
// are marked as damaged, come in an order that decoders change, or are too many. An index is wrong if a decoder makes
// no picture of a packet: compare it with pictures that are decoded anyway.
std::shared_ptr<PictureIndex const> ReadPictureIndex(Source const& source, StopCheck const& stop = neverStop);
