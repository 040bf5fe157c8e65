#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

#include "Trace.h"
#include "Windows.h"

namespace standin {

struct Launch {
    std::wstring program;      // path of the executable
    std::wstring commandTail;  // what stands behind the program's name on the command line, verbatim
    std::wstring machineFile;  // read at the start, written back on every change; none: an empty machine
    std::wstring traceFile;  // created anew
    std::string faults;      // as Fault reads them, joined by semicolons
    std::chrono::milliseconds timeout = std::chrono::seconds(30);
    std::map<std::wstring, std::wstring> environment;  // in addition to the launcher's own
    std::wstring workingFolder;                        // none: the launcher's own
};

struct LaunchResult {
    DWORD exitCode = 0;
    bool timedOut = false;  // the launcher ended it
    // The trace has its closing line: no crash, no fast fail, no death by a fault. An exit code of
    // 0 alone says little, as a stack overflow can end with it too.
    bool endedNormally = false;
    std::vector<std::string> leaks;
    std::vector<std::string> doubleReleases;
    std::vector<std::string> misuse;
    std::vector<std::string> unfiredFaults;
    // By the number of a call, the allocations before it; only if a fault names malloc.
    std::vector<size_t> allocations;
};

// Runs a program with the machine mounted on it before its first instruction. Throws
// std::runtime_error if it cannot be started so.
LaunchResult launch(const Launch& launch);

// The calls of a trace file.
std::vector<Call> readTrace(const std::wstring& traceFile);

}  // namespace standin
