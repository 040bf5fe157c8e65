#pragma once

#include <string>

// Keeps the lines of a configurator's log that is about to be removed in the folder "logs" beside
// the test program, in a file *.txt of the running test's own, where the check of the log texts
// reads them. Those logs that brought a new line are kept byte for byte too, one behind the other
// in a file *.log, which the log reader has to understand. A log that was left behind before this
// process began is passed over.
void keepLog(const std::wstring& path);
