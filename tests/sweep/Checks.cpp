#include "sweep/Checks.h"

#include <algorithm>
#include <map>
#include <set>

#include "stand-in/Text.h"
#include "sweep/model/TraceReader.h"

namespace {

using standin::toUtf8;
using standin::toWide;

bool isRelease(const standin::Call& call) {
    return call.name == "LocalFree" || call.name == "RegCloseKey" ||
           call.name == "GetSystemTimeAsFileTime";
}

// What a sweep let no call give back.
bool isKeptByFailedRelease(const SweepRun& run, const std::string& leak) {
    const std::set<std::string> releases = {"CloseHandle", "FindClose", "RegCloseKey",
                                            "LocalFree",   "HeapFree",  "FreeLibrary"};
    return std::any_of(run.calls.begin(), run.calls.end(), [&](const standin::Call& call) {
        if (!call.injected) return false;
        return releases.contains(call.name) && call.arguments.back() == leak;
    });
}

// Required: the memory of a well-known SID that could not be made is not released.
bool isOfFailedSid(const SweepRun& run, const std::string& leak) {
    for (size_t i = 1; i + 1 < run.calls.size(); ++i) {
        const standin::Call& call = run.calls[i];
        if (call.name != "CreateWellKnownSid" || !call.failed || run.calls[i - 1].result != leak)
            continue;
        const auto line = std::find_if(
            run.calls.begin() + static_cast<ptrdiff_t>(i), run.calls.end(),
            [](const standin::Call& next) { return next.name == "_write"; });
        if (line != run.calls.end() &&
            line->arguments[1].find("Can't create well known sid ") != std::string::npos) {
            return true;
        }
    }
    return false;
}

}  // namespace

std::wstring copyOf(const SweepRun& run, const World& world, const std::wstring& name) {
    std::wstring place;
    bool isPathShort = false;
    for (const standin::Call& call : run.calls) {
        isPathShort |= call.injected && call.name == "PathCchAppend";
        if (isPathShort && call.name == "CopyFileW" && !call.failed &&
            toWide(unquoted(call.arguments[0])) == world.path(name)) {
            place = relativeTo(world, toWide(unquoted(call.arguments[1])));
        }
    }
    return place;
}

void checkBeginning(const SweepRun& run, const SweepRun& clean, Problems& problems) {
    for (size_t i = 0; i < run.calls.size(); ++i) {
        if (run.calls[i].injected) return;
        if (i >= clean.calls.size() || run.calls[i].text() != clean.calls[i].text()) {
            // The trace shows a pointer's value, and a torn call has no result.
            if (run.calls[i].text().find("User.Sid :0x") != std::string::npos) continue;
            if (run.calls[i].result == "does not return") return;
            problems.push_back("before anything has failed the run differs: " + run.calls[i].text());
            return;
        }
    }
}

void checkOldKeys(const SweepRun& run, Problems& problems) {
    if (run.after.oldKeys != run.before.oldKeys)
        problems.push_back("the old package's keys have changed");
}

void checkOldTree(const SweepRun& run, const World& world, Problems& problems) {
    for (const WorldUser& user : run.world->users) {
        const std::wstring old = relativeTo(world, world.oldPackage(user));
        if (below(run.before, old) != below(run.after, old))
            problems.push_back("the old package's files have changed: " + toUtf8(old));
    }
}

