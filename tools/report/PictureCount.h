#pragma once

#include <optional>

class Source;

// How many pictures a source has, and when each shows, without decoding all of it where that can be avoided.
namespace PictureCount {

// Of all of them; reads the file to its end. Empty where only decoding all of it would tell.
std::optional<long long> Of(Source const& source);

// When the picture with this number, from 0, begins to show, in microseconds of media time; or else, in `count`, how
// many there are (0: none can be decoded). Pictures that packets cannot number are decoded from the first on.
std::optional<long long> TimeOf(Source const& source, long long number, long long& count);

} // namespace PictureCount
