#pragma once

#include <string>

#include "RunFacts.h"
#include "TraceReader.h"

// What other steps ask about the machine's users, beside what RunModel.h has.

inline constexpr const char* kShellFoldersKey =
    "\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\Shell Folders";
inline constexpr const char* kUserShellFoldersKey =
    "\\Software\\Microsoft\\Windows\\CurrentVersion\\Explorer\\User Shell Folders";

// The value "AppData" or "Local AppData" of a key of the user's hive. Without it `folder` stays.
bool readUserFolder(TraceReader& trace, const RunFacts& facts, const std::string& key,
                    const std::string& valueName, std::string& folder);

// Puts the user's profile at the head of a folder that was expanded for the running account.
void replaceProfilePrefix(TraceReader& trace, bool isEnterprise, const std::string& current,
                          const std::string& profile, std::string& folder);
