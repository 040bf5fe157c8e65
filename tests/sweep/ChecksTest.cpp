// The checks that ask the machine alone find what they are for: a clean run passes each, the same
// run with one thing changed does not.
#include "sweep/Checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "stand-in/PendingCall.h"

namespace {

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

using Calls = std::vector<standin::Call>;

// A run without faults in a typical world, which all tests share.
struct CleanRun {
    SweepStage stage;
    SweepRun run;

    explicit CleanRun(const char* world) : stage(sweepWorld(world)), run(stage.run()) {
        // Fills the facts.
        EXPECT_THAT(judge(run, run, stage.world()), IsEmpty());
    }
};

const CleanRun& typical() {
    static const CleanRun clean("typical");
    return clean;
}

const CleanRun& enterprise() {
    static const CleanRun clean("enterprise");
    return clean;
}

constexpr wchar_t kNewPackage[] = L"anna\\AppData\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a\\";
constexpr wchar_t kOldPackage[] = L"anna\\AppData\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\";
constexpr wchar_t kPlugins[] = L"anna\\AppData\\Roaming\\Velta\\RXP\\Plugins\\External\\";

// The n-th call of that name, from 1, or from the end on.
Calls::iterator nth(Calls& calls, const std::string& name, int number) {
    std::vector<Calls::iterator> found;
    for (auto call = calls.begin(); call != calls.end(); ++call) {
        if (call->name == name) found.push_back(call);
    }
    return found.at(number > 0 ? static_cast<size_t>(number - 1)
                               : found.size() - static_cast<size_t>(-number));
}

struct Row {
    const char* what;
    const CleanRun& (*clean)();
    std::function<void(SweepRun&)> change;
    std::function<void(const SweepRun&, const World&, Problems&)> check;
    const char* problem;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << row.what;
}

void checkKeys(const SweepRun& run, const World&, Problems& problems) {
    checkOldKeys(run, problems);
}
void checkCallOrder(const SweepRun& run, const World&, Problems& problems) {
    checkOrder(run, problems);
}
void checkHandles(const SweepRun& run, const World&, Problems& problems) {
    checkLedger(run, problems);
}
void checkLog(const SweepRun& run, const World&, Problems& problems) {
    checkLogOnDisk(run, problems);
}
void checkSameStart(const SweepRun& run, const World&, Problems& problems) {
    checkBeginning(run, typical().run, problems);
}
// The run changed, as the one that follows one which was killed before its first call.
void checkEnd(const SweepRun& run, const World& world, Problems& problems) {
    SweepRun broken = typical().run;
    broken.after = broken.before;
    broken.result.exitCode = standin::kEndedByFault;
    checkRecovery(broken, run, typical().run, world, problems);
}

const Row kRows[] = {
    {"another call", &typical, [](SweepRun& run) { run.calls[5].name = "Sleep"; }, &checkSameStart,
     "before anything has failed the run differs"},
    {"an old key that is gone", &typical, [](SweepRun& run) { run.after.oldKeys.clear(); },
     &checkKeys, "the old package's keys have changed"},
    {"an old file that is gone", &typical,
     [](SweepRun& run) {
         run.after.tree.erase(std::wstring(kOldPackage) + L"Settings\\settings.dat");
     },
     &checkOldTree, "the old package's files have changed"},
    {"a moved file that is gone", &enterprise,
     [](SweepRun& run) {
         run.after.tree.erase(std::wstring(kNewPackage) +
                              L"LocalState\\drafts\\nested\\deep\\page 1.qk");
     },
     &checkMovedFiles, "lost: "},
    {"a file deleted before it is copied", &enterprise,
     [](SweepRun& run) {
         std::iter_swap(nth(run.calls, "DeleteFileW", 1), nth(run.calls, "CopyFileW", 1));
     },
     &checkMovedFiles, "not behind its copy"},
    {"a removal in the middle of the migration", &typical,
     [](SweepRun& run) {
         std::iter_swap(nth(run.calls, "CreateProcessWithTokenW", 1), nth(run.calls, "CopyFileW", 1));
     },
     &checkCallOrder, "behind the removal of a package"},
    {"a plug-in that was not copied", &typical,
     [](SweepRun& run) { run.calls.erase(nth(run.calls, "SHFileOperationW", 2)); }, &checkPlugins,
     "deleted without a complete copy: Ruler"},
    {"a copy that failed", &typical,
     [](SweepRun& run) { nth(run.calls, "SHFileOperationW", 1)->failed = true; }, &checkPlugins,
     "deleted without a complete copy: F"},
    {"a record that was not written", &typical,
     [](SweepRun& run) { run.calls.erase(nth(run.calls, "_wfopen", -1)); }, &checkPlugins,
     "deleted before the record"},
    {"settings deleted first", &typical,
     [](SweepRun& run) {
         std::iter_swap(nth(run.calls, "SHFileOperationW", -1),
                        nth(run.calls, "SHFileOperationW", -2));
     },
     &checkPlugins, "settings are deleted before plug-ins"},
    {"a part deleted", &typical,
     [](SweepRun& run) {
         std::string& from = nth(run.calls, "SHFileOperationW", -2)->arguments.at(2);
         from.insert(from.find("\\0"), "\\Ruler");
     },
     &checkPlugins, "a part of the old location is deleted"},
    {"a plug-in's file that is gone", &typical,
     [](SweepRun& run) { run.after.tree.erase(std::wstring(kPlugins) + L"Ruler\\main.js"); },
     &checkPlugins, "lost of a plug-in: Ruler\\main.js"},
    {"a status file of somebody else's", &typical,
     [](SweepRun& run) {
         run.after.tree[std::wstring(kNewPackage) + L"LocalState\\mig_status.json"] = "{}";
     },
     &checkStatusFiles, "mig_status.json holds {}"},
    {"a status file that is gone", &typical,
     [](SweepRun& run) {
         run.after.tree.erase(std::wstring(kNewPackage) + L"LocalState\\mig_status.json");
     },
     &checkStatusFiles, "mig_status.json is missing"},
    {"another plug-in status", &typical,
     [](SweepRun& run) {
         run.after.tree[std::wstring(kPlugins) + L".pluginsMigrationStatus.json"] = "{}";
     },
     &checkPluginStatus, "it holds {}"},
    {"a handle that is out", &typical, [](SweepRun& run) { run.result.leaks.push_back("key#7"); },
     &checkHandles, "key#7 is still out"},
    {"a log without its end", &typical, [](SweepRun& run) { run.logWritten.pop_back(); }, &checkLog,
     "the log on disk is not what was written to it"},
    {"a file too much at the end", &typical,
     [](SweepRun& run) { run.after.tree[std::wstring(kNewPackage) + L"LocalState\\x"] = ""; },
     &checkEnd, "too much at the end"},
    {"a file too little at the end", &typical,
     [](SweepRun& run) {
         run.after.tree.erase(std::wstring(kNewPackage) + L"LocalState\\preferences.json");
     },
     &checkEnd, "missing at the end"},
    {"a plug-in one level deeper without reason", &typical,
     [](SweepRun& run) {
         auto file = run.after.tree.extract(std::wstring(kPlugins) + L"Ruler\\main.js");
         file.key() = std::wstring(kPlugins) + L"Ruler\\Ruler\\main.js";
         run.after.tree.insert(std::move(file));
     },
     &checkEnd, "missing at the end"},
    {"other recent files", &typical, [](SweepRun& run) { run.after.newKeys.clear(); }, &checkEnd,
     "other recent files at the end"},
    {"a package that is still there", &typical,
     [](SweepRun& run) { run.after.packages.insert(L"Velta.LC.QK_39.4.0.0_x64__qzw4mhtrvb2ne"); },
     &checkEnd, "other packages are left"},
};

class ChecksTest : public ::testing::TestWithParam<Row> {};

TEST_P(ChecksTest, FindsWhatItIsFor) {
    const Row& row = GetParam();
    const CleanRun& clean = row.clean();
    Problems ofClean;
    row.check(clean.run, clean.stage.world(), ofClean);
    SweepRun changed = clean.run;
    row.change(changed);
    Problems ofChanged;
    row.check(changed, clean.stage.world(), ofChanged);

    EXPECT_THAT(ofClean, IsEmpty());
    EXPECT_THAT(ofChanged, Contains(HasSubstr(row.problem)));
}

INSTANTIATE_TEST_SUITE_P(Changed, ChecksTest, ::testing::ValuesIn(kRows));

}  // namespace
