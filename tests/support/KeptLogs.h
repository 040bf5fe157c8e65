#pragma once

#include <string>

#include "stand-in/Windows.h"

// Keeps the lines of a configurator's log that is about to be removed in the folder "logs" beside
// the test program, in a file *.txt of the running test's own, where the check of the log texts
// reads them. A log that was left behind before this process began is passed over.
void keepLog(const std::wstring& path);

// Keeps what a run of the executable logged, byte for byte, in a file *.log of its own in the
// folder "runs" beside the test program, and how the run ended in the test's file *.ends, for the
// check of the log reader. `faults` are the run's, none if empty.
void keepRun(const std::string& logged, DWORD exitCode, bool endedNormally,
             const std::string& faults);
