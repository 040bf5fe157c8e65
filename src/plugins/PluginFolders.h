#pragma once

#include <string>
#include <vector>

// All locations end in a backslash. Copies leave the old location as it is.

// Copies each plug-in's `storageFolderName` from its old settings folder into its new one, then
// deletes the copy of it that came along with the settings. A copy that fails is logged, takes back
// all of `migratedNames` and gives PluginSettingsFailed; otherwise MigrationSucceeded.
int migrateStorageFolder(const std::wstring& oldLocation, const std::wstring& newLocation,
                         const std::wstring& storageFolderName,
                         const std::vector<std::wstring>& names,
                         const std::vector<std::wstring>& migratedNames);

// Deletes the folders of these names below `root`, whatever a single one meets.
void deleteMigratedFolders(const std::wstring& root, const std::vector<std::wstring>& names);

// Deletes the folder for good, with all in it. Does nothing where there is none; a failure is logged.
void deleteFolder(std::wstring path);
