#pragma once

#include <fstream>
#include <string>
#include <vector>

#include "platform/Windows.h"

// The same work as the product's, with the platform's calls alone: no checks, no names of its own,
// no lines in a log but where the line belongs to the work.
namespace bare {

// The entries of a folder but for "." and "..".
std::vector<WIN32_FIND_DATAW> list(const std::wstring& folder);

// Copies a folder into `targetParent` under its own name. `isMove`: deletes each file at its old place.
void copyFolder(const std::wstring& source, const std::wstring& targetParent, bool isMove);

// One operation of the shell, of FO_COPY or FO_DELETE.
void shell(UINT operation, const std::wstring& from, const std::wstring& to = {});

// A log in a plain wide stream.
class Log {
public:
    explicit Log(const std::wstring& path)
        : m_stream(path.c_str(), std::ios::out | std::ios::app) {}

    // The stream, behind the time in brackets.
    std::wostream& beginLine();

private:
    std::wofstream m_stream;
};

// Every call that a copied folder has to cost, one line in the log among them, in the order in which they have to come.
void copyFolderByTheBook(Log& log, const std::wstring& source, const std::wstring& targetParent);

// Puts `newName` for `oldName` in three values of each subkey and logs each.
void rewriteEntries(Log& log, HKEY root, const std::wstring& path, const std::wstring& oldName,
                    const std::wstring& newName);

// A plug-in's folder, its settings and its two storages.
struct PlugIn {
    std::wstring plugins, settings;        // with a backslash at the end
    std::wstring newPlugins, newSettings;  // the same
    std::wstring name;
};
void movePlugIn(const PlugIn& plugIn);

}  // namespace bare
