#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "LineTable.h"

// What the log tells of one run. All lists are bounded; `...Left` counts what no longer fitted.

enum class Outcome { Succeeded, Failed, Crashed, CutOff };

// "succeeded", "failed", "crashed", "cut off".
std::string_view nameOf(Outcome outcome);

// Time that the run spent at one of its steps.
struct Step {
    Section section;
    std::string begin;  // may be empty
    std::int64_t seconds = 0;
    std::uint64_t lines = 0;
    Weight worst = Weight::Information;
};

// Lines of one kind that tell of something that went wrong.
struct Problem {
    const LineInfo* line = nullptr;
    Weight weight = Weight::Failure;  // where it stood: not each line is fatal everywhere
    std::uint64_t count = 0;
    std::uint64_t firstLine = 0;        // in the file
    std::vector<std::string> examples;  // the first few, as written
    std::vector<std::string> errors;    // their error numbers with names, each once
    std::vector<std::string> reasons;   // the lines before that say why, each once
};

enum class AppData { NotReached, MigratedBefore, Began, Migrated };

struct User {
    std::string profile;
    bool isLoggedOn = false;
    bool hasNoOldData = false;
    bool hasStatusFile = false;
    bool hasNoNewFolder = false;  // the new package's could not be made
    AppData appData = AppData::NotReached;
    std::vector<std::string> migrated;  // files, folders and lists
    std::vector<std::string> missing;   // that the old package did not have
    std::vector<std::string> failed;
    std::uint64_t itemsLeft = 0;
    std::uint64_t foldersOpened = 0;  // rounds in which the user's folder is open to the app
    std::uint64_t foldersFailed = 0;
};

struct OlderPackage {
    std::string fullName;
    std::string outcome;  // in words
    bool isGone = false;
};

struct Unplaced {
    std::uint64_t line = 0;
    std::string text;
};

struct Run {
    std::uint64_t number = 0;  // in its log, from 1
    std::uint64_t firstLine = 0;
    std::uint64_t lines = 0;
    std::string begin;  // "2025-11-08 09:06:27"; empty when nothing tells
    std::string end;
    std::int64_t seconds = 0;

    std::vector<std::string> arguments;  // with the program's own path
    std::optional<bool> isEnterprise;
    std::string account;   // SID the program ran as
    std::string loggedOn;  // SID

    Outcome outcome = Outcome::CutOff;
    std::optional<int> exitCode;
    std::string decidedBy;  // the line that decided; empty when nothing did
    const LineInfo* decider = nullptr;
    std::string explanation;

    std::vector<Step> steps;
    std::map<std::string, User> users;  // by SID
    std::uint64_t usersLeft = 0;
    std::vector<OlderPackage> packages;
    std::string newPackage;  // full name, as the loopback step found it
    std::uint64_t filesDone = 0;
    std::optional<bool> hasLoopback;
    std::string plugins;  // in words; empty when not reached
    std::string dumpKey;  // empty when not reached
    std::vector<Problem> problems;
    std::vector<std::string> notes;  // in words

    std::vector<Unplaced> unplaced;  // the first few
    std::uint64_t unplacedCount = 0;

    // What the command line says; empty where it has no such argument.
    std::string argument(std::size_t index) const;
    bool hasFailures() const;
};
