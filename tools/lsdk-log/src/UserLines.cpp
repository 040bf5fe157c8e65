#include <algorithm>

#include "RunBuilder.h"
#include "Text.h"

// Users, their folders and their app data.

namespace {

constexpr std::size_t kMostUsers = 1000;
constexpr std::size_t kMostItems = 200;
constexpr std::string_view kLocalState = "\\LocalState";
constexpr std::string_view kLists[] = {"recent files (MRURegistryEntries)",
                                       "files chosen before (FALRegistryEntries)"};

std::string_view lastPart(std::string_view path) {
    return path.substr(path.find_last_of('\\') + 1);
}

std::string_view parentOf(std::string_view path) {
    const std::size_t end = path.find_last_of('\\');
    return end == std::string_view::npos ? std::string_view() : path.substr(0, end);
}

// The path below the package's LocalState folder, or the whole.
std::string_view belowLocalState(std::string_view path) {
    const std::size_t found = path.find("\\LocalState\\");
    return found == std::string_view::npos ? path : path.substr(found + kLocalState.size() + 1);
}

}  // namespace

User* RunBuilder::user(std::string_view sid) {
    const std::string key = oneLine(sid, 200);
    const auto found = m_run.users.find(key);
    if (found != m_run.users.end()) return &found->second;
    if (m_run.users.size() == kMostUsers) {
        ++m_run.usersLeft;
        return nullptr;
    }
    return &m_run.users[key];
}

void RunBuilder::addItem(std::vector<std::string> User::*list, std::string_view item) {
    User* const owner = user(m_userSid);
    if (!owner) return;
    if ((owner->*list).size() == kMostItems) {
        ++owner->itemsLeft;
    } else {
        (owner->*list).push_back(oneLine(item, 500));
    }
}

bool RunBuilder::takeProfileLine(const LineMatch& match) {
    switch (match.line->id) {
        case LineId::LoggedOnUser:
            m_run.loggedOn = oneLine(match.values[0], 200);
            return true;
        case LineId::ProfileValid:
            m_profileSid = match.values[0];
            return true;
        case LineId::ProfileFolder:
            if (User* const found = user(m_profileSid)) found->profile = oneLine(match.values[0]);
            return true;
        case LineId::ProfileSkipped:
            m_run.users.erase(oneLine(m_profileSid, 200));
            return true;
        default:
            return false;
    }
}

bool RunBuilder::takeMigrationLine(const LineMatch& match) {
    switch (match.line->id) {
        case LineId::UserMigratedBefore:
            if (User* const found = user(match.values[1])) {
                found->appData = AppData::MigratedBefore;
                found->hasStatusFile = true;
            }
            return true;
        case LineId::UserStarted:
            m_userSid = match.values[0];
            if (User* const found = user(m_userSid)) found->appData = AppData::Began;
            return true;
        case LineId::UserSourceMissing:
            if (User* const found = user(m_userSid)) found->hasNoOldData = true;
            return true;
        case LineId::UserTargetFailed:
            if (User* const found = user(m_userSid)) found->hasNoNewFolder = true;
            return true;
        case LineId::FileCopied:
        case LineId::FileOverwritten:
            addItem(&User::migrated, lastPart(match.values[0]));
            return true;
        case LineId::FileMissing:
            addItem(&User::missing, lastPart(match.values[0]));
            return true;
        case LineId::FileFolderFailed:
        case LineId::FileCreateFailed:
        case LineId::FileCopyFailed:
            addItem(&User::failed, lastPart(match.values[0]));
            return true;
        case LineId::StatusWritten:
            if (User* const found = user(m_userSid)) found->hasStatusFile = true;
            return true;
        case LineId::UserCompleted:
            endRegistryLists();
            if (User* const found = user(m_userSid)) found->appData = AppData::Migrated;
            return true;
        default:
            return false;
    }
}

bool RunBuilder::takeFolderLine(const LineMatch& match) {
    const std::string_view path = match.values[0];
    switch (match.line->id) {
        case LineId::FolderStarted:
            if (match.values[1].ends_with(kLocalState)) {
                m_topFolder = oneLine(lastPart(path), 500);
                addItem(&User::migrated, m_topFolder);
            }
            return true;
        case LineId::FolderFileFailed:
            addItem(&User::failed, belowLocalState(path));
            return true;
        case LineId::FolderCreateFailed:
        case LineId::FolderListingFailed: {
            const bool isTop = parentOf(path).ends_with(kLocalState) && lastPart(path) == m_topFolder;
            User* const found = isTop ? user(m_userSid) : nullptr;
            if (found) std::erase(found->migrated, m_topFolder);
            addItem(&User::failed, belowLocalState(path));
            return true;
        }
        case LineId::FolderUnexpected:
            addItem(&User::failed, path);
            return true;
        default:
            return false;
    }
}

// Each list is done in two hives, and each of these begins with one of four lines.
bool RunBuilder::takeRegistryLine(const LineMatch& match) {
    bool hasFailed = true;
    switch (match.line->id) {
        case LineId::UserRegistryStarted:
            m_registryView = -1;
            m_hasListFailed = {};
            return true;
        case LineId::RegistrySourceFailed:
        case LineId::RegistryCopied:
            hasFailed = false;
            [[fallthrough]];
        case LineId::RegistryCopyFailed:
        case LineId::RegistryTargetFailed:
            ++m_registryView;
            break;
        case LineId::RegistryValueFailed:
        case LineId::RegistrySubkeyFailed:
        case LineId::RegistryUpdateFailed:
            break;
        default:
            return false;
    }
    if (hasFailed && m_registryView >= 0) m_hasListFailed[m_registryView < 2 ? 0 : 1] = true;
    return true;
}

void RunBuilder::endRegistryLists() {
    for (std::size_t i = 0; i < m_hasListFailed.size(); ++i)
        addItem(m_hasListFailed[i] ? &User::failed : &User::migrated, kLists[i]);
}
