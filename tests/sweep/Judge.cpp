#include <optional>

#include "stand-in/PendingCall.h"
#include "stand-in/Text.h"
#include "sweep/Checks.h"
#include "sweep/Fence.h"
#include "sweep/SweepRun.h"
#include "sweep/model/RunModel.h"

namespace {

using standin::toWide;

// How the model came to the end of a trace.
struct Reading {
    enum class End { Exit, Process, BrokenOff, Deviation };
    End end = End::Deviation;
    unsigned long exitCode = 0;
    std::string deviation;
    size_t position = 0;
    RunFacts facts;
};

Reading readOnce(const SweepRun& run, TraceReader& trace) {
    Reading reading;
    reading.facts = run.facts;
    try {
        reading.exitCode = readRun(trace, reading.facts);
        if (!trace.atEnd()) trace.deviate("the end of the run");
        reading.end = Reading::End::Exit;
    } catch (const ProcessEnd& end) {
        reading.end = Reading::End::Process;
        reading.exitCode = end.exitCode;
    } catch (const TraceEnd&) {
        reading.end = Reading::End::BrokenOff;
    } catch (const Deviation& deviation) {
        reading.deviation = deviation.what();
    } catch (const StandardException& exception) {
        reading.deviation = "the model has an exception at the end: " + exception.what;
    } catch (const PlatformFailure& failure) {
        reading.deviation = "the model has a platform exception at the end: " + failure.hresult;
    }
    reading.position = trace.position();
    return reading;
}

bool isWrong(const Reading& reading, bool isKilled) {
    return reading.end == Reading::End::Deviation ||
           (reading.end == Reading::End::BrokenOff && !isKilled);
}

// Which failed allocations were exceptions no trace tells: tries each way that the model can go,
// the last decision first, and keeps the one that comes furthest.
Reading read(const SweepRun& run, bool isKilled) {
    constexpr int kMostTries = 2000;
    std::vector<Allocation> decisions;
    std::optional<Reading> best;
    for (int i = 0; i < kMostTries; ++i) {
        TraceReader trace(run.calls, decisions);
        Reading reading = readOnce(run, trace);
        if (!isWrong(reading, isKilled)) return reading;
        if (!best || reading.position > best->position) best = reading;
        decisions = trace.allocations();
        while (!decisions.empty() && decisions.back() == Allocation::IsBorne)
            decisions.pop_back();
        if (decisions.empty()) break;
        decisions.back() = decisions.back() == Allocation::Throws ? Allocation::LosesLog
                                                                  : Allocation::IsBorne;
    }
    return *best;
}

// Wine reports a stack overflow as an exit with 0.
bool isStackOverflow(const SweepRun& run) {
    return run.result.exitCode == STATUS_STACK_OVERFLOW ||
           (run.result.exitCode == 0 && !run.result.endedNormally && !run.result.timedOut);
}

// The C++ runtime's own allocations, of locks and of what each thread has, go through malloc too:
// where one of them fails, the runtime aborts, or (pthread_once, alone in wanting 256 bytes) reads
// through the null pointer. Part of its code runs on, so the end looks orderly.
bool isAbortedByRuntime(SweepRun& run) {
    constexpr DWORD kAbort = 3;
    if (run.calls.empty()) return false;
    const standin::Call& last = run.calls.back();
    if (last.name != "malloc" || !last.failed) return false;
    const bool isOnce = run.result.exitCode == STATUS_ACCESS_VIOLATION &&
                        last.arguments.at(0) == "256";
    if (run.result.exitCode != kAbort && !isOnce) return false;
    run.result.endedNormally = false;
    return true;
}

// Without memory for a first exception the C++ runtime throws another one for lack of memory for the
// lock of its reserve, and so on until the stack is used up: the end is as sudden as that of an
// exception without a handler, with another code. What the run did before must be right all the same.
bool isOutOfMemoryForGood(SweepRun& run) {
    constexpr size_t kWithoutEnd = 1000;
    size_t failed = 0;
    while (failed < run.calls.size() && run.calls[run.calls.size() - 1 - failed].name == "malloc")
        ++failed;
    if (failed < kWithoutEnd || !isStackOverflow(run)) return false;
    run.calls.resize(run.calls.size() - failed);
    return true;
}

void checkEnd(const SweepRun& run, const Reading& reading, bool isKilled, Problems& problems) {
    if (reading.end == Reading::End::Deviation) {
        problems.push_back(reading.deviation);
        return;
    }
    if (isKilled) return;
    constexpr size_t kMostCalls = 20000;  // the longest run of a sweep's world has about 4,000
    if (run.result.timedOut || run.calls.size() > kMostCalls) {
        problems.push_back("the run did not end, or not soon");
        return;
    }
    if (reading.end == Reading::End::BrokenOff) {
        problems.push_back("the run broke off behind call " +
                           (run.calls.empty() ? "" : run.calls.back().text()) + " with exit code " +
                           std::to_string(run.result.exitCode));
        return;
    }
    const bool isSame = run.result.exitCode == reading.exitCode ||
                        (reading.exitCode == STATUS_STACK_OVERFLOW && isStackOverflow(run));
    if (!isSame) {
        problems.push_back("the exit code is " + std::to_string(run.result.exitCode) + ", not " +
                           std::to_string(reading.exitCode));
    }
    if (run.result.endedNormally != (reading.end == Reading::End::Exit))
        problems.push_back(run.result.endedNormally ? "the run ended in order"
                                                    : "the run ended in the middle");
}

// Required: nobody looks whether a component could be added to a path, so the run goes on with the path that is left.
void allowPathThatIsLeft(const std::wstring& left, const std::string& missing, bool isEnterprise,
                         Fence& fence) {
    if (missing == "lsdkConfiguratorLog.txt") fence.allowLog(left);
    if (missing == "Packages") fence.allow(left + L"\\Velta.QK_kt83f9rd2xj6a");
    if (missing == "Velta.QK_kt83f9rd2xj6a") {
        for (const wchar_t* folder : {L"LocalState", L"Settings", L"LocalCache", L"TempState"})
            fence.allow(left + L"\\" + folder);
    }
    // Then all of the old package is taken for its app data, which an enterprise deployment moves.
    if (isEnterprise && missing == "LocalState" && left.ends_with(L"\\Velta.LC.QK_qzw4mhtrvb2ne"))
        fence.allow(left);
}

Fence fenceOf(const SweepRun& run, const World& world) {
    Fence fence(world, run.world->users, run.world->isEnterprise);
    // Required: an empty folder for the user's plug-ins makes a path that begins at the drive's root.
    if (run.facts.rxpAppDataPath.empty())
        fence.allow(L"\\Plugins\\External\\.pluginsMigrationStatus.json");
    std::wstring path;  // that is being made
    for (const standin::Call& call : run.calls) {
        if (!call.failed && (call.name == "wcscpy_s" || call.name.starts_with("PathCchA")))
            path = toWide(unquoted(call.arguments.at(0)));
        if (!call.injected) continue;
        // Required: nobody looks whether the log's path could be made. Without the program's own path
        // the log lies in the working folder; with the program's name or without its own it cannot be opened.
        if (call.name == "GetModuleFileNameW") fence.allowLog(L"lsdkConfiguratorLog.txt");
        if (call.name == "PathCchRemoveFileSpec")
            fence.allowLog(world.installer() + L"\\LSDKConfigurator.exe\\lsdkConfiguratorLog.txt");
        if (call.name == "PathCchAppend")
            allowPathThatIsLeft(path, unquoted(call.arguments.at(2)), run.world->isEnterprise, fence);
    }
    return fence;
}

}  // namespace

std::vector<std::string> judge(SweepRun& run, const SweepRun& clean, const World& world) {
    Problems problems;
    const bool isKilled = run.result.exitCode == standin::kEndedByFault ||
                          isAbortedByRuntime(run) || isOutOfMemoryForGood(run);
    const Reading reading = read(run, isKilled);
    run.facts = reading.facts;
    checkEnd(run, reading, isKilled, problems);
    checkBeginning(run, clean, problems);
    checkOldKeys(run, problems);
    if (run.world->isEnterprise) {
        checkMovedFiles(run, world, problems);
    } else {
        checkOldTree(run, world, problems);
    }
    checkOrder(run, problems);
    checkPlugins(run, world, problems);
    checkStatusFiles(run, world, problems);
    if (reading.end != Reading::End::Deviation) checkPluginStatus(run, world, problems);
    checkLedger(run, problems);
    checkLogOnDisk(run, problems);
    const Fence fence = fenceOf(run, world);
    for (const std::string& breach : fence.breaches(run.calls))
        problems.push_back("writes where it must not: " + breach);
    for (const std::string& fault : run.result.unfiredFaults) {
        if (run.result.endedNormally && fault.starts_with("#"))
            problems.push_back("never failed: " + fault);
    }
    return problems;
}
