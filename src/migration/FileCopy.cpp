#include <cwchar>
#include <set>
#include <string_view>

#include "migration/AppDataMigrator.h"
#include "migration/FolderCopy.h"
#include "platform/FileAttributes.h"
#include "platform/Owners.h"
#include "platform/ProcessEnd.h"
#include "run/ConfiguratorLog.h"

namespace {

void resolvePath(const AppDataMigrator::UserFolders& folders, const std::wstring& sid,
                 int folderIndex, const wchar_t* fileName, PathBuffer& path) {
    const auto user = folders.find(sid);
    if (user == folders.end()) return;
    const auto folder = user->second.find(folderIndex);
    if (folder != user->second.end()) joinPath(path, folder->second.c_str(), fileName);
}

// Makes the target's folder and an empty file. False: logged.
bool prepareTarget(const wchar_t* target) {
    const std::wstring_view path = target;
    const size_t separator = path.find_last_of(kPathSeparators);
    if (separator != std::wstring_view::npos && !createSubDirectories(path.substr(0, separator))) {
        const DWORD error = ::GetLastError();
        // Required: the closing quote has no opening partner.
        g_configuratorLog->beginLine() << "Could not create sub directories for " << target
                                       << "'. Error code: " << error << std::endl;
        return false;
    }

    FileHandle file(::CreateFileW(target, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.isValid()) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Could not create a file '" << target << "'. Error code: " << error << std::endl;
        return false;
    }
    if (!file.close()) raiseLastError();
    return true;
}

}  // namespace

void AppDataMigrator::resolveFilePaths(const std::wstring& sid, int folderIndex,
                                       const wchar_t* fileName, PathBuffer& source,
                                       PathBuffer& target) const {
    resolvePath(sourceFolders, sid, folderIndex, fileName, source);
    resolvePath(targetFolders, sid, folderIndex, fileName, target);
}

bool AppDataMigrator::copyFile(const std::wstring& sid, const MigratedFile& file) const {
    PathBuffer source = {};
    PathBuffer target = {};
    resolveFilePaths(sid, file.folderIndex, file.fileName, source, target);
    // Required: no closing quote.
    g_configuratorLog->beginLine()
        << "copyFile started from '" << source << "' to '" << target << std::endl;
    if (!existsAsFile(source)) {
        g_configuratorLog->beginLine()
            << "The file to be migrated '" << source << "' does not exist" << std::endl;
        return true;
    }

    const bool overwritten = existsAsFile(target);
    if (!overwritten && !prepareTarget(target)) return false;

    if (!::CopyFileW(source, target, FALSE)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine() << "ERROR: Could not copy '" << source << "' to '" << target
                                       << "'. Error: " << error << std::endl;
        return false;
    }
    g_configuratorLog->beginLine() << "Copied file '" << source << "' to '" << target
                                   << (overwritten ? "' (Overwritten) " : "'") << std::endl;
    return true;
}

bool AppDataMigrator::migrateFile(const std::wstring& sid, const MigratedFile& file) {
    if (file.skip) return true;
    const bool isCopied = copyFile(sid, file);
    recordItem(sid, file.fileName, isCopied ? copiedItems : failedItems);
    return isCopied;
}

void AppDataMigrator::recordItem(const std::wstring& sid, const std::wstring& item, UserItems& items) {
    items[sid].push_back(item);
}

bool AppDataMigrator::migrateLocalStateFolders(const std::wstring& sid) {
    const std::set<std::wstring> skippedFolders = {L"VCPLocalLogs"};
    PathBuffer source = {};
    PathBuffer target = {};
    resolveFilePaths(sid, kLocalStateIndex, L"", source, target);
    if (!existsAsFolder(source)) {
        // Required: no line end; the next entry continues on this line.
        g_configuratorLog->beginLine()
            << "Source LocalState folder '" << source << "' does not exist. Nothing to copy.";
        return true;
    }

    FolderListing listing;
    if (!enumerateFolder(source, listing)) return false;
    bool isComplete = true;
    for (const FolderEntry& entry : listing) {
        if (!entry.isDirectory || skippedFolders.contains(entry.name)) continue;
        PathBuffer path;
        joinPath(path, source, entry.name.c_str());
        if (copyFolderRecursively(path, target, isEnterpriseDeployment)) {
            recordItem(sid, entry.name, copiedItems);
            // Removes an empty folder only: a tree with inner folders stays as a shell.
            if (isEnterpriseDeployment) ::RemoveDirectoryW(path);
        } else {
            recordItem(sid, entry.name, failedItems);
            isComplete = false;
        }
    }
    return isComplete;
}
