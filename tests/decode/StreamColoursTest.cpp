#include "decode/MediaInstance.h"
#include "media/MediaInfo.h"
#include "tests/support/Clips.h"
#include "tests/support/Media.h"
#include "tests/support/Reference.h"
#include "tests/support/Sessions.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace {

ColourSettings StreamColours()
{
    ColourSettings colours;
    colours.followStream = true;
    return colours;
}

Pictures DecodePictures(QString const& path, ColourSettings const& colours, bool isImage = false)
{
    auto const info = Probed(path, isImage);
    MediaInstance instance;
    instance.Initialize(info, 0);
    instance.SetColours(colours);
    Pictures pictures;
    for (auto const& record : DecodeAll(instance).pictures)
        if (IsPicture(*record))
            pictures.append(record);
    return pictures;
}

std::vector<uint8_t> BytesOf(DecodedVideoFrame const& picture)
{
    return {picture.data, picture.data + picture.size};
}

void ExpectPixel(DecodedVideoFrame const& picture, int red, int green, int blue, int most)
{
    ASSERT_GT(picture.size, picture.width * 3 * (picture.height / 2));
    uint8_t const* pixel =
        picture.data + static_cast<ptrdiff_t>(picture.height / 2) * RowBytes(picture.width) + picture.width / 2 * 3;
    EXPECT_NEAR(pixel[0], red, most);
    EXPECT_NEAR(pixel[1], green, most);
    EXPECT_NEAR(pixel[2], blue, most);
}

QString HighDefinitionClip(char const* format, char const* tag)
{
    return MakeMedia(QStringLiteral("crimson-%1-%2.mp4").arg(format, tag),
                     {"-f", "lavfi", "-i", "color=c=0xC81E3C:size=1920x1080:rate=25:duration=0.12", "-vf",
                      QStringLiteral("scale=out_color_matrix=%1:flags=accurate_rnd").arg(tag), "-c:v", "libx264", "-qp",
                      "0", "-pix_fmt", format, "-colorspace", tag, "-color_primaries", "bt709", "-color_trc", "bt709"});
}

QString InterlacedClip()
{
    return MakeMedia("interlaced.mpg", {"-f", "lavfi", "-i", "testsrc2=size=320x240:rate=25:duration=0.4", "-vf",
                                        "interlace", "-flags", "+ildct+ilme", "-c:v", "mpeg2video", "-q:v", "3"});
}

} // namespace

TEST(StreamColoursTest, MediaInstanceBringsBackTheColourOfALosslessHdClip)
{
    for (char const* format : {"yuv420p", "yuv422p", "yuv444p", "yuv420p10le"}) {
        QString const path = HighDefinitionClip(format, "bt709");
        Pictures const pictures = DecodePictures(path, StreamColours());
        ASSERT_FALSE(pictures.isEmpty());
        ExpectPixel(*pictures.front(), 200, 30, 60, 2); // one step of an 8-bit Cr sample is 1.8 steps of red
    }
    // The converter's defaults decode the samples 75, 124, 201 as BT.601: 185, 11, 61, and libswscale's default
    // converter is up to 4 off.
    Pictures const plain = DecodePictures(HighDefinitionClip("yuv420p", "bt709"), ColourSettings());
    ASSERT_FALSE(plain.isEmpty());
    ExpectPixel(*plain.front(), 185, 11, 61, 4);
}

TEST(StreamColoursTest, MediaInstanceGivesTheDefaultBytesAgainAfterSwitching)
{
    for (QString const& path :
         {HighDefinitionClip("yuv420p", "bt709"), HighDefinitionClip("yuv420p10le", "bt709"), InterlacedClip()}) {
        Pictures const plain = DecodePictures(path, ColourSettings());
        Pictures const stream = DecodePictures(path, StreamColours());
        auto const info = Probed(path);
        MediaInstance instance;
        instance.Initialize(info, 0);
        Pictures pictures;
        Sounds sounds;
        while (instance.HasPacket()) {
            instance.SetColours(pictures.size() % 2 == 0 ? ColourSettings() : StreamColours());
            qsizetype const before = pictures.size();
            instance.DecodeOnePacket(sounds, pictures, -1);
            if (pictures.size() > before + 1)
                break; // the drain delivers several pictures with one setting
        }
        ASSERT_GE(plain.size(), 2);
        int compared = 0;
        for (int i = 0; i < std::min<int>(static_cast<int>(pictures.size()), static_cast<int>(plain.size())); ++i) {
            if (!IsPicture(*pictures[i]))
                break;
            bool const isPlain = BytesOf(*pictures[i]) == BytesOf(*plain[i]);
            bool const isStream = BytesOf(*pictures[i]) == BytesOf(*stream[i]);
            EXPECT_TRUE(isPlain || isStream) << i;
            compared += isPlain ? 1 : 0;
        }
        EXPECT_GE(compared, 1);
        // The setting outlives the input.
        instance.SetColours(ColourSettings());
        instance.CloseInput();
        Decoded const again = DecodeAll(instance);
        ASSERT_FALSE(again.pictures.isEmpty());
        EXPECT_EQ(BytesOf(*again.pictures.front()), BytesOf(*plain.front()));
    }
}

TEST(StreamColoursTest, MediaInstanceStretchesPicturesOfOddSizes)
{
    QString const path =
        MakeMedia("anamorphic-odd.mp4", {"-f", "lavfi", "-i", "testsrc2=size=200x160:rate=25:duration=0.2", "-vf",
                                         "scale=161:121,setsar=4/3", "-c:v", "mpeg4", "-pix_fmt", "yuv420p"});
    Pictures const pictures = DecodePictures(path, StreamColours());
    ASSERT_FALSE(pictures.isEmpty());
    EXPECT_EQ(pictures.front()->width, 214);
    EXPECT_EQ(pictures.front()->height, 121);
    EXPECT_EQ(pictures.front()->size, RowBytes(214) * 121);
}

// A grey of 201 cd/m2 in PQ: the stream's peak decides its brightness in SDR.
TEST(StreamColoursTest, MediaInstanceFollowsTheLightLevelsOfAStream)
{
    auto const clip = [](int peak) {
        return MakeMedia(QStringLiteral("pq-%1.mkv").arg(peak),
                         {"-f", "lavfi", "-i", "color=c=0x949494:size=320x240:rate=25:duration=0.12", "-vf",
                          "scale=out_range=tv:out_color_matrix=bt2020", "-c:v", "libx265", "-pix_fmt", "yuv420p10le",
                          "-x265-params",
                          QStringLiteral("log-level=none:lossless=1:colorprim=bt2020:transfer=smpte2084:colormatrix="
                                         "bt2020nc:hdr10=1:max-cll=%1,100:master-display=G(13250,34500)B(7500,3000)"
                                         "R(34000,16000)WP(15635,16450)L(%20000,1)")
                              .arg(peak)});
    };
    int previous = 256;
    for (int const peak : {203, 1000, 4000}) {
        Pictures const pictures = DecodePictures(clip(peak), StreamColours());
        ASSERT_FALSE(pictures.isEmpty());
        uint8_t const* pixel = pictures.front()->data + static_cast<ptrdiff_t>(120) * RowBytes(320) + 480;
        EXPECT_LT(pixel[0], previous) << peak; // a higher peak makes it darker
        EXPECT_NEAR(pixel[0], pixel[1], 1);    // grey stays grey, but for the rounding of the matrix to floats
        EXPECT_NEAR(pixel[0], pixel[2], 1);
        previous = pixel[0];
    }
}
