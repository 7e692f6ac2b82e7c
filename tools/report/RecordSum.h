#pragma once

#include <QString>

struct DecodedAudioFrame;
struct DecodedVideoFrame;

// MD5 sums of records, as 32 hexadecimal digits.
namespace RecordSum {

QString Of(DecodedVideoFrame const& record); // the pixels' bytes row by row, without the padding of the rows
QString Of(DecodedAudioFrame const& record); // the samples, 16 bits each, the low byte first

} // namespace RecordSum
