#pragma once

#include <string>
#include <vector>

#include "platform/Windows.h"

// Folders below a base folder, outermost first; only the last one gets the grant.
using FolderComponents = std::vector<std::wstring>;

// True if the folder's access list holds full access for all application packages. A failure is logged and gives false.
bool HasPermissions(const wchar_t* path);

// Gives all application packages full access to the folder and what is made in it. Logs the outcome.
bool SetFolderPermissions(const wchar_t* path);

// Makes the folders that are missing below `base`, which must exist, and sees to the grant of the
// last one. True: `out` is its path. False: logged, and `out` is as it was.
bool ensureAppDataDirPermissions(const std::wstring& base, const FolderComponents& components,
                                 std::wstring& out);

// The same below the roaming folder of every user of the machine; `forceDefaultPass` repeats it for
// the folder as the registry names it. `out` becomes the folder of the logged-on user, empty if
// that one failed. Without any user who has a roaming folder, that of the running account is taken.
// True: a user was handled, even in vain, or the running account's folder was granted.
bool ensureUserFolderPermissions(PSID userSid, bool isEnterpriseDeployment,
                                 const FolderComponents& components, bool forceDefaultPass,
                                 std::wstring& out);

// The same below the machine's common files folder.
bool grantCommonFilesAccess(const FolderComponents& components);

// The folders that the app container itself needs, for every user. True: those that it cannot do without are granted.
bool grantAppContainerFolderAccess(PSID userSid, bool isEnterpriseDeployment);
