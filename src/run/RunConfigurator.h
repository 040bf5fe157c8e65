#pragma once

#include "platform/CommandLine.h"

// The whole run, from the first log line to the exit code: 0, or -1 for a run that stopped early or
// whose post-install stage failed. `args` are the process's arguments, the program's own path
// first.
int runConfigurator(const Platform::Array& args);
