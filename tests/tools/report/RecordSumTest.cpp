#include "tools/report/DecodeReport.h"

#include "decode/DecodedAudioFrame.h"
#include "decode/DecodedVideoFrame.h"

#include <gtest/gtest.h>

TEST(RecordSumTest, LeavesThePaddingOfRowsOut)
{
    uint8_t const rows[] = {'a', 'b', 'c', 0, 'd', 'e', 'f', 7};
    DecodedVideoFrame const record(rows, sizeof rows, 1, 2, 0, 25.0, 0, false);
    EXPECT_EQ(RecordSum::Of(record), "e80b5017098950fc58aad83c8c14978e"); // of "abcdef"
}

TEST(RecordSumTest, TakesSamplesLowByteFirst)
{
    DecodedAudioFrame record;
    record.samples = new short[3]{0x6261, 0x6463, 0x7a7a};
    record.sampleCount = 2; // the third is spare
    record.sampleCapacity = 3;
    EXPECT_EQ(RecordSum::Of(record), "e2fc714c4727ee9395f324cd2e7f331f"); // of "abcd"
}
