#pragma once

#include "source/PictureIndex.h"

#include <memory>
#include <optional>

class Source;

// How many pictures a source has, and when each shows, without decoding all of it where that can be avoided.
namespace PictureCount {

// Reads the file to its end, and decodes the first pictures to see whether they agree. Null where only decoding all of
// it would tell.
std::shared_ptr<PictureIndex const> ReadIndex(Source const& source);

std::optional<long long> Of(Source const& source); // of all pictures; empty where ReadIndex gives null

// When the picture with this number, from 0, begins to show, in microseconds of media time; or else, in `count`, how
// many there are (0: none can be decoded). Pictures that packets cannot number are decoded from the first on.
std::optional<long long> TimeOf(Source const& source, long long number, long long& count);

} // namespace PictureCount
