#pragma once

#include "tests/support/Clips.h"
#include "tests/support/Reference.h"

#include "decode/DecodedVideoFrame.h"
#include "media/AvGlobals.h"

#include <gtest/gtest.h>

extern "C" {
#include <libavcodec/avcodec.h>
}

#include <string>
#include <vector>

// A test for each clip, by name: that of a made clip, "sequence", or "real/" and the name of a real one. Knows the
// pictures of a plain decode of the whole file.
class ClipTest : public testing::TestWithParam<std::string>
{
public:
    static std::string TestName(testing::TestParamInfo<std::string> const& info) { return Clips::TestName(info.param); }

protected:
    void SetUp() override
    {
        AvGlobals::maxAudioOutputChannels = 2;
        QString const name = QString::fromStdString(GetParam());
        bool const isReal = name.startsWith("real/");
        if (isReal && !Clips::HasReal())
            GTEST_SKIP() << "there is no ../shared/media beside the checkout";
        path = isReal ? Clips::Real(name.mid(5)) : name == "sequence" ? Clips::MadeSequence() : Clips::Made(name);
        pictures =
            Clips::IsDamaged(GetParam()) ? Reference::DecodeDamagedPictures(path) : Reference::DecodePictures(path);
        ASSERT_FALSE(pictures.empty());
    }

    // The index of the picture shown at `moment`.
    size_t IndexAt(long long moment) const
    {
        size_t index = 0;
        while (index + 1 < pictures.size() && pictures[index + 1].time <= moment)
            ++index;
        return index;
    }

    // A picture of a damaged stream may have no expected hash. FFmpeg 4 and 7 sometimes conceal one differently after
    // several equal runs. FFmpeg's concealment of MPEG-2 depends on other slice threads (47 of 150 plain decodes with
    // three threads differed, none with one).
    bool IsRight(DecodedVideoFrame const& picture, size_t index) const
    {
        QByteArray const& expected = pictures[index].hash;
        bool const isMpeg2 = GetParam().find("mpeg2") != std::string::npos;
        bool const isRepeatable = AV_VERSION_MAJOR(avcodec_version()) == 59 && !isMpeg2;
        if (Clips::IsDamaged(GetParam()) && (expected.isEmpty() || !isRepeatable))
            return true;
        return expected ==
               Reference::HashOf(picture.data, picture.width, picture.height, (3 * picture.width + 3) / 4 * 4);
    }

    QString path;
    std::vector<Reference::Picture> pictures;
};
