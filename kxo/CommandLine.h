/// From the command line to the command that it asks for.
#pragma once

#include <string>
#include <vector>

#include "commands/Commands.h"

namespace kxo {

/// The command that the arguments ask for. Nothing is chosen when they ask for help or the version,
/// which is then printed. Throws a Failure for a wrong command line.
ChosenCommand ReadCommandLine(const std::vector<std::string>& arguments);

}  // namespace kxo
