#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "Run.h"

struct LogFile {
    std::filesystem::path path;
    std::string name;      // the path as reports show it
    std::string machine;   // the file's name, or its folder's where the file has the usual name
    bool isFound = false;  // in a folder: no more than its name tells that it is a log
};

// What is kept of a whole log.
struct LogSummary {
    std::array<std::uint64_t, 4> runs{};  // by outcome
    std::uint64_t runCount = 0;
    std::uint64_t unplaced = 0;
    std::uint64_t strayCount = 0;  // of these, in front of the first run
    std::vector<Unplaced> strays;  // the first few
    std::uint64_t bytes = 0;
    bool isUtf16 = false;  // no log therefore, and not read
    std::string failure;   // why it could not be read; empty when it was
};

// The files that the paths name: a file itself, of a folder all *.txt and *.log below it in the
// order of their names. A path that is neither comes as a file that cannot be read.
std::vector<LogFile> findLogs(const std::vector<std::filesystem::path>& paths);

// Reads a log to its end, in memory of fixed size, and hands out its runs on the way.
LogSummary readLog(const LogFile& file, const std::function<void(const Run&)>& receiver);

// A path as UTF-8 text that is safe to show.
std::string nameOf(const std::filesystem::path& path);
