#pragma once

#include <map>
#include <string>
#include <string_view>

#include "stand-in/Windows.h"

// Files and folders for tests. None of these calls is seen by a mounted machine. They throw
// std::runtime_error when they cannot do what they are for.

// Writes a file anew, or reads one, byte for byte. The folder of a file that is written is made if need be.
void writeFile(const std::wstring& path, std::string_view bytes);
std::string readFile(const std::wstring& path);

void makeFolder(const std::wstring& path);
bool exists(const std::wstring& path);
void setAttributes(const std::wstring& path, DWORD attributes);
DWORD attributesOf(const std::wstring& path);

// Removes a file, or a folder with all that is in it; links are removed, never followed.
void removeTree(const std::wstring& path);

// What is in a folder: paths relative to it, "sub\file.txt" with the file's bytes, "sub\" with nothing for a folder.
std::map<std::wstring, std::string> listTree(const std::wstring& folder);

// A symbolic link as the system beneath Wine has it; `target` is a path of that system, such as
// "/dev/full", or one that unixPath gave.
void makeSymbolicLink(const std::string& target, const std::wstring& link);
std::string unixPath(const std::wstring& path);
// Runs a command of that system's shell, for what would take too long through Wine. No double quotes in it.
void runUnix(const std::string& command);

// Holds a file or folder open so that nobody else can open it; with another sharing mode, as that mode says.
class HeldOpen {
public:
    explicit HeldOpen(const std::wstring& path, DWORD access = GENERIC_READ, DWORD share = 0);
    ~HeldOpen();
    HeldOpen(const HeldOpen&) = delete;
    HeldOpen& operator=(const HeldOpen&) = delete;

private:
    HANDLE m_handle;
};
