#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "Entries.h"
#include "Run.h"

// A log as the configurator writes it: each text with its time and its end.
std::string logOf(const std::vector<std::string>& texts);

// The first lines of a run, up to the flag.
std::vector<std::string> begunRun();
// A run that succeeds.
std::vector<std::string> wholeRun();

// A whole log of tests/golden with times, names instead of placeholders, and line ends of Windows.
std::string goldenLog(const std::string& name);

std::vector<Entry> entriesOf(const std::string& log);
std::vector<Run> runsOf(const std::string& log);
// Of a log with one run.
Run runOf(const std::string& log);

// The first lines of a run, then these.
Run runWith(const std::vector<std::string>& texts);
// Null: the run has none of this line.
const Problem* problemOf(const Run& run, LineId id);

// A folder of the test's own, removed with it.
class ScratchFolder {
public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    std::filesystem::path write(const std::string& name, const std::string& bytes) const;
    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
};

struct Reading {
    int exitCode = 0;
    std::string out;
    std::string errors;
};

// The program with these arguments.
Reading read(const std::vector<std::string>& arguments);
