#pragma once

#include <string>

#include "stand-in/Windows.h"

// Keeps the lines of a configurator's log that is about to be removed in the folder "logs" beside
// the test program, in a file *.txt of the running test's own, where the check of the log texts
// reads them. A log that was left behind before this process began is passed over.
void keepLog(const std::wstring& path);

// How a run of the executable went.
struct RunEnd {
    DWORD exitCode;
    bool isReturn;      // the program came to its own end
    bool isLogWritten;  // no write failed
    std::string faults;
};

// Keeps what a run logged, byte for byte, in a file *.log of its own in the folder "runs" beside
// the test program, and its end in the test's file *.ends, for the check of the log reader.
void keepRun(const std::string& logged, const RunEnd& end);
