// `krw verify --mhl`: a delivered folder against its media hash lists.
#pragma once

#include "tools/cli/commands.h"

#include <string>

/// Prints the listed hashes in the form that `xxhsum -c` reads. Complains about each difference, and sets the
/// exit status.
void verifyHashLists(const std::string& folder, CommandContext& context);