void checkMovedFiles(const SweepRun& run, const World& world, Problems& problems) {
    for (const WorldUser& user : run.world->users) {
        const std::wstring old = relativeTo(world, world.oldPackage(user));
        const auto newFiles = below(run.after, relativeTo(world, world.newPackage(user)));
        const auto oldFiles = below(run.after, old);
        for (const auto& [name, bytes] : below(run.before, old)) {
            if (name.ends_with(L'\\')) continue;
            const auto kept = oldFiles.find(name);
            const auto moved = newFiles.find(name);
            const bool isKept = kept != oldFiles.end() && kept->second == bytes;
            const bool isMoved = moved != newFiles.end() && moved->second == bytes;
            // Required: where a component cannot be added to a path, the file goes to the path that is left.
            const auto elsewhere = run.after.tree.find(copyOf(run, world, old + L"\\" + name));
            const bool isElsewhere = elsewhere != run.after.tree.end() && elsewhere->second == bytes;
            if (!isKept && !isMoved && !isElsewhere)
                problems.push_back("lost: " + toUtf8(old + L"\\" + name));
        }
    }
    std::string copied;  // by the call before
    for (const standin::Call& call : run.calls) {
        if (isRelease(call)) continue;
        if (call.name == "DeleteFileW" &&
            call.arguments[0].find("\\Packages\\") != std::string::npos &&
            call.arguments[0] != copied) {
            problems.push_back("not behind its copy: " + call.text());
        }
        copied = call.name == "CopyFileW" && !call.failed ? call.arguments[0] : "";
    }
}

void checkOrder(const SweepRun& run, Problems& problems) {
    bool isRemoving = false;
    for (const standin::Call& call : run.calls) {
        isRemoving |= call.name == "CreateProcessWithTokenW" ||
                      call.name.find("::RemovePackage") != std::string::npos;
        const bool isMigrating = call.name == "CopyFileW" || call.name == "RegCopyTreeW" ||
                                 call.name == "CreateFileW" || call.name == "DeleteFileW" ||
                                 call.name == "RemoveDirectoryW";
        if (isRemoving && isMigrating &&
            call.arguments.at(0).find(".pluginsMigrationStatus.json") == std::string::npos)
            problems.push_back("behind the removal of a package: " + call.text());
    }
}

void checkLedger(const SweepRun& run, Problems& problems) {
    if (!run.result.endedNormally) return;
    // A string's release does not name the string.
    auto keptStrings = std::count_if(run.calls.begin(), run.calls.end(),
                                     [](const standin::Call& call) {
                                         return call.injected && call.name == "WindowsDeleteString";
                                     });
    for (const std::string& leak : run.result.leaks) {
        if (leak.starts_with("string#") && keptStrings-- > 0) continue;
        // The text of the own SID and the descriptors behind the files' lists are never released.
        const bool isMeant = leak == "memory#1" || leak.starts_with("lost descriptor#");
        if (!isMeant && !isKeptByFailedRelease(run, leak) && !isOfFailedSid(run, leak))
            problems.push_back(leak + " is still out");
    }
    for (const std::string& twice : run.result.doubleReleases)
        problems.push_back("given back twice: " + twice);
    for (const std::string& misuse : run.result.misuse)
        problems.push_back("misuse: " + misuse);
}

void checkLogOnDisk(const SweepRun& run, Problems& problems) {
    std::string expected;
    std::string torn;  // the last write, if the process ended in the middle of it
    bool isOpen = false;
    for (const standin::Call& call : run.calls) {
        if (call.name == "_wfopen" && call.arguments[1] == "\"a\"") isOpen = !call.failed;
        // The first file that the run opens; without a log another one has that number.
        if (!isOpen || call.name != "_write" || call.arguments[0] != "3") continue;
        if (call.result == "does not return") {
            torn = unquoted(call.arguments[1]);
        } else if (!call.failed) {
            expected += unquoted(call.arguments[1]);
        }
    }
    std::string actual;
    for (const char letter : run.logWritten) {
        const auto code = static_cast<unsigned char>(letter);
        if (letter == '\r') continue;
        if (letter == '\n') {
            actual += "\\u000A";
        } else if (letter == '\0') {
            actual += "\\0";
        } else if (code < 0x80) {
            actual += letter;
        } else {
            actual += static_cast<char>(0xC0 | (code >> 6));
            actual += static_cast<char>(0x80 | (code & 0x3F));
        }
    }
    const bool isHalf = actual.size() < expected.size() + torn.size() &&
                        (expected + torn).starts_with(actual) && actual.starts_with(expected);
    if (torn.empty() ? actual != expected : !isHalf)
        problems.push_back("the log on disk is not what was written to it");
}
