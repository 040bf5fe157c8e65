#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A recorded run of the executable as a table, and the same calls again without anything between them.

struct RecordedArgument {
    std::wstring text;
    unsigned long number = 0;
    size_t slot = 0;    // of the handle; the first ones are the registry's own roots
    std::string bytes;  // of the text in UTF-8, or as such
    bool isGiven = false;
};

struct RecordedCall {
    void (*play)(const RecordedCall&) = nullptr;
    std::vector<RecordedArgument> arguments;  // the result is the last
};

// Reads what recording.py writes: a call a line, its parts set off by tabs, each argument's kind
// before it. Throws std::invalid_argument for a function that it does not know.
std::vector<RecordedCall> readTable(const std::filesystem::path& file);

// Makes the calls. What they return is used where a later one needs it, and never looked at.
void replay(const std::vector<RecordedCall>& calls);
