#pragma once

#include <string>

#include "TraceReader.h"

// The last error of the main thread as the program finds it behind all calls up to here, also those
// that are passed over, in decimal. `TraceReader::error` is that of the last named call alone.
std::string lastError(TraceReader& trace);
