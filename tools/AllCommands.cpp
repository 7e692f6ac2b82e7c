#include "tools/AllCommands.h"

#include "tools/AudioCommand.h"
#include "tools/CheckCommand.h"
#include "tools/DecodeCommand.h"
#include "tools/FrameCommand.h"
#include "tools/InfoCommand.h"
#include "tools/PlayCommand.h"
#include "tools/SheetCommand.h"
#include "tools/WaveCommand.h"

std::vector<std::unique_ptr<Command>> AllCommands()
{
    std::vector<std::unique_ptr<Command>> commands;
    commands.push_back(std::make_unique<InfoCommand>());
    commands.push_back(std::make_unique<DecodeCommand>());
    commands.push_back(std::make_unique<FrameCommand>());
    commands.push_back(std::make_unique<AudioCommand>());
    commands.push_back(std::make_unique<CheckCommand>());
    commands.push_back(std::make_unique<SheetCommand>());
    commands.push_back(std::make_unique<WaveCommand>());
    commands.push_back(std::make_unique<PlayCommand>());
    return commands;
}
