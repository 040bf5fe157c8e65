#include "plugins/PluginFolders.h"

#include <exception>

#include "platform/StandardExceptions.h"
#include "platform/Windows.h"
#include "plugins/MigrationResult.h"
#include "plugins/PluginStatusFile.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"

#include <shellapi.h>
#include <shlwapi.h>

namespace {

// Makes the text a list of one path for the shell; its own terminator is the second NUL. Log lines show it as it is.
void endPathList(std::wstring& path) {
    path.push_back(L'\0');
}

// Both take ended path lists and give the shell's code, 0 for success.
int copyByShell(const std::wstring& from, const std::wstring& to) {
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_COPY;
    operation.pFrom = from.c_str();
    operation.pTo = to.c_str();
    operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOCONFIRMMKDIR | FOF_NOERRORUI;
    return ::SHFileOperationW(&operation);
}

int deleteByShell(const std::wstring& path) {
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_DELETE;
    operation.pFrom = path.c_str();
    operation.fFlags = FOF_SILENT | FOF_NOCONFIRMATION | FOF_NOERRORUI;
    return ::SHFileOperationW(&operation);
}

// False: logged, and `reason` tells.
bool copyPluginFolder(const std::wstring& folderName, const std::wstring& from,
                      const std::wstring& to, std::wstring& reason) {
    try {
        const int code = copyByShell(from, to);
        if (code == 0) return true;
        reason = L"Failed to copy " + folderName + L" SHFileOperation error: " +
                 std::to_wstring(code);
        g_configuratorLog->beginLine()
            << "Failed to copy " << folderName << " from " << from << " to " << to
            << " SHFileOperation error: " << code << std::endl;
    } catch (const std::exception& exception) {
        reason = L"Failed to copy " + folderName + L" with the reason" +
                 utf8ToWide(textOf(exception));
        g_configuratorLog->beginLine()
            << "Failed to copy " << folderName << " from " << from << " to " << to
            << " with the reason" << textOf(exception) << std::endl;
    }
    return false;
}

// False: logged.
bool copyStorageFolder(const std::wstring& folderName, const std::wstring& storageFolderName,
                       const std::wstring& from, const std::wstring& to) {
    try {
        const int code = copyByShell(from, to);
        if (code == 0) return true;
        g_configuratorLog->beginLine()
            << "Failed to copy " << folderName << storageFolderName << " from " << from << " to "
            << to << " SHFileOperation error: " << code << std::endl;
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << "Failed to copy " << folderName << storageFolderName << " from " << from << " to "
            << to << " with the reason" << textOf(exception) << std::endl;
    }
    return false;
}

}  // namespace

int ExecutablePermissions::migratePluginFolders(const std::wstring& oldLocation,
                                                const std::wstring& newLocation, bool isSettings,
                                                const std::vector<std::wstring>& names,
                                                std::vector<std::wstring>& migratedNames) {
    for (const std::wstring& folderName : names) {
        std::wstring from = oldLocation + folderName;
        endPathList(from);
        std::wstring to = newLocation + folderName;
        if (isSettings) to += L"\\PluginData";
        endPathList(to);
        if (!copyPluginFolder(folderName, from, to, m_migrationFailureReason)) {
            deleteMigratedFolders(newLocation, migratedNames);
            return isSettings ? PluginSettingsFailed : PluginCopyFailed;
        }
        migratedNames.push_back(folderName);
    }
    return MigrationSucceeded;
}

int migrateStorageFolder(const std::wstring& oldLocation, const std::wstring& newLocation,
                         const std::wstring& storageFolderName,
                         const std::vector<std::wstring>& names,
                         const std::vector<std::wstring>& migratedNames) {
    std::vector<std::wstring> copiedFolders;
    for (const std::wstring& folderName : names) {
        std::wstring from = oldLocation + folderName + L"\\" + storageFolderName;
        if (!::PathFileExistsW(from.c_str())) continue;
        endPathList(from);
        // The plug-in's new folder stands by now, so the storage folder arrives inside it.
        std::wstring to = newLocation + folderName;
        endPathList(to);
        g_configuratorLog->beginLine() << "old storageFolder path = " << from << std::endl;
        g_configuratorLog->beginLine() << "new storageFolder path = " << to << std::endl;
        if (!copyStorageFolder(folderName, storageFolderName, from, to)) {
            deleteMigratedFolders(newLocation, migratedNames);
            return PluginSettingsFailed;
        }
        copiedFolders.push_back(folderName);
    }
    for (const std::wstring& folderName : copiedFolders) {
        const std::wstring path = newLocation + folderName + L"\\PluginData\\" + storageFolderName;
        g_configuratorLog->beginLine()
            << "migrated storageFolder to be deleted = " << path << std::endl;
        deleteFolder(path);
    }
    return MigrationSucceeded;
}

void deleteMigratedFolders(const std::wstring& root, const std::vector<std::wstring>& names) {
    for (const std::wstring& name : names)
        deleteFolder(root + name);
}

void deleteFolder(std::wstring path) {
    if (!::PathFileExistsW(path.c_str())) return;
    endPathList(path);
    try {
        const int code = deleteByShell(path);
        if (code != 0)
            g_configuratorLog->beginLine()
                << "Failed to delete " << path << " SHFileOperation error: " << code << std::endl;
    } catch (const std::exception& exception) {
        g_configuratorLog->beginLine()
            << "Failed to delete " << path << " with the reason" << textOf(exception) << std::endl;
    }
}
