#pragma once

#include "tools/completion/CompletedProgram.h"

// The completion of zsh for these programs: a function to be found in $fpath, or to be sourced after compinit.
namespace ZshCompletion {

QString For(std::vector<CompletedProgram> const& programs);

} // namespace ZshCompletion
