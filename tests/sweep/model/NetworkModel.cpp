#include <array>

#include "RunModel.h"

namespace {

constexpr std::array<const char*, 4> kFunctions = {
    "NetworkIsolationEnumAppContainers", "NetworkIsolationSetAppContainerConfig",
    "NetworkIsolationGetAppContainerConfig", "NetworkIsolationFreeAppContainers"};

bool readFunctions(TraceReader& trace, const std::string& library) {
    bool areThere = true;
    for (const char* const function : kFunctions)
        areThere &= trace.ok("GetProcAddress", {library, quoted(function)});
    if (!areThere) trace.unended("GetProcAddress failed in Firewallapi.dll");
    return areThere;
}

// The package's container, or null.
const ContainerFacts* readMatch(TraceReader& trace, const RunFacts& facts) {
    for (const ContainerFacts& container : facts.containers) {
        trace.call("_wcsicmp", {quoted(facts.packageFamilyName), quoted(container.name)});
        if (lowerCase(container.name) != lowerCase(facts.packageFamilyName)) continue;
        trace.unended("found " + container.packageFullName + " " + container.name + " " +
                      container.displayName);
        return container.sid.empty() ? nullptr : &container;
    }
    return nullptr;
}

bool readExemption(TraceReader& trace, const RunFacts& facts) {
    const ContainerFacts* const match = readMatch(trace, facts);
    if (match == nullptr) {
        trace.unended("Unable to find SID for app" + facts.packageFamilyName);
        return false;
    }
    if (!trace.ok("NetworkIsolationGetAppContainerConfig")) {
        trace.unended("Error enumerating app container config" + trace.error());
        return false;
    }
    std::string exempt;
    for (const std::string& sid : facts.exemptSids)
        exempt += sid + "; ";
    // No look whether it is among them already.
    exempt = "[" + exempt + match->sid + " attributes 0x0]";
    const std::string count = std::to_string(facts.exemptSids.size() + 1);
    if (!trace.ok("NetworkIsolationSetAppContainerConfig", {count, exempt})) {
        trace.unended("Could not enable loopback access for app " + facts.packageFamilyName + " " +
                      trace.error());
        return false;
    }
    return true;
}

}  // namespace

bool readLoopbackExemption(TraceReader& trace, RunFacts& facts) {
    const standin::Call& library = trace.call("LoadLibraryW", {quoted("Firewallapi.dll")});
    if (library.failed) {
        trace.line("LoadLibrary Firewallapi.dll failed " + trace.error());
        return false;
    }
    if (!readFunctions(trace, library.result)) return false;
    if (!trace.ok("NetworkIsolationEnumAppContainers", {"2"})) {
        trace.unended("Error enumerating network isolation containers" + trace.error());
        return false;
    }
    try {
        const bool isExempt = readExemption(trace, facts);
        trace.call("NetworkIsolationFreeAppContainers", {"containers#*"});
        return isExempt;
    } catch (const StandardException&) {
        // No memory for the new list. Nobody catches this, so it may be that nothing is unwound.
        if (trace.nextIs("NetworkIsolationFreeAppContainers"))
            trace.call("NetworkIsolationFreeAppContainers", {"containers#*"});
        throw;
    }
}
