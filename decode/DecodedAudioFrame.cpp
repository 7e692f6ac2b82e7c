#include "decode/DecodedAudioFrame.h"

DecodedAudioFrame::DecodedAudioFrame() = default;

DecodedAudioFrame::~DecodedAudioFrame()
{
    delete[] samples;
    samples = nullptr;
}
