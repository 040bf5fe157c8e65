#include <algorithm>

#include "LaunchModel.h"
#include "RunModel.h"

namespace {

constexpr const char* kPublisher =
    "CN=Velta Inc., OU=Velta Inc., O=Velta Inc., L=Port Alder, S=ca, C=US, SERIALNUMBER=9150426, "
    "OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, "
    "OID.1.3.6.1.4.1.311.60.2.1.3=US";
constexpr const char* kLegacyPublisher =
    "CN=Velta Systems Incorporated, OU=Velta Systems, O=Velta Systems Incorporated, L=Port Alder, "
    "S=Norvale, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, "
    "OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US";

constexpr const char* kManager = "PackageManager#*";

using Packages = std::vector<const PackageFacts*>;

void readActivation(TraceReader& trace) {
    try {
        const standin::Call& factory = trace.orThrow(
            "RoGetActivationFactory", {quoted("Windows.Management.Deployment.PackageManager"),
                                       "{00000035-0000-0000-C000-000000000046}"});
        trace.orThrow("IActivationFactory::ActivateInstance", {factory.arguments[2]});
    } catch (const PlatformFailure&) {
        // It asks the factory for the interface itself. Where the trace is ordered by the calls'
        // ends, that has been read before it.
        if (trace.nextIs("RoGetActivationFactory")) trace.orThrow("RoGetActivationFactory");
        throw;
    }
}

// The system compares names without regard to case.
Packages packagesOf(const RunFacts& facts, const std::string& name, const std::string& publisher) {
    Packages found;
    for (const PackageFacts& package : facts.packages) {
        if (lowerCase(package.name) == lowerCase(name) && package.publisher == publisher)
            found.push_back(&package);
    }
    return found;
}

// Without a SID those of the one who asks.
Packages packagesOfUser(const RunFacts& facts, const std::string& sid, const std::string& name) {
    Packages found = packagesOf(facts, name, kLegacyPublisher);
    const std::string user = lowerCase(sid.empty() ? facts.tokenUserSid : sid);
    std::erase_if(found, [&](const PackageFacts* package) {
        return std::none_of(package->users.begin(), package->users.end(),
                            [&](const std::string& one) { return lowerCase(one) == user; });
    });
    return found;
}

template <typename Step>
void readEach(TraceReader& trace, const Packages& found, Step step) {
    trace.orThrow("IIterable<Package>::First", {"Iterable#*"});
    trace.orThrow("IIterator<Package>::get_HasCurrent", {"Iterator#*"});
    for (const PackageFacts* const package : found) {
        trace.orThrow("IIterator<Package>::get_Current", {"Iterator#*"});
        step(*package);
        trace.orThrow("IIterator<Package>::MoveNext", {"Iterator#*"});
    }
}

void readOfId(TraceReader& trace, const std::string& property) {
    trace.orThrow("IPackage::get_Id", {"Package#*"});
    trace.orThrow("IPackageId::get_" + property, {"PackageId#*"});
}

// Behind a handler: the text of the failure is the system's own.
void readFailure(TraceReader& trace, const PlatformFailure& failure, const std::string& what) {
    while (trace.nextIs("IRestrictedErrorInfo::GetErrorDetails"))
        trace.call("IRestrictedErrorInfo::GetErrorDetails");
    if (failure.hresult == "0x80070005") {
        trace.line(what + " because access was denied.");
    } else {
        trace.lineBeginning(what + ". Error message: ");
    }
}

bool readIsEqual(TraceReader& trace, const std::string& a, const std::string& b) {
    trace.orThrow("WindowsCompareStringOrdinal", {quoted(a), quoted(b)});
    return a == b;
}

void readMatch(TraceReader& trace, RunFacts& facts, const PackageFacts& package) {
    readOfId(trace, "Version");
    readOfId(trace, "Name");
    if (!readIsEqual(trace, package.name, facts.arguments[2])) return;
    if (!readIsEqual(trace, package.version, facts.arguments[1])) return;
    trace.orThrow("IPackage::get_InstalledLocation");
    trace.orThrow("IStorageItem::get_Path");
    facts.installPath = package.installPath;
    readOfId(trace, "FamilyName");
    facts.packageFamilyName = package.familyName;
}

std::string olderPackageName(TraceReader& trace, std::string name) {
    constexpr size_t kMarkerPlace = 5;
    if (name.size() < kMarkerPlace) trace.raise("invalid string position");
    return name.insert(kMarkerPlace, ".LC");
}

// The handler asks for the ending on the operation's own thread. That begins behind the attaching,
// and the main thread waits for it and makes no call meanwhile: all calls stand in one order. A
// failure of the handler's calls reaches the main thread with the end of the wait.
void readRemovalEnd(TraceReader& trace, const PackageFacts& package) {
    using Removal = PackageFacts::Removal;
    const standin::Call& waiting = trace.orThrow("IAsyncOperationWithProgress::put_Completed",
                                                 {"DeploymentOperation#*", "handler"});
    const std::string& operation = waiting.arguments[0];
    if (package.removal == Removal::Failed) {
        trace.orThrow("IAsyncInfo::get_ErrorCode", {operation});
        throw PlatformFailure{package.removalError};
    }
    if (package.removal != Removal::Canceled)
        trace.orThrow("IAsyncOperationWithProgress::GetResults", {operation});
}

// Whether the package has been removed as far as the result tells.
bool readRemoval(TraceReader& trace, const RunFacts& facts, const PackageFacts& package) {
    using Removal = PackageFacts::Removal;
    trace.line("Uninstalling " + package.fullName);
    trace.orThrow("IPackageManager2::RemovePackageWithOptionsAsync",
                  {kManager, quoted(package.fullName), facts.isEnterprise ? "0x80000" : "0x0"});
    readRemovalEnd(trace, package);
    if (facts.isEnterprise) {
        trace.orThrow("IPackageManager8::DeprovisionPackageForAllUsersAsync",
                      {kManager, quoted(package.familyName)});
    }
    if (package.removal == Removal::Canceled) trace.raise("Unknown exception");
    trace.orThrow("IDeploymentResult::get_ExtendedErrorCode");
    if (package.removal == Removal::Done) return true;
    trace.orThrow("IDeploymentResult::get_ErrorText");
    trace.line("UninstallApp failed. Error message: " + package.removalText);
    return false;
}

// One attempt on all older packages.
struct OlderPackages {
    bool isDeElevated = false;
    bool hasSucceeded = true;
    std::vector<std::string> forCompanion;
};

void readOlderPackage(TraceReader& trace, const RunFacts& facts, const PackageFacts& package,
                      OlderPackages& older) {
    try {
        readOfId(trace, "FullName");
        readOfId(trace, "FamilyName");
        if (older.isDeElevated) {
            trace.line("Adding package in packagesToUninstall list: " + package.fullName);
            older.forCompanion.push_back(package.fullName);
        } else if (!readRemoval(trace, facts, package)) {
            older.hasSucceeded = false;
        }
    } catch (const PlatformFailure& failure) {
        readFailure(trace, failure, "UninstallApp failed");
        older.hasSucceeded = false;
    }
}

Packages readSearch(TraceReader& trace, const RunFacts& facts, const std::string& name,
                    const std::string& loggedOn) {
    if (facts.isEnterprise) {
        trace.orThrow("IPackageManager::FindPackagesByNamePublisher",
                      {kManager, quoted(name), quoted(kLegacyPublisher)});
        return packagesOf(facts, name, kLegacyPublisher);
    }
    trace.orThrow("IPackageManager::FindPackagesByUserSecurityIdNamePublisher",
                  {kManager, quoted(loggedOn), quoted(name), quoted(kLegacyPublisher)});
    return packagesOfUser(facts, loggedOn, name);
}

void readOlderPackages(TraceReader& trace, RunFacts& facts, OlderPackages& older) {
    readActivation(trace);
    const std::string name = olderPackageName(trace, facts.arguments[2]);
    trace.atEnd();  // an allocation that fails for the name is not caught with those of the SID
    const std::string loggedOn = readLoggedOnUserSid(trace, facts);
    trace.line("current user SID " + facts.tokenUserSid);
    if (!facts.isEnterprise) {
        trace.call("_wcsicmp", {quoted(facts.tokenUserSid), quoted(loggedOn)});
        older.isDeElevated = lowerCase(facts.tokenUserSid) != lowerCase(loggedOn);
    }
    trace.line(std::string("shouldLaunchRemovalInDeElevatedMode : ") +
               (older.isDeElevated ? "1" : "0"));
    readEach(trace, readSearch(trace, facts, name, loggedOn),
             [&](const PackageFacts& package) { readOlderPackage(trace, facts, package, older); });
}

}  // namespace

