#include "tools/commands/AllCommands.h"

#include "tools/commands/AudioCommand.h"
#include "tools/commands/CheckCommand.h"
#include "tools/commands/DecodeCommand.h"
#include "tools/commands/FrameCommand.h"
#include "tools/commands/InfoCommand.h"
#include "tools/commands/PlayCommand.h"
#include "tools/commands/SheetCommand.h"
#include "tools/commands/WaveCommand.h"

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
