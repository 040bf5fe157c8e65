#include "LastErrorModel.h"
#include "RunModel.h"

namespace {

constexpr const char* kUsersSid = "S-1-5-32-545";
constexpr const char* kSystemSid = "S-1-5-18";

// Returns the status that tells whether it went well: 0, or the number that the failed call gave.
std::string readOwner(TraceReader& trace, const std::string& path, const std::string& sid) {
    const bool isSet = trace.ok("SetNamedSecurityInfoW",
                                {quoted(path), "1", "0x1", sid, "null", "null", "null"});
    return isSet ? "0" : trace.error();
}

std::string readFailedGrant(TraceReader& trace, const std::string& function) {
    const std::string status = trace.error();
    trace.line(function + " Error " + status);
    return status;
}

// The same.
std::string readGrant(TraceReader& trace, const std::string& path, const std::string& sid,
                      const std::string& mask) {
    if (!trace.ok("GetNamedSecurityInfoW",
                  {quoted(path), "1", "0x4", "null", "null", "out", "null", "null"})) {
        return readFailedGrant(trace, "GetNamedSecurityInfo");
    }
    const std::string entry = "[access=" + mask +
                              " mode=1 inheritance=0x0 multiple=null operation=0 form=0 type=0 " +
                              sid + "]";
    if (!trace.ok("SetEntriesInAclW", {"1", entry, "[*", "given"}))
        return readFailedGrant(trace, "SetEntriesInAcl");
    const standin::Call& set = trace.call("SetNamedSecurityInfoW",
                                          {quoted(path), "1", "0x4", "null", "null", "*", "null"});
    // The old list alone may lack the one whom the access is for.
    if (set.arguments[5].find("allow " + sid + " ") == std::string::npos)
        trace.deviate("the new access list before this call");
    return set.failed ? readFailedGrant(trace, "SetNamedSecurityInfo") : "0";
}

bool readLabel(TraceReader& trace, const std::string& path) {
    const standin::Call& conversion = trace.call(
        "ConvertStringSecurityDescriptorToSecurityDescriptorW",
        {quoted("S:(ML;;NW;;;ME)"), "1", "*", "null"});
    if (conversion.failed) {
        trace.line(
            "ConvertStringSecurityDescriptorToSecurityDescriptor failed. GetLastError returned: " +
            trace.error());
        return false;
    }
    const standin::Call& list = trace.call("GetSecurityDescriptorSacl", {conversion.arguments[2]});
    if (list.failed) {
        // The descriptor is given back before the error is read.
        trace.line("GetSecurityDescriptorSacl failed. GetLastError returned: " + lastError(trace));
        return false;
    }
    if (list.arguments[1] == "0") {
        trace.line("GetSecurityDescriptorSacl failed and pSacl is invalid");
        return false;
    }
    if (!trace.ok("SetNamedSecurityInfoW", {quoted(path), "1", "0x10", "null", "null", "null",
                                            "[label S-1-16-8192 0x1 flags 0x0]"})) {
        trace.line(
            "SetNamedSecurityInfo with SECURITY_INFORMATION type LABEL_SECURITY_INFORMATION "
            "failed. Error: " +
            trace.error() + ".");
        return false;
    }
    trace.line("SetMediumIntegrityLabelToFile executed successfully");
    return true;
}

// The line of a step that failed; whether it succeeded.
bool hasSucceeded(TraceReader& trace, const std::string& status, const std::string& failure) {
    if (status == "0") return true;
    trace.line(failure + " Error: " + status + ".");
    return false;
}

bool readFile(TraceReader& trace, const std::string& path, const std::string& userSid,
              bool isLabelled) {
    trace.line("fullpath is " + path);
    if (!hasSucceeded(trace, readOwner(trace, path, userSid), "Could not set owner.")) return false;
    if (!hasSucceeded(trace, readGrant(trace, path, userSid, "0xFFFFFFFF"),
                      "Failed to add all permissions to admin user.")) {
        return false;
    }
    if (!hasSucceeded(trace, readGrant(trace, path, kUsersSid, "0xA0000000"),
                      "Failed to add read and execute permission to all users.")) {
        return false;
    }
    if (isLabelled && !readLabel(trace, path)) {
        trace.line("SetMediumIntegrityLabelToFile failed to set integrity level. Error: 0.");
        return false;
    }
    return hasSucceeded(trace, readOwner(trace, path, kSystemSid), "Could not set owner to system.");
}

}  // namespace

void readWellKnownSid(TraceReader& trace, const std::string& type) {
    if (!trace.ok("LocalAlloc", {"0x0", "68"})) {
        trace.line("Can't allocate 68 for PSID.");
        trace.raise("Unknown exception");
    }
    if (!trace.ok("CreateWellKnownSid", {type, "null", "given", "68*"})) {
        trace.line("Can't create well known sid " + type + ". Last error is: " + trace.error() + ".");
        trace.raise("Unknown exception");
    }
}

bool readHardening(TraceReader& trace, RunFacts& facts, const std::vector<std::string>& files) {
    for (const std::string& file : files) {
        const bool isLabelled = &file != &files.front();  // the first keeps the level that it has
        if (!readFile(trace, facts.installPath + file, facts.tokenUserSid, isLabelled))
            return false;
    }
    trace.line("Permission of files changed successfully");
    return true;
}
