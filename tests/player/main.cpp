#include "media/AvGlobals.h"
#include "player/controls/Theme.h"

#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    Theme::Prepare();
    QApplication application(argc, argv);
    Theme::Apply(application);
    AvGlobals::maxAudioOutputChannels = 2;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