bool readPackageLookup(TraceReader& trace, RunFacts& facts) {
    facts.packageFamilyName.clear();
    facts.installPath.clear();
    try {
        readActivation(trace);
        trace.orThrow("IPackageManager::FindPackagesByNamePublisher",
                      {kManager, quoted(facts.arguments[2]), quoted(kPublisher)});
        readEach(trace, packagesOf(facts, facts.arguments[2], kPublisher),
                 [&](const PackageFacts& package) { readMatch(trace, facts, package); });
    } catch (const PlatformFailure& failure) {
        readFailure(trace, failure, "FindPackages failed");
    }
    return !readIsEqual(trace, facts.installPath, "") &&
           !readIsEqual(trace, facts.packageFamilyName, "");
}

bool readOlderPackageRemoval(TraceReader& trace, RunFacts& facts) {
    OlderPackages older;
    try {
        readOlderPackages(trace, facts, older);
    } catch (const PlatformFailure& failure) {
        readFailure(trace, failure, "FindPackagesForUser failed");
        return false;
    }
    if (!older.forCompanion.empty()) {
        trace.line("Not enterprise deploment: Calling LaunchProcessDeElevated");
        if (readDeElevatedLaunch(trace, older.forCompanion))
            trace.line("LaunchProcessDeElevated executed successfully.");
    }
    return older.hasSucceeded;
}
