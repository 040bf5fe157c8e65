#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include "RunFacts.h"
#include "TraceReader.h"

// The places of a package's data folders in the lists below.
inline constexpr size_t kLocalState = 0;
inline constexpr size_t kSettings = 1;

// What the migration knows of one user.
struct MigratedUser {
    std::string sid;
    std::string sourceRoot;
    std::string targetRoot;
    std::vector<std::string> sourceFolders;
    std::vector<std::string> targetFolders;
    std::vector<std::string> copied;  // in the order of completion
    std::vector<std::string> failed;
};

// Text copied into a buffer of 260 characters; one that does not fit ends the process.
void readCopiedText(TraceReader& trace, const std::string& text);
// The path that the run goes on with: a component that could not be added is missing in it.
std::string readJoinedPath(TraceReader& trace, const std::string& first,
                           std::initializer_list<std::string> components);

bool readIsFile(TraceReader& trace, const std::string& path);
bool readIsFolder(TraceReader& trace, const std::string& path);
bool readSubDirectories(TraceReader& trace, const std::string& path);

// An empty new file; returns its handle, or nothing.
std::string readNewFile(TraceReader& trace, const std::string& path);
// A failed close ends the process.
void readClose(TraceReader& trace, const std::string& function, const std::string& handle);

// One listed file; recorded.
bool readMigratedFile(TraceReader& trace, MigratedUser& user, size_t folderIndex,
                      const std::string& name);
// The sub-folders of LocalState; each is recorded.
bool readLocalStateFolders(TraceReader& trace, const RunFacts& facts, MigratedUser& user);
