#include "RunModel.h"

#include <strings.h>

#include <algorithm>

#include "LastErrorModel.h"
#include "MigrationModel.h"

namespace {

constexpr unsigned long kFailureExit = 0xFFFFFFFF;
constexpr unsigned long kFastFail = 0xC0000409;
constexpr unsigned long kFastFailWithContext = 0xC000027B;
constexpr unsigned long kAccessViolation = 0xC0000005;

void readComStart(TraceReader& trace, bool& isComReady) {
    isComReady = false;
    if (!trace.ok("CoInitializeEx", {"null", "0x0"})) {
        trace.bareLine("Error initializing COM code " + lowerCase(trace.error()) + ".");
        return;
    }
    if (!trace.ok("CoInitializeSecurity",
                  {"null", "-1", "null", "null", "0", "3", "null", "0x0", "null"})) {
        trace.bareLine("Error initializing COM Security code " + lowerCase(trace.error()) + ".");
        return;
    }
    isComReady = true;
}

// Nobody looks whether a step has failed: the next one goes on with what the buffer holds, which
// the trace shows as the call left it.
void readLogStart(TraceReader& trace, const std::string& program) {
    const std::string name = "lsdkConfiguratorLog.txt";
    const bool isNamed = trace.ok("GetModuleFileNameW", {"null", "*", "260"});
    std::string path = isNamed ? program : "";
    if (trace.ok("PathCchRemoveFileSpec", {"*", "260"}))
        path.erase(std::min(path.rfind('\\'), path.size()));
    if (trace.ok("PathCchAddBackslash", {"*", "260"}) && !path.empty()) path += "\\";
    if (trace.ok("PathCchAppend", {"*", "260", quoted(name)})) {
        // It adds what is missing between the two.
        if (!path.empty() && !path.ends_with('\\')) path += "\\";
        path += name;
    }
    if (!trace.ok("_wfopen", {quoted(path), "\"a\""})) trace.loseLog();
}

bool readPrivileges(TraceReader& trace, std::string& token) {
    trace.line("Starting");
    if (!trace.ok("OpenProcessToken", {"-1", "0x28"})) {
        trace.unended("OpenProcessToken failed. GetLastError returned:" + trace.error());
        return false;
    }
    token = trace.calls()[trace.position() - 1].arguments[2];
    for (const std::string name :
         {"SeTakeOwnershipPrivilege", "SeBackupPrivilege", "SeRestorePrivilege"}) {
        if (!trace.ok("LookupPrivilegeValueW", {"null", quoted(name)})) {
            trace.line("LookupPrivilegeValue Error " + trace.error() + " for privilege " + name + ".");
            return false;
        }
        if (!trace.ok("AdjustTokenPrivileges",
                      {token, "0", "[" + quoted(name) + " attributes 0x2]", "16", "null", "null"})) {
            trace.line("AdjustTokenPrivileges Error " + trace.error() + " for privilege " + name +
                       ".");
            return false;
        }
    }
    return true;
}

void readUsage(TraceReader& trace) {
    trace.line("Incorrect number of arguments passed.");
    trace.line("Use it like below :");
    trace.line("Version Product_Name Executable_name");
    trace.line("Example :");
    trace.line("0.6.5.7 Velta.QK QK.exe");
}

bool readUserToken(TraceReader& trace, RunFacts& facts) {
    const bool hasSize = trace.ok("GetTokenInformation", {"token#1", "1", "null", "0"});
    if (!hasSize && trace.error() != "122") {
        trace.line("GetTokenInformation failed. GetLastError returned: " + trace.error());
        return false;
    }
    if (!trace.ok("GetTokenInformation", {"token#1", "1", "given"})) {
        trace.line("GetTokenInformation failed. GetLastError returned:" + trace.error());
        return false;
    }
    trace.lineBeginning("GetTokenInformation succeded.m_tokenUser->User.Sid :0x");
    const standin::Call& text = trace.call("ConvertSidToStringSidW");
    if (text.failed) {
        trace.unended("ConvertSidToStringSid (CurrentUserSidString) failed for TQXUWP with ");
        trace.endProcess(kAccessViolation);
    }
    facts.tokenUserSid = unquoted(text.arguments[1]);
    trace.line("ConvertSidToStringSid (CurrentUserSidString) succeded" + facts.tokenUserSid);
    return true;
}

void readMigration(TraceReader& trace, MigrationModel& migrator) {
    try {
        if (!migrator.run()) trace.line("App Data Migration: FAILED");
    } catch (const StandardException& exception) {
        trace.line("App Data Migration failed with: " + exception.what);
    }
}

void readRemoval(TraceReader& trace, RunFacts& facts) {
    try {
        if (!readOlderPackageRemoval(trace, facts))
            trace.line("Uninstallation of older package failed.");
    } catch (const StandardException& exception) {
        trace.line("uninstallOlderPackageApp failed with: " + exception.what);
    }
}

void readReplacement(TraceReader& trace, RunFacts& facts) {
    try {
        MigrationModel migrator(trace, facts);
        readMigration(trace, migrator);
        readRemoval(trace, facts);
    } catch (const StandardException& exception) {
        trace.line("AppDataMigrator object creation failed with: " + exception.what);
    }
}

bool readSteps(TraceReader& trace, RunFacts& facts, bool isComReady, std::string& token) {
    std::string arguments;
    for (const std::string& argument : facts.arguments)
        arguments += quoted(argument) + " ";
    trace.line("Starting with : " + arguments);
    if (!readPrivileges(trace, token) || !isComReady) return false;
    if (facts.arguments.size() < 5) {
        readUsage(trace);
        return false;
    }
    if (facts.arguments.size() > 5) {
        trace.call("_wcsicmp", {quoted(facts.arguments[5]), "\"true\""});
        facts.isEnterprise = ::strcasecmp(facts.arguments[5].c_str(), "true") == 0;
    }
    trace.line(std::string("isEnterpriseDeployment from arg is:") + (facts.isEnterprise ? "1" : "0"));
    if (!readUserToken(trace, facts)) {
        trace.line("Couldn't find user Token");
        return false;
    }
    readReplacement(trace, facts);
    return readPostInstall(trace, facts);
}

// COM ends, the log closes, then the record goes with its token: at every exit, and when a platform
// exception is on its way to the process entry.
void readExit(TraceReader& trace, const std::string& token) {
    trace.call("CoUninitialize");
    trace.closeLog();
    if (!token.empty()) trace.call("CloseHandle", {token});
}

unsigned long readSequence(TraceReader& trace, RunFacts& facts) {
    readLogStart(trace, facts.arguments[0]);
    bool isComReady = false;
    readComStart(trace, isComReady);
    std::string token;  // empty until it is open
    bool hasSucceeded = false;
    try {
        hasSucceeded = readSteps(trace, facts, isComReady, token);
    } catch (const PlatformFailure&) {
        readExit(trace, token);
        throw;
    }
    readExit(trace, token);
    return hasSucceeded ? 0 : kFailureExit;
}

// The publishers' names are made before the process entry, which has the handler.
bool isBeforeEntry(const standin::Call& failed) {
    return !failed.arguments.empty() && failed.arguments[0].starts_with("\"CN=Velta ");
}

}  // namespace

