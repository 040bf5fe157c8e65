#include "LaunchModel.h"

#include "LastErrorModel.h"

namespace {

using standin::Call;

// Handles as the trace writes them; "null" where none was opened.
struct LaunchHandles {
    std::string process = "null";
    std::string token = "null";
    std::string duplicate = "null";
};

bool readPrivilege(TraceReader& trace) {
    const Call& token = trace.call("OpenProcessToken", {"-1", "0x20"});
    if (token.failed) {
        trace.line("Privilege lowering failed (openProcessToken currentprocess)! Error:" +
                   trace.error());
        return false;
    }
    const bool isKnown = trace.ok("LookupPrivilegeValueW",
                                  {"null", quoted("SeIncreaseQuotaPrivilege")});
    // Without its number the privilege is any one; the system decides.
    const bool isAdjusted = trace.ok(
        "AdjustTokenPrivileges",
        {token.arguments[2], "0", isKnown ? "[\"SeIncreaseQuotaPrivilege\" attributes 0x2]" : "[*",
         "*", "null", "null"});
    const std::string error = trace.error();
    trace.call("CloseHandle", {token.arguments[2]});
    if (!isAdjusted)
        trace.line("Privilege lowering failed (AdjustTokenPrivileges)! Error:" + error);
    return isAdjusted;
}

// The callback asks for each window and keeps none. A call that is made within another one stands
// before it or behind it, as the trace is ordered by the calls' ends or by their beginnings.
void readVisits(TraceReader& trace) {
    while (trace.nextIs("GetWindowThreadProcessId"))
        trace.call("GetWindowThreadProcessId", {"window", "*"});
}

// The number of the shell's process, or nothing.
std::string readShellProcess(TraceReader& trace) {
    if (!trace.ok("GetShellWindow")) {
        readVisits(trace);
        trace.call("EnumWindows", {"given", "given"});
        readVisits(trace);
        trace.line("Privilege lowering failed! Could not get Shell window or any user window");
        return "";
    }
    const Call& window = trace.call("GetWindowThreadProcessId", {"window"});
    if (window.failed || window.arguments[1] == "0") {
        trace.line("Privilege lowering failed! Could not get process ID");
        return "";
    }
    return window.arguments[1];
}

bool readProcessCreation(TraceReader& trace, const std::string& token, const std::string& command,
                         const std::string& folder) {
    const Call& library = trace.call("LoadLibraryW", {quoted("Advapi32.dll")});
    bool isCreated = false;
    if (library.failed) {
        trace.line("Unable to load library at path: Error: " + trace.error());
    } else if (trace.ok("GetProcAddress", {library.result, quoted("CreateProcessWithTokenW")})) {
        isCreated = trace.ok("CreateProcessWithTokenW",
                             {token, "0x0", "null", quoted(command), "0x0", "null", quoted(folder),
                              "[size=104 desktop=null flags=0x0 show=0]", "given"});
    }
    if (!isCreated)
        trace.line("PU_CreateProcessWithTokenW failed with error:  " + lastError(trace));
    return isCreated;
}

bool readTokens(TraceReader& trace, LaunchHandles& handles, const std::string& command,
                const std::string& folder) {
    trace.line("Calling OpenProcessToken:  ");
    const Call& token = trace.call("OpenProcessToken", {handles.process, "0x2"});
    if (token.failed) return false;
    handles.token = token.arguments[2];
    const Call& duplicate = trace.call("DuplicateTokenEx",
                                       {handles.token, "0x18B", "null", "2", "1"});
    if (duplicate.failed) {
        trace.line("Privilege lowering failed (duplicate token)! Error: " + trace.error());
        return false;
    }
    handles.duplicate = duplicate.arguments[5];
    trace.line("Calling PU_CreateProcessWithTokenW:  ");
    return readProcessCreation(trace, handles.duplicate, command, folder);
}

bool readCreation(TraceReader& trace, const std::string& command, const std::string& folder) {
    if (!readPrivilege(trace)) return false;
    const std::string shell = readShellProcess(trace);
    if (shell.empty()) return false;
    const Call& process = trace.call("OpenProcess", {"0x400", "0", shell});
    if (process.failed) {
        trace.line("Privilege lowering failed (openProcess desktop shell! Error:" + trace.error());
        return false;
    }
    LaunchHandles handles = {.process = process.result};
    const bool isCreated = readTokens(trace, handles, command, folder);
    // Those that were never opened too.
    trace.call("CloseHandle", {handles.token});
    trace.call("CloseHandle", {handles.duplicate});
    trace.call("CloseHandle", {handles.process});
    return isCreated;
}

// Whether memory was refused to the program just now, and it went on without.
bool isMemoryRefused(TraceReader& trace) {
    const size_t before = trace.allocations().size();
    trace.atEnd();  // passes over it
    const std::vector<Allocation> allocations = trace.allocations();
    return allocations.size() > before && allocations.back() == Allocation::IsBorne;
}

// The folder of the companion; nothing if it cannot be told.
std::string readWorkingFolder(TraceReader& trace) {
    const std::string tail = "\\Velta\\Velta QK";
    const Call& common = trace.call("SHGetFolderPathW", {"null", "0x2B", "null", "0"});
    if (common.failed) {
        trace.line("Unable to locate Program Files\\Common Files (CSIDL_PROGRAM_FILES_COMMON) ");
    }
    if (isMemoryRefused(trace)) {
        trace.lineBeginning("GetParentDirectory failed with  ");
        return "";
    }
    const Call& removal = trace.call("PathRemoveFileSpecW");
    if (removal.failed) {
        trace.line("GetParentDirectory failed with  " + lastError(trace));
        return "";
    }
    // Without the folder of all programs nobody can tell what stands before the tail.
    const std::string folder = unquoted(removal.arguments[0]);
    if (common.failed ? !folder.ends_with(tail) : folder != unquoted(common.arguments[4]) + tail)
        trace.deviate("the companion's folder before this call");
    return folder;
}

}  // namespace

bool readDeElevatedLaunch(TraceReader& trace, const std::vector<std::string>& packages) {
    trace.line("Launching Process as DeElevated");
    const std::string folder = readWorkingFolder(trace);
    if (folder.empty()) return false;
    std::string command = "LSDKConfiguratorHelper.exe";
    for (const std::string& package : packages)
        command += " " + package;
    if (!readCreation(trace, command, folder)) {
        trace.line("caling CreateProcessDeElevated failed with Error:" + lastError(trace));
        return false;
    }
    trace.line("Waiting for the child process to finish ");
    const Call& wait = trace.call("WaitForSingleObject", {"process#*", "0xFFFFFFFF"});
    const std::string process = wait.arguments[0];
    trace.line("Done Waiting ");
    const Call& exit = trace.call("GetExitCodeProcess", {process});
    if (exit.failed) {
        trace.lineBeginning("Exit code of helper process ");
    } else {
        trace.line("Exit code of helper process " + exit.arguments[1]);
    }
    trace.call("CloseHandle", {process});
    trace.call("CloseHandle", {"thread#*"});
    trace.line("Launching Process as DeElevated SUCCESSFUL");
    return true;
}
