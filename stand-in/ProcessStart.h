#pragma once

#include <map>
#include <string>

#include "Export.h"
#include "Windows.h"

namespace standin {

struct ProcessStart {
    std::wstring program;  // path; none: the command line alone names it, and Windows looks for it
    std::wstring commandLine;
    std::wstring machineFile;
    std::wstring traceFile;  // none: the machine is not mounted on the process
    std::string faults;
    std::wstring user;  // SID as whom it runs on the machine; none: the machine's token user
    std::map<std::wstring, std::wstring> environment;  // in addition to this process's own
    std::wstring workingFolder;                        // none: this process's own
};

// Starts a process with the machine mounted on it before its first instruction; the caller closes
// the handles. False: it does not start, and the last error says why. Throws std::runtime_error if
// the machine cannot be mounted; the process is gone then.
STANDIN_API bool startProcess(const ProcessStart& start, STARTUPINFOW& startup,
                              PROCESS_INFORMATION& started);

}  // namespace standin
