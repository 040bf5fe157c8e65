#include "Words.h"

std::string describeArguments(const Run& run) {
    if (run.arguments.empty()) return "not in the log";
    if (run.arguments.size() == 1) return "none";
    std::string text = "version " + run.argument(1);
    if (run.arguments.size() > 2) text += ", package " + run.argument(2);
    if (run.arguments.size() > 3) text += ", executable " + run.argument(3);
    if (run.arguments.size() > 4) text += ", product code " + run.argument(4);
    if (run.isEnterprise)
        text += *run.isEnterprise ? ", enterprise deployment" : ", single user deployment";
    return text;
}

std::string describeAppData(const User& user, const Run& run) {
    switch (user.appData) {
        case AppData::MigratedBefore:
            return "migrated by a former run";
        case AppData::Began:
            return "begun, and not seen to end";
        case AppData::Migrated:
            break;
        case AppData::NotReached:
            if (run.isEnterprise.value_or(false) || user.isLoggedOn) return "not migrated";
            return run.loggedOn.empty() ? "not migrated: the log names nobody who is logged on"
                                        : "not migrated: not the user who is logged on";
    }
    std::string text = user.hasNoNewFolder ? "failed: the folder of the new package could not be made"
                       : user.hasNoOldData   ? "nothing to migrate: no data of the old package"
                       : user.failed.empty() ? "migrated"
                                             : "migrated in part";
    if (!user.hasStatusFile) text += "; without a status file, so the next run does it again";
    return text;
}

std::string describeStep(const Step& step) {
    return std::string(titleOf(step.section));
}

std::string describeOutcome(const Run& run) {
    std::string text(nameOf(run.outcome));
    if (run.exitCode) text += " (exit code " + std::to_string(*run.exitCode) + ")";
    if (run.outcome == Outcome::Succeeded && run.hasFailures()) text += ", with problems";
    return text;
}

std::string describeSeconds(std::int64_t seconds) {
    if (seconds < 0) return "the clock was set back";
    if (seconds < 60) return std::to_string(seconds) + " s";
    return std::to_string(seconds / 60) + " min " + std::to_string(seconds % 60) + " s";
}

std::string listOf(const std::vector<std::string>& items) {
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (i > 0) text += i + 1 == items.size() ? " and " : ", ";
        text += items[i];
    }
    return text.empty() ? "nothing" : text;
}

std::string describeLoopback(const Run& run) {
    if (!run.hasLoopback) return "not reached";
    return *run.hasLoopback ? "exempt" : "not exempt";
}

std::string describeDumps(const Run& run) {
    if (run.dumpKey.empty())
        return run.outcome == Outcome::Failed ? "not registered" : "not reached";
    return run.outcome == Outcome::Succeeded ? "registered" : "not registered to the end";
}

std::string describePlugins(const Run& run) {
    return run.plugins.empty() ? "not reached" : run.plugins;
}

std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}
