#pragma once

#include <string>
#include <vector>

// Appends the names of the direct sub-folders of `location`, which ends in a backslash, in the file
// system's order. A location that is missing or cannot be read gives none; nothing is logged.
void enumeratePluginFolders(const std::wstring& location, std::vector<std::wstring>& names);
