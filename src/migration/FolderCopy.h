#pragma once

#include <deque>
#include <string>

#include "migration/PathHelpers.h"

struct FolderEntry {
    std::wstring name;
    bool isDirectory;
};

// Grows without copying: a folder may have any number of entries.
using FolderListing = std::deque<FolderEntry>;

// Appends the entries of the folder but for "." and "..", in the system's order. False: the folder
// cannot be listed, which is logged. A listing that breaks off counts as complete.
bool enumerateFolder(const wchar_t* folder, FolderListing& listing);

// Copies the folder, with all in it, into `targetParent` under its own name; with `deleteSource`
// each file that was copied is deleted at its old place. False: the target folder cannot be made,
// or the source cannot be listed. Required: what fails inside the folder is logged and does not
// turn the result.
bool copyFolderRecursively(const wchar_t* source, const wchar_t* targetParent, bool deleteSource);
