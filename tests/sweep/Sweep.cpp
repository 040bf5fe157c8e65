#include "sweep/Sweep.h"

#include <map>
#include <memory>
#include <stdexcept>

#include "stand-in/PendingCall.h"
#include "sweep/Checks.h"
#include "sweep/ErrorTable.h"

namespace {

// The run without faults in a world of that kind. It is the same every time.
const SweepRun& cleanRun(const SweepWorld& world) {
    static std::map<std::string, SweepRun> runs;
    const auto found = runs.find(world.name);
    if (found != runs.end()) return found->second;
    return runs[world.name] = SweepStage(world).run();
}

// Of each call, how many allocations came before it.
std::vector<size_t> allocationsOf(const SweepWorld& world) {
    // A fault that never comes: the allocations are counted all the same.
    return SweepStage(world).run("malloc:1000000000=8").result.allocations;
}

// From call `from` on all calls of all members fail.
std::string lastingFault(const std::vector<standin::Call>& calls, size_t from, size_t allocations,
                         const LastingFailure& failure) {
    std::string faults;
    for (const LastingFailure::Member& member : failure.members) {
        size_t first = member.call == "malloc" ? allocations + 1 : 1;
        for (const standin::Call& call : calls) {
            if (call.number < from && call.name == member.call) ++first;
        }
        faults += (faults.empty() ? "" : ";") + member.call + ":" + std::to_string(first) +
                  "+=" + std::to_string(member.error);
    }
    return faults;
}

// Without memory for its own start the C++ runtime has none for an exception either, and ends
// the process before the program's code has a say.
bool hasBegun(const std::vector<standin::Call>& calls, size_t number) {
    for (const standin::Call& call : calls) {
        if (call.name == "_wfopen") return number > call.number;
    }
    return false;
}

bool isMember(const LastingFailure& failure, const std::string& name) {
    for (const LastingFailure::Member& member : failure.members) {
        if (member.call == name) return true;
    }
    return false;
}

bool canTear(const std::string& name) {
    return name == "WriteFile" || name == "_write" || name == "CopyFileW" ||
           name == "SHFileOperationW" || name == "RegCopyTreeW";
}

void addHeading(const std::string& heading, const Problems& from, Problems& to) {
    for (const std::string& problem : from)
        to.push_back(heading + problem);
}

}  // namespace

std::vector<SweepCase> faultCases(const SweepWorld& world) {
    std::vector<SweepCase> cases;
    const std::vector<standin::Call>& calls = cleanRun(world).calls;
    const std::vector<size_t> allocations = allocationsOf(world);
    for (const standin::Call& call : calls) {
        const std::string number = "#" + std::to_string(call.number);
        for (const unsigned long error : errorsOf(call))
            cases.push_back({world.name, number + "=" + std::to_string(error)});
        for (const LastingFailure& failure : lastingFailures()) {
            if (!isMember(failure, call.name)) continue;
            if (isMember(failure, "malloc") && !hasBegun(calls, call.number)) continue;
            cases.push_back({world.name, lastingFault(calls, call.number,
                                                      allocations.at(call.number), failure)});
        }
    }
    for (size_t i = 1; i <= allocations.back(); ++i)
        cases.push_back({world.name, "malloc:" + std::to_string(i) + "=8"});
    return cases;
}

std::vector<SweepCase> killCases(const SweepWorld& world) {
    std::vector<SweepCase> cases;
    for (const standin::Call& call : cleanRun(world).calls) {
        const std::string number = "#" + std::to_string(call.number);
        cases.push_back({world.name, number + "!"});
        if (canTear(call.name)) cases.push_back({world.name, number + "~"});
    }
    return cases;
}

SweepCase parseCase(const std::string& text) {
    const size_t blank = text.find(' ');
    if (blank == std::string::npos)
        throw std::invalid_argument("a case is a world and faults: " + text);
    return {sweepWorld(text.substr(0, blank)).name, text.substr(blank + 1)};
}

std::vector<std::string> runCase(const SweepCase& sweepCase) {
    const SweepWorld& kind = sweepWorld(sweepCase.world);
    const SweepRun& clean = cleanRun(kind);
    SweepStage stage(kind);
    SweepRun run = stage.run(sweepCase.faults);
    bool hasFired = run.result.exitCode == standin::kEndedByFault;
    for (const standin::Call& call : run.calls)
        hasFired |= call.injected;
    Problems problems = judge(run, clean, stage.world());
    if (!hasFired) problems.push_back("the fault never fired");

    SweepRun again = stage.run();
    Problems later = judge(again, again, stage.world());
    checkRecovery(run, again, clean, stage.world(), later);
    addHeading("in the run that follows: ", later, problems);
    return problems;
}
