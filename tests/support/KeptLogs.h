#pragma once

#include <string>

#include "stand-in/Launcher.h"

// Keeps the lines of a configurator's log that is about to be removed in the folder "logs" beside
// the test program, in a file *.txt of the running test's own, where the check of the log texts
// reads them. A log that was left behind before this process began is passed over.
void keepLog(const std::wstring& path);

// Keeps what a run of the executable added to its log, byte for byte, in a file *.log of its own in
// the folder "runs" beside the test program, and how it ended in the test's file *.ends, for the
// check of the log reader. `logBytesBefore`: the log's size when the run began.
void keepRun(const std::wstring& log, size_t logBytesBefore, const std::wstring& trace,
             const standin::LaunchResult& result, const std::string& faults);
