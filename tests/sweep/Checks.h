#pragma once

#include <set>
#include <string>
#include <vector>

#include "sweep/SweepRun.h"

// What must hold after every run, whatever failed in it, told from the machine and the trace and
// not from the program's word. Each check adds a text for what is wrong.
using Problems = std::vector<std::string>;

// Up to the call that fails the run is that without faults.
void checkBeginning(const SweepRun& run, const SweepRun& clean, Problems& problems);

// The values of the old package's keys are as they were.
void checkOldKeys(const SweepRun& run, Problems& problems);

// Without an enterprise deployment the old package's tree is as it was.
void checkOldTree(const SweepRun& run, const World& world, Problems& problems);

// Where a path that could not be built whole has led the copy of the file; empty if none could not.
// Both are paths relative to the world.
std::wstring copyOf(const SweepRun& run, const World& world, const std::wstring& name);

// In an enterprise deployment each file of the old package stands in the old tree or, whole, in the
// new one, and a file is deleted only right behind its copy.
void checkMovedFiles(const SweepRun& run, const World& world, Problems& problems);

// No package is removed before the migration of app data has ended.
void checkOrder(const SweepRun& run, Problems& problems);

// Required: a listing of plug-ins that fails or breaks off counts as complete, so what it did not
// list goes with the old location. Their names, where a sweep has let a listing of that folder fail.
std::set<std::wstring> unlistedPlugins(const SweepRun& run, const World& world,
                                       const std::wstring& folder);

// Of each plug-in and each plug-in's settings the old copy stands, or one that the shell has reported complete.
void checkPlugins(const SweepRun& run, const World& world, Problems& problems);

// What a clean-up must leave: nothing handed out but what is meant to stay out, nothing given back twice.
void checkLedger(const SweepRun& run, Problems& problems);

// The log on disk is what was written to it, line by line, up to the last write.
void checkLogOnDisk(const SweepRun& run, Problems& problems);

// Each user's status file is there exactly if it was or its creation has succeeded, and holds what was written.
void checkStatusFiles(const SweepRun& run, const World& world, Problems& problems);

// The plug-in status file is what the model says, JSON without white space outside its texts, and
// hidden at the end.
void checkPluginStatus(const SweepRun& run, const World& world, Problems& problems);

// A run without faults that follows one that was broken off has made up for it: packages, exempt
// containers, crash dumps and the security of files are those of a run on an unbroken machine, no
// plug-in has lost a file, and its user's data and keys of the new package are the same, but for
// what the earlier run decided for good. If nothing failed in that one, it was just ended, no other
// file of the world differs either.
void checkRecovery(const SweepRun& broken, const SweepRun& again, const SweepRun& clean,
                   const World& world, Problems& problems);
