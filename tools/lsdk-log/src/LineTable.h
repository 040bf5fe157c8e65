#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <string_view>

#include "LineIds.h"

// The lines that the configurator can write, as docs/log-and-files.md has them; made from it when
// this program is built.

inline constexpr std::size_t kMaximumValues = 4;

struct LineInfo {
    LineId id;
    std::string_view name;  // the id as the reference spells it
    Section section;
    Weight weight;
    bool hasTime;  // begins with the time
    bool hasEnd;   // ends its line
    std::size_t valueCount;
    std::array<std::string_view, kMaximumValues + 1> texts;  // valueCount + 1, around the values
    std::array<ValueKind, kMaximumValues> kinds;
    std::string_view meaning;
    std::string_view causes;
    std::string_view advice;
};

struct LineMatch {
    const LineInfo* line = nullptr;
    std::array<std::string_view, kMaximumValues> values;  // views into the text that was matched
};

std::span<const LineInfo> allLines();
const LineInfo& lineInfo(LineId id);
std::string_view titleOf(Section section);

// Logs that the reference shows as examples.
std::span<const std::string_view> referenceExamples();

// The line that the whole of `text` is; of several the one with the most text of its own.
// `areNumbersHexadecimal`: as all are behind a failed start of COM.
std::optional<LineMatch> matchLine(std::string_view text, bool areNumbersHexadecimal);

// The first line that `text` can be the beginning of, cut off anywhere; null for none.
const LineInfo* matchBeginning(std::string_view text);
