#pragma once

#include "tools/completion/CompletedProgram.h"

// The completion script of bash for these programs, to be sourced or installed. It needs nothing but bash.
namespace BashCompletion {

QString For(std::vector<CompletedProgram> const& programs);

} // namespace BashCompletion
