#pragma once

#include <string>
#include <unordered_map>

// From a user's SID to the user's profile folder.
using UserProfileMap = std::unordered_map<std::wstring, std::wstring>;

// A user's folders as the registry hive of that user names them, below HKEY_USERS and the SID.
inline constexpr wchar_t kShellFoldersKey[] =
    L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
inline constexpr wchar_t kUserShellFoldersKey[] =
    L"\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

// True for the SID of an account with a profile of its own (S-1-5-21-...), false for the short well-known ones.
bool isValidUserSid(const std::wstring& sid);

// The user accounts of the machine that have a profile folder on disk. Read once; an empty result
// is read again on the next call. Failures are logged and leave out the user, or the rest.
const UserProfileMap& getUserProfiles();

// The SID of the user who is logged on; empty if unknown, which is logged. A SID once read stays.
std::wstring getLoggedOnUserSid();

// The "Local AppData" folder from the key that is named by the SID and the suffix below HKEY_USERS.
// False: logged, or no place for the result.
bool readLocalAppDataFolder(const std::wstring& sid, const wchar_t* keySuffix, std::wstring* result);

// The same with "AppData", the roaming folder.
bool readAppDataFolder(const std::wstring& sid, const wchar_t* keySuffix, std::wstring* result);

// Puts the user's `profile` at the head of a `folder` that was expanded in the environment of
// another account, whose profile is `current`. Logs the change in an enterprise deployment.
void replaceProfilePrefix(bool isEnterpriseDeployment, const std::wstring& current,
                          const std::wstring& profile, std::wstring& folder);

// A user's Local AppData folder: from the user's hive, else in an enterprise deployment the usual
// place in the profile folder. Empty if unknown; the reason is logged.
std::wstring getLocalAppDataFolder(const std::wstring& sid, bool isEnterpriseDeployment);
