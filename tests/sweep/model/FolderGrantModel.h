#pragma once

#include <string>
#include <vector>

#include "RunFacts.h"
#include "TraceReader.h"

// Makes the folder below `base` that the components lead to, and grants all application packages
// full access to it. `out` becomes its path, unless something failed.
bool readFolderGrant(TraceReader& trace, const RunFacts& facts, const std::string& base,
                     const std::vector<std::string>& components, std::string& out);
