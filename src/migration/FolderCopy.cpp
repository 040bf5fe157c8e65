#include "migration/FolderCopy.h"

#include <cwchar>

#include "platform/FileAttributes.h"
#include "platform/Owners.h"
#include "platform/ProcessEnd.h"
#include "run/ConfiguratorLog.h"

namespace {

bool isDotEntry(const wchar_t* name) {
    return std::wcscmp(name, L".") == 0 || std::wcscmp(name, L"..") == 0;
}

void copyFileInto(const wchar_t* path, const wchar_t* target, const wchar_t* name, bool deleteSource) {
    PathBuffer file;
    joinPath(file, target, name);
    if (!::CopyFileW(path, file, FALSE)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine() << "Error copying '" << path << "' to '" << file
                                       << "'. Error code: " << error << std::endl;
        return;
    }
    if (deleteSource) ::DeleteFileW(path);
}

}  // namespace

bool enumerateFolder(const wchar_t* folder, FolderListing& listing) {
    PathBuffer pattern;
    copyPath(pattern, folder);
    appendText(pattern, L"\\*");

    WIN32_FIND_DATAW entry = {};
    FindHandle search(::FindFirstFileW(pattern, &entry));
    if (!search.isValid()) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Error enumerating files in '" << folder << "'. Error code: " << error << std::endl;
        return false;
    }
    do {
        if (isDotEntry(entry.cFileName)) continue;
        listing.push_back({entry.cFileName, (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0});
    } while (::FindNextFileW(search.get(), &entry));  // Required: a failure counts as the end.
    if (!search.close()) raiseLastError();
    return true;
}

bool copyFolderRecursively(const wchar_t* source, const wchar_t* targetParent, bool deleteSource) {
    const wchar_t* const separator = std::wcsrchr(source, L'\\');
    if (!separator) {
        g_configuratorLog->beginLine() << "Unexpected directory to copy " << source << std::endl;
        return false;
    }

    PathBuffer target;
    joinPath(target, targetParent, separator + 1);
    g_configuratorLog->beginLine()
        << "Recursively copying '" << source << "' into '" << targetParent << "'" << std::endl;
    if (!existsAsFolder(target) && !createSubDirectories(target)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Error creating folder '" << target << "'. Error code: " << error << std::endl;
        return false;
    }

    FolderListing listing;
    if (!enumerateFolder(source, listing)) return false;
    for (const FolderEntry& entry : listing) {
        PathBuffer path;
        joinPath(path, source, entry.name.c_str());
        if (entry.isDirectory) {
            copyFolderRecursively(path, target, deleteSource);
        } else {
            copyFileInto(path, target, entry.name.c_str(), deleteSource);
        }
    }
    return true;
}
