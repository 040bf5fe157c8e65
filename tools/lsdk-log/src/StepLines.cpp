#include <charconv>
#include <utility>

#include "ErrorNames.h"
#include "RunBuilder.h"
#include "Text.h"

// The start, the packages and the steps behind them.

namespace {

constexpr std::size_t kMostArguments = 20;
constexpr std::size_t kMostPackages = 200;

// "a" "b" , each with a blank behind it.
std::vector<std::string> argumentsOf(std::string_view text) {
    std::vector<std::string> arguments;
    while (text.starts_with('"') && arguments.size() < kMostArguments) {
        const std::size_t end = text.find("\" ", 1);
        if (end == std::string_view::npos) break;
        arguments.push_back(oneLine(text.substr(1, end - 1), 500));
        text.remove_prefix(end + 2);
    }
    return arguments;
}

// An exit code that Windows gave a process that it ended.
bool isCrash(std::string_view exitCode) {
    constexpr std::uint64_t kFirstCrash = 0xC0000000;
    std::uint64_t number = 0;
    std::from_chars(exitCode.data(), exitCode.data() + exitCode.size(), number);
    return number >= kFirstCrash;
}

}  // namespace

bool RunBuilder::takeStartLine(const LineMatch& match) {
    switch (match.line->id) {
        case LineId::RunStarted:
            m_awaitsStart = false;
            m_run.arguments = argumentsOf(match.values[0]);
            return true;
        case LineId::EnterpriseFlag:
            m_run.isEnterprise = match.values[0] == "1";
            return true;
        case LineId::TokenSid:
            m_run.account = oneLine(match.values[0], 200);
            return true;
        default:
            return false;
    }
}

bool RunBuilder::takePackageLine(const LineMatch& match) {
    switch (match.line->id) {
        case LineId::RemovalListed:
        case LineId::RemovalStarted: {
            if (m_run.packages.size() == kMostPackages) return true;
            const bool isHere = match.line->id == LineId::RemovalStarted;
            m_run.packages.push_back({oneLine(match.values[0], 500),
                                      isHere ? "removed" : "left to the companion", isHere});
            return true;
        }
        case LineId::RemovalDenied:
        case LineId::RemovalFailed:
            if (m_run.packages.empty()) return true;
            m_run.packages.back().isGone = false;
            m_run.packages.back().outcome = match.line->id == LineId::RemovalDenied
                                                ? "not removed: access was denied"
                                                : "not removed: " + oneLine(match.values[0], 500);
            return true;
        case LineId::RemovalSearchDenied:
        case LineId::RemovalSearchFailed:
            setListedPackages("not removed: the search for packages failed", false);
            return true;
        default:
            return false;
    }
}

void RunBuilder::setListedPackages(const std::string& outcome, bool isGone) {
    for (OlderPackage& package : m_run.packages) {
        if (package.outcome != "left to the companion") continue;
        package.outcome = outcome;
        package.isGone = isGone;
    }
}

bool RunBuilder::takeCompanionLine(const LineMatch& match) {
    switch (match.line->id) {
        case LineId::CompanionFolderFailed:
        case LineId::CompanionFailed:
            setListedPackages("not removed: the companion could not be started", false);
            return true;
        case LineId::CompanionExit:
            if (match.values[0] == "0") {
                setListedPackages("removed by the companion", true);
            } else if (isCrash(match.values[0])) {
                setListedPackages(
                    "not sure: the companion crashed with exit code " + std::string(match.values[0]),
                    false);
            } else {
                setListedPackages("not sure: the companion ended with exit code " +
                                      std::string(match.values[0]) +
                                      ", the number of packages that it could not remove",
                                  false);
            }
            return true;
        default:
            return false;
    }
}

bool RunBuilder::takeRoundLine(const LineMatch& match) {
    const LineId id = match.line->id;
    if (id == LineId::RoundStarted) {
        m_rounds.emplace_back();
        m_roundSid.clear();
        return true;
    }
    if (m_rounds.empty()) return false;
    Round& round = m_rounds.back();
    switch (id) {
        case LineId::RoundUser:
            m_roundSid = match.values[0];
            m_isTurnCounted = false;
            return true;
        case LineId::FolderHasAccess:
        case LineId::FolderAccessSet:
        case LineId::RoundUserFailed: {
            const bool isOpen = id != LineId::RoundUserFailed;
            round.hasOpened |= isOpen;
            User* const found = m_roundSid.empty() || m_isTurnCounted ? nullptr : user(m_roundSid);
            m_isTurnCounted = true;
            if (found) ++(isOpen ? found->foldersOpened : found->foldersFailed);
            return true;
        }
        case LineId::RoundFallback:
        case LineId::RoundFallbackFailed:
            round.hasFallback = true;
            round.hasOpened = false;
            m_roundSid.clear();
            return true;
        default:
            return false;
    }
}

bool RunBuilder::takePostInstallLine(const LineMatch& match) {
    switch (match.line->id) {
        case LineId::FileHardening:
            ++m_run.filesDone;
            return true;
        case LineId::LoopbackFound:
            m_roundSid.clear();
            m_run.newPackage = oneLine(match.values[0], 500);
            m_run.hasLoopback = true;
            return true;
        case LineId::LoopbackFailed:
            m_roundSid.clear();
            m_run.hasLoopback = false;
            return true;
        case LineId::DumpsKey:
            m_run.dumpKey = oneLine(match.values[0], 500);
            return true;
        default:
            return false;
    }
}

bool RunBuilder::takePluginLine(const LineMatch& match) {
    switch (match.line->id) {
        case LineId::RxpFailed:
        case LineId::PluginFoldersFailed:
            m_run.plugins = "not migrated: their folder could not be opened to the app";
            return true;
        case LineId::RxpFolder:
            m_hasNoPluginFolder = match.values[0].empty();
            return true;
        case LineId::PluginsStatusFile:
            m_run.plugins = "migrated by a former run";
            return true;
        case LineId::PluginsOld:
            m_run.plugins = "begun";
            return true;
        case LineId::PluginSettingsOld:
            m_areSettingsNext = true;
            return true;
        case LineId::PluginCopyFailed:
        case LineId::PluginCopyException:
            m_run.plugins = std::string("not migrated: ") +
                            (m_areSettingsNext ? "settings or storage of " : "") +
                            oneLine(match.values[0], 500) +
                            " could not be copied; all was taken back";
            return true;
        case LineId::PluginsMigrated:
            m_run.plugins = m_hasNoPluginFolder
                                ? "nothing was moved: the folder of the user is not known"
                                : "migrated";
            return true;
        default:
            return false;
    }
}
