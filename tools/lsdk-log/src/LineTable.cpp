#include "LineTable.h"

#include <algorithm>
#include <vector>

extern const LineInfo kLines[];
extern const std::size_t kLineCount;
extern const std::string_view kSectionTitles[];
extern const std::string_view kExamples[];
extern const std::size_t kExampleCount;

namespace {

constexpr std::size_t kFirstCharacters = 256;

std::size_t ownTextOf(const LineInfo& line) {
    std::size_t size = 0;
    for (const std::string_view text : line.texts)
        size += text.size();
    return size;
}

using LinesByFirst = std::array<std::vector<const LineInfo*>, kFirstCharacters>;

// By the first character of their text; those with the most text of their own first.
const LinesByFirst& linesByFirst() {
    static const LinesByFirst found = [] {
        LinesByFirst lines;
        for (const LineInfo& line : allLines())
            lines[static_cast<unsigned char>(line.texts[0][0])].push_back(&line);
        for (auto& those : lines) {
            std::stable_sort(those.begin(), those.end(), [](const LineInfo* a, const LineInfo* b) {
                return ownTextOf(*a) > ownTextOf(*b);
            });
        }
        return lines;
    }();
    return found;
}

const std::vector<const LineInfo*>& linesLike(std::string_view text) {
    return linesByFirst()[text.empty() ? 0 : static_cast<unsigned char>(text[0])];
}

bool isOfKind(std::string_view value, ValueKind kind, bool isHexadecimal) {
    if (kind == ValueKind::Text) return true;
    if (kind == ValueKind::HRESULT) isHexadecimal = true;
    const bool canBeNegative = kind == ValueKind::ShellError || kind == ValueKind::Number;
    if (canBeNegative && value.starts_with('-')) value.remove_prefix(1);
    if (value.empty() || value.size() > 10) return false;
    return value.find_first_not_of(isHexadecimal ? "0123456789abcdef" : "0123456789") ==
           std::string_view::npos;
}

// Where the text between the values `index` and `index` + 1 stands; npos for nowhere.
std::size_t findText(const LineInfo& line, std::size_t index, std::string_view text,
                     std::size_t from) {
    const std::string_view wanted = line.texts[index];
    const std::size_t last = line.valueCount;
    if (index == last) {
        if (wanted.empty()) return text.size();
        const bool isThere = text.ends_with(wanted) && text.size() - wanted.size() >= from;
        return isThere ? text.size() - wanted.size() : std::string_view::npos;
    }
    // A number at the end: what stands before it is the last of its kind.
    const bool isBeforeLastNumber = index + 1 == last && line.texts[last].empty() &&
                                    line.kinds[index] != ValueKind::Text;
    const std::size_t found = isBeforeLastNumber ? text.rfind(wanted) : text.find(wanted, from);
    return found != std::string_view::npos && found >= from ? found : std::string_view::npos;
}

bool matches(const LineInfo& line, std::string_view text, bool isHexadecimal, LineMatch& match) {
    if (!text.starts_with(line.texts[0])) return false;
    match.line = &line;
    if (line.valueCount == 0) return text.size() == line.texts[0].size();
    std::size_t at = line.texts[0].size();
    for (std::size_t index = 1; index <= line.valueCount; ++index) {
        const std::size_t next = findText(line, index, text, at);
        if (next == std::string_view::npos) return false;
        match.values[index - 1] = text.substr(at, next - at);
        if (!isOfKind(match.values[index - 1], line.kinds[index - 1], isHexadecimal)) return false;
        at = next + line.texts[index].size();
    }
    return true;
}

}  // namespace

std::span<const LineInfo> allLines() {
    return {kLines, kLineCount};
}

const LineInfo& lineInfo(LineId id) {
    return kLines[static_cast<std::size_t>(id)];
}

std::string_view titleOf(Section section) {
    return kSectionTitles[static_cast<std::size_t>(section)];
}

std::span<const std::string_view> referenceExamples() {
    return {kExamples, kExampleCount};
}

std::optional<LineMatch> matchLine(std::string_view text, bool areNumbersHexadecimal) {
    LineMatch match;
    for (const LineInfo* line : linesLike(text))
        if (matches(*line, text, areNumbersHexadecimal, match)) return match;
    return std::nullopt;
}

const LineInfo* matchBeginning(std::string_view text) {
    if (text.empty()) return nullptr;
    for (const LineInfo* line : linesLike(text)) {
        const bool goesOn = line->valueCount > 0 && text.starts_with(line->texts[0]);
        if (goesOn || line->texts[0].starts_with(text)) return line;
    }
    return nullptr;
}