std::string lowerCase(std::string text) {
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

unsigned long readRun(TraceReader& trace, RunFacts& facts) {
    try {
        return readSequence(trace, facts);
    } catch (const PlatformFailure& failure) {
        if (!isBeforeEntry(trace.calls()[trace.position() - 1])) {
            if (trace.nextIs("SetRestrictedErrorInfo")) trace.call("SetRestrictedErrorInfo");
            trace.call("RoFailFastWithErrorContext", {failure.hresult});
            trace.endProcess(kFastFailWithContext);
        }
    } catch (const StandardException&) {
        // No handler: the runtime ends the process.
    }
    trace.endProcess(kFastFail);
}

bool readPostInstall(TraceReader& trace, RunFacts& facts) {
    if (!readPackageLookup(trace, facts)) {
        trace.line("Couldn't find package install path");
        return false;
    }
    std::vector<std::string> files = {"\\LumoraSDKAppServiceClient.exe",
                                      "\\TraceRelay2.exe",
                                      "\\LogSession.dll",
                                      "\\FerroxMessage5.dll",
                                      "\\VeltaPIP.dll",
                                      "\\FerroxControl.dll"};
    const std::string debugRuntime = "\\ucrtbased.dll";
    if (trace.ok("PathFileExistsW", {quoted(facts.installPath + debugRuntime)}))
        files.push_back(debugRuntime);
    readWellKnownSid(trace, "27");
    readWellKnownSid(trace, "22");
    if (!readHardening(trace, facts, files)) return false;
    if (!readAppContainerFolderAccess(trace, facts)) return false;
    if (!readLoopbackExemption(trace, facts)) {
        trace.line("Enabling the localhost has failed, but we don't want to fail the install process");
    }
    if (!readCommonFilesAccess(trace, facts)) {
        trace.line(
            "Grant permission for Program Files\\Common Files\\Velta\\RXP failed. GetLastError returned: " +
            lastError(trace));
    }
    if (readUserDataFolders(trace, facts)) readPluginMigration(trace, facts);
    return readCrashDumps(trace, facts);
}
