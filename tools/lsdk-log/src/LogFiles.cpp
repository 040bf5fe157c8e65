#include "LogFiles.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <system_error>

#include "Entries.h"
#include "RunBuilder.h"
#include "Text.h"

namespace fs = std::filesystem;

namespace {

std::string lowerCase(std::string text) {
    for (char& character : text)
        character = static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
    return text;
}

bool isUtf16(std::string_view bytes) {
    return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
}

bool isLogName(const fs::path& path) {
    const std::string extension = lowerCase(nameOf(path.extension()));
    return extension == ".txt" || extension == ".log";
}

LogFile logFileOf(const fs::path& path) {
    std::error_code error;
    fs::path absolute = fs::absolute(path, error);
    if (error) absolute = path;
    const std::string stem = nameOf(path.stem());
    const bool isUsual = lowerCase(stem) == "lsdkconfiguratorlog";
    const std::string folder = nameOf(absolute.parent_path().filename());
    return {path, nameOf(path), isUsual && !folder.empty() ? folder : stem, false};
}

void addFolder(const fs::path& folder, std::vector<LogFile>& logs) {
    std::error_code error;
    std::vector<fs::path> found;
    fs::recursive_directory_iterator entry(folder, fs::directory_options::skip_permission_denied,
                                           error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        if (entry->is_regular_file(ignored) && isLogName(entry->path()))
            found.push_back(entry->path());
    }
    std::ranges::sort(found);
    for (const fs::path& path : found) {
        logs.push_back(logFileOf(path));
        logs.back().isFound = true;
    }
}

}  // namespace

std::string nameOf(const fs::path& path) {
    const std::u8string text = path.u8string();
    return oneLine(readableText({reinterpret_cast<const char*>(text.data()), text.size()}));
}

std::vector<LogFile> findLogs(const std::vector<fs::path>& paths) {
    std::vector<LogFile> logs;
    for (const fs::path& path : paths) {
        std::error_code error;
        if (fs::is_directory(path, error)) {
            addFolder(path, logs);
        } else {
            logs.push_back(logFileOf(path));
        }
    }
    return logs;
}

LogSummary readLog(const LogFile& file, const std::function<void(const Run&)>& receiver) {
    LogSummary summary;
    std::error_code error;
    std::ifstream stream(file.path, std::ios::binary);
    if (fs::is_directory(file.path, error) || !stream) {
        summary.failure = "cannot be opened";
        return summary;
    }
    LogAnalysis analysis([&](const Run& run) {
        ++summary.runCount;
        ++summary.runs[static_cast<std::size_t>(run.outcome)];
        summary.unplaced += run.unplacedCount;
        receiver(run);
    });
    EntryReader reader([&](const Entry& entry) { analysis.add(entry); });

    std::vector<char> buffer(std::size_t{256} * 1024);
    while (stream) {
        stream.read(buffer.data(), static_cast<std::streamsize>(buffer.size()));
        const auto count = static_cast<std::size_t>(stream.gcount());
        if (summary.bytes == 0 && isUtf16({buffer.data(), count})) {
            summary.isUtf16 = true;
            summary.failure = "is UTF-16 text, which the configurator never writes; not read";
            return summary;
        }
        summary.bytes += count;
        reader.feed({buffer.data(), count});
    }
    if (stream.bad()) summary.failure = "cannot be read to its end";
    reader.finish();
    analysis.finish();
    summary.strays = analysis.strays();
    summary.strayCount = analysis.strayCount();
    summary.unplaced += summary.strayCount;
    return summary;
}
