#pragma once

#include <string>

// Keeps the lines of a configurator's log that is about to be removed in the folder "logs" beside
// the test program, in a file of the running test's own. The check of the log texts reads them
// there. A log that was left behind before this process began is passed over.
void keepLog(const std::wstring& path);
