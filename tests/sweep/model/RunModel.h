#pragma once

#include <map>
#include <string>
#include <vector>

#include "RunFacts.h"
#include "TraceReader.h"

// The run as a second program, which makes no call but reads them from a trace: it names the call
// or the log line that must come next, and goes the way that the program must go after that call's
// outcome. A step that the program's own exceptions leave is left by a StandardException or
// a PlatformFailure here.

// The whole run from its first call to its last. Returns the exit code; throws ProcessEnd where the
// process must end otherwise, TraceEnd where the trace breaks off, Deviation where the run went wrong.
unsigned long readRun(TraceReader& trace, RunFacts& facts);

std::string lowerCase(std::string text);

// Its steps, each with the result that the sequence looks at.
bool readPostInstall(TraceReader& trace, RunFacts& facts);

// UserModel.cpp
const std::map<std::string, std::string>& readUserProfiles(TraceReader& trace, RunFacts& facts);
std::string readLoggedOnUserSid(TraceReader& trace, RunFacts& facts);
std::string readLocalAppDataFolderOf(TraceReader& trace, RunFacts& facts, const std::string& sid);

// FolderModel.cpp: the folders of the app container.
bool readAppContainerFolderAccess(TraceReader& trace, RunFacts& facts);
bool readCommonFilesAccess(TraceReader& trace, RunFacts& facts);
bool readUserDataFolders(TraceReader& trace, RunFacts& facts);

// SecurityModel.cpp
// A well-known SID that is made and kept; raises "Unknown exception" behind its line.
void readWellKnownSid(TraceReader& trace, const std::string& type);
bool readHardening(TraceReader& trace, RunFacts& facts, const std::vector<std::string>& files);

// DeploymentModel.cpp
bool readPackageLookup(TraceReader& trace, RunFacts& facts);
bool readOlderPackageRemoval(TraceReader& trace, RunFacts& facts);

// NetworkModel.cpp
bool readLoopbackExemption(TraceReader& trace, RunFacts& facts);

// PluginModel.cpp
void readPluginMigration(TraceReader& trace, RunFacts& facts);

// CrashModel.cpp
bool readCrashDumps(TraceReader& trace, RunFacts& facts);
