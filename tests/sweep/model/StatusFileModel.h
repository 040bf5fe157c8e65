#pragma once

#include <string>

#include "FileCopyModel.h"

std::string readStatusFilePath(TraceReader& trace, const MigratedUser& user);
// The file that marks a user as migrated, with what was recorded for the user in it.
void readStatusFile(TraceReader& trace, const RunFacts& facts, const MigratedUser& user,
                    bool isSuccess);
