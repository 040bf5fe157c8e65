#include "sweep/Fence.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string_view>

#include "stand-in/Text.h"

namespace {

constexpr wchar_t kAppModel[] =
    L"Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData\\";
constexpr wchar_t kOldFamily[] = L"Velta.LC.QK_qzw4mhtrvb2ne";
constexpr wchar_t kNewFamily[] = L"Velta.QK_kt83f9rd2xj6a";
constexpr wchar_t kMachineKey[] = L"HKEY_LOCAL_MACHINE\\SOFTWARE\\Microsoft\\";
constexpr wchar_t kExplorer[] = L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\";
constexpr wchar_t kPluginStatus[] = L"\\RXP\\Plugins\\External\\.pluginsMigrationStatus.json";
const wchar_t* const kListedFiles[] = {L"LumoraSDKAppServiceClient.exe",
                                       L"TraceRelay2.exe",
                                       L"LogSession.dll",
                                       L"FerroxMessage5.dll",
                                       L"VeltaPIP.dll",
                                       L"FerroxControl.dll",
                                       L"ucrtbased.dll"};

// A path or key as two of them compare: lower case, no final backslash, and in paths "." and ".."
// folded away and slashes turned; a key may have such names.
std::wstring folded(std::wstring_view text) {
    const bool isKey = text.starts_with(L"HKEY_");
    std::vector<std::wstring_view> parts;
    while (!text.empty()) {
        const size_t end = std::min(text.find_first_of(isKey ? L"\\" : L"\\/"), text.size());
        const std::wstring_view part = text.substr(0, end);
        if (!isKey && part == L"..") {
            if (parts.size() > 1) parts.pop_back();
        } else if (!part.empty() && (isKey || part != L".")) {
            parts.push_back(part);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    std::wstring path;
    for (const std::wstring_view part : parts)
        path.append(path.empty() ? L"" : L"\\").append(part);
    ::CharLowerBuffW(path.data(), static_cast<DWORD>(path.size()));
    return path;
}

// A text argument: `from="C:\a\0\0"` gives C:\a. Empty for none.
std::wstring textOf(std::string_view argument) {
    const size_t begin = argument.find('"');
    const size_t end = argument.rfind('"');
    if (begin == std::string_view::npos || begin == end) return L"";
    std::string_view text = argument.substr(begin + 1, end - begin - 1);
    while (text.ends_with("\\0"))
        text.remove_suffix(2);
    return standin::toWide(text);
}

std::wstring placeOf(const standin::Call& call, size_t argument) {
    return folded(textOf(call.arguments.at(argument)));
}

bool isBelow(const std::wstring& path, const std::wstring& tree) {
    return path.size() > tree.size() && path.starts_with(tree) && path[tree.size()] == L'\\';
}
bool isIn(const std::wstring& path, const std::wstring& tree) {
    return path == tree || isBelow(path, tree);
}
bool isInOneOf(const std::wstring& path, const std::vector<std::wstring>& trees) {
    return std::any_of(trees.begin(), trees.end(),
                       [&](const std::wstring& tree) { return isIn(path, tree); });
}
bool isOneOf(const std::wstring& path, const std::vector<std::wstring>& paths) {
    return std::find(paths.begin(), paths.end(), path) != paths.end();
}
bool isOnTheWayToOneOf(const std::wstring& path, const std::vector<std::wstring>& trees) {
    return !path.empty() && std::any_of(trees.begin(), trees.end(),
                                        [&](const std::wstring& tree) { return isIn(tree, path); });
}

bool opensForWriting(const standin::Call& call) {
    // GENERIC_WRITE alone or with more, and nothing that could not be told from it.
    if (call.name == "CreateFileW") return call.arguments.at(1) != "0x80000000";
    return call.name == "_wfopen" && call.arguments.at(1) != "\"r\"";
}

// The keys that are open, by the trace's names for them.
class OpenKeys {
public:
    void note(const standin::Call& call) {
        if (call.name == "RegCreateKeyExW" && !call.failed)
            m_paths[call.arguments.at(7)] = joined(call);
    }
    // What RegCreateKeyExW opens.
    std::wstring opened(const standin::Call& call) const { return folded(joined(call)); }
    // What an argument names.
    std::wstring path(const std::string& name) const { return folded(spelled(name)); }

private:
    std::wstring spelled(const std::string& name) const {
        const auto found = m_paths.find(name);
        return found == m_paths.end() ? standin::toWide(name) : found->second;
    }
    std::wstring joined(const standin::Call& call) const {
        return spelled(call.arguments.at(0)) + L"\\" + textOf(call.arguments.at(1));
    }

    std::map<std::string, std::wstring> m_paths;
};

}  // namespace

Fence::Fence(const World& world, const std::vector<WorldUser>& users, bool isEnterpriseDeployment)
    : m_logs{folded(world.installer() + L"\\lsdkConfiguratorLog.txt")},
      m_dumpsKey(folded(std::wstring(kMachineKey) +
                        L"Windows\\Windows Error Reporting\\LocalDumps\\QK.exe")) {
    for (const WorldUser& user : users) {
        if (isEnterpriseDeployment || &user == &users.front())
            admitPackage(world, user, isEnterpriseDeployment);
        admitRoaming(world.roaming(user));
        for (const wchar_t* key : {L"Shell Folders", L"User Shell Folders"})
            m_readKeys.push_back(folded(L"HKEY_USERS\\" + user.sid + kExplorer + key));
    }
    // Folders that name the environment of whoever reads them lead to the running account's own.
    admitRoaming(world.path(L"admin\\AppData\\Roaming"));
    for (const wchar_t* folder : {L"Velta", L"Velta\\RXP"})
        m_commonFiles.push_back(folded(world.path(L"Program Files\\Common Files\\") + folder));
    for (const wchar_t* file : kListedFiles)
        m_securedFiles.push_back(folded(world.installFolder() + L"\\" + file));
    const std::wstring machine = kMachineKey;
    m_readKeys.push_back(folded(machine + L"Windows\\CurrentVersion\\Authentication\\LogonUI"));
    m_profileKeys.push_back(folded(machine + L"Windows NT\\CurrentVersion\\ProfileList"));
    admitRecentFiles(std::wstring(L"HKEY_CLASSES_ROOT\\") + kAppModel);
}

void Fence::admitPackage(const World& world, const WorldUser& user, bool isEnterpriseDeployment) {
    const std::wstring package = world.newPackage(user);
    m_newPackageTrees.push_back(folded(package));
    for (const wchar_t* folder : {L"\\LocalState\\plugins", L"\\LocalState\\plugin_settings"})
        m_oldPlugins.push_back(folded(package + folder));
    if (isEnterpriseDeployment)
        m_oldPackageTrees.push_back(folded(world.oldPackage(user) + L"\\LocalState"));
    admitRecentFiles(L"HKEY_USERS\\" + user.sid + L"\\SOFTWARE\\Classes\\" + kAppModel);
}

void Fence::admitRoaming(const std::wstring& roaming) {
    m_veltaTrees.push_back(folded(roaming + L"\\Velta"));
    m_pluginStatusFiles.push_back(folded(roaming + L"\\Velta" + kPluginStatus));
}

void Fence::admitRecentFiles(const std::wstring& packages) {
    const std::wstring table = L"\\PersistedStorageItemTable";
    m_newPackageKeys.push_back(folded(packages + kNewFamily));
    m_newPackageKeys.push_back(folded(packages + kNewFamily + table));
    for (const wchar_t* list : {L"\\MostRecentlyUsed", L"\\ManagedByApp"}) {
        m_readKeys.push_back(folded(packages + kOldFamily + table + list));
        m_copiedKeyTrees.push_back(folded(packages + kNewFamily + table + list));
    }
}

void Fence::allow(const std::wstring& place) {
    m_allowed.push_back(folded(place));
}

void Fence::allowLog(const std::wstring& path) {
    m_logs.push_back(folded(path));
}

bool Fence::isAllowed(const std::wstring& place) const {
    return isInOneOf(place, m_allowed);
}

bool Fence::admitsShellCall(const standin::Call& call) const {
    const bool isDelete = call.arguments.at(1) == "func=3";
    const std::wstring place = placeOf(call, isDelete ? 2 : 3);
    if (isAllowed(place)) return true;
    const bool isInVelta = std::any_of(m_veltaTrees.begin(), m_veltaTrees.end(), [&](auto& tree) {
        return isBelow(place, tree + L"\\rxp\\plugins\\external") ||
               isBelow(place, tree + L"\\rxp\\pluginsstorage");
    });
    return isInVelta || (isDelete && isOneOf(place, m_oldPlugins));
}

bool Fence::admitsFileCall(const standin::Call& call) const {
    const std::wstring place = placeOf(call, call.name == "CopyFileW" ? 1 : 0);
    if (isAllowed(place)) return true;
    if (call.name == "_wfopen")
        return (call.arguments.at(1) == "\"a\"" ? isOneOf(place, m_logs)
                                                : isOneOf(place, m_pluginStatusFiles));
    if (call.name == "CreateFileW" || call.name == "CopyFileW")
        return isInOneOf(place, m_newPackageTrees);
    if (call.name == "CreateDirectoryW")
        return isInOneOf(place, m_newPackageTrees) || isInOneOf(place, m_veltaTrees) ||
               isOneOf(place, m_commonFiles) || isOnTheWayToOneOf(place, m_newPackageTrees);
    if (call.name == "DeleteFileW")
        return isInOneOf(place, m_oldPackageTrees) || isOneOf(place, m_pluginStatusFiles);
    if (call.name == "RemoveDirectoryW") return isInOneOf(place, m_oldPackageTrees);
    if (call.name == "SetFileAttributesW") return isOneOf(place, m_pluginStatusFiles);
    // SetNamedSecurityInfoW: of the folders below the common one the last.
    return isOneOf(place, m_securedFiles) || isInOneOf(place, m_veltaTrees) ||
           place == m_commonFiles.back();
}

bool Fence::admitsOpenedKey(const std::wstring& key) const {
    const size_t parent = key.rfind(L'\\');
    return isAllowed(key) || isOneOf(key, m_readKeys) || isOneOf(key, m_profileKeys) ||
           isOneOf(key.substr(0, parent), m_profileKeys) || isOneOf(key, m_newPackageKeys) ||
           isInOneOf(key, m_copiedKeyTrees) || key == m_dumpsKey;
}

std::vector<std::string> Fence::breaches(const std::vector<standin::Call>& calls) const {
    static const char* const kFileCalls[] = {"CopyFileW",          "CreateDirectoryW",
                                             "DeleteFileW",        "RemoveDirectoryW",
                                             "SetFileAttributesW", "SetNamedSecurityInfoW"};
    std::vector<std::string> breaches;
    OpenKeys keys;
    for (const standin::Call& call : calls) {
        bool isAdmitted = true;
        if (opensForWriting(call) || std::find(std::begin(kFileCalls), std::end(kFileCalls),
                                               call.name) != std::end(kFileCalls)) {
            isAdmitted = admitsFileCall(call);
        } else if (call.name == "SHFileOperationW") {
            isAdmitted = admitsShellCall(call);
        } else if (call.name == "RegCreateKeyExW") {
            isAdmitted = admitsOpenedKey(keys.opened(call));
        } else if (call.name == "RegSetValueExW") {
            const std::wstring key = keys.path(call.arguments.at(0));
            isAdmitted = isAllowed(key) || key == m_dumpsKey || isInOneOf(key, m_copiedKeyTrees);
        } else if (call.name == "RegCopyTreeW") {
            const std::wstring key = keys.path(call.arguments.at(2));
            isAdmitted = isAllowed(key) || isOneOf(key, m_copiedKeyTrees);
        }
        if (!isAdmitted) breaches.push_back(call.text());
        keys.note(call);
    }
    return breaches;
}
