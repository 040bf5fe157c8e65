#pragma once

#include <string>
#include <vector>

#include "TraceReader.h"

// The start of the companion executable with the desktop user's rights, and the wait for its end.
// Whether it was started.
bool readDeElevatedLaunch(TraceReader& trace, const std::vector<std::string>& packages);
