#include "FileCopyModel.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

namespace {

constexpr unsigned long kFastFail = 0xC0000409;
constexpr unsigned long kStackOverflow = 0xC00000FD;
constexpr size_t kPathBuffer = 260;
// No path that fits its buffer leads deeper, so a run that copies deeper does so without end.
constexpr int kDeepestFolder = kPathBuffer / 2;
constexpr const char* kSeparators = "\\/";

struct FolderEntry {
    std::string name;
    bool isFolder;
};

void endUnlessItFits(TraceReader& trace, const std::string& text) {
    if (toUtf16(text).size() >= kPathBuffer) trace.endProcess(kFastFail);
}

// Whether the system joins it by a backslash and nothing else: it folds points away, and it takes
// what looks like a path of its own for one.
bool isJoinedPlainly(const std::string& path, const std::string& component) {
    if (component.find_first_of("\\/:") != std::string::npos) return false;
    for (size_t start = 0; start <= path.size();) {
        const size_t end = std::min(path.find('\\', start), path.size());
        if (end == start || path[end - 1] == '.') return false;
        start = end + 1;
    }
    return !component.ends_with('.');
}

std::string readAppended(TraceReader& trace, const std::string& path, const std::string& component) {
    const standin::Call& append = trace.call("PathCchAppend", {"*", "260", quoted(component)});
    if (append.failed) return path;
    const std::string joined = component.empty() ? path : path + '\\' + component;
    if (isJoinedPlainly(path, component) && append.arguments[0] != quoted(joined)) {
        trace.deviate("before this call: " + joined);
    }
    return unquoted(append.arguments[0]);
}

bool hasDirectoryAttribute(const standin::Call& attributes) {
    constexpr unsigned long kDirectory = 0x10;
    return (std::stoul(attributes.result, nullptr, 16) & kDirectory) != 0;
}

// The target's folder and an empty file.
bool readPreparedTarget(TraceReader& trace, const std::string& target) {
    const size_t separator = target.find_last_of(kSeparators);
    if (separator != std::string::npos && !readSubDirectories(trace, target.substr(0, separator))) {
        trace.line("Could not create sub directories for " + target +
                   "'. Error code: " + trace.error());
        return false;
    }
    const std::string file = readNewFile(trace, target);
    if (file.empty()) {
        trace.line("Could not create a file '" + target + "'. Error code: " + trace.error());
        return false;
    }
    readClose(trace, "CloseHandle", file);
    return true;
}

bool readFileCopy(TraceReader& trace, const std::string& source, const std::string& target) {
    trace.line("copyFile started from '" + source + "' to '" + target);
    if (!readIsFile(trace, source)) {
        trace.line("The file to be migrated '" + source + "' does not exist");
        return true;
    }
    const bool isOverwritten = readIsFile(trace, target);
    if (!isOverwritten && !readPreparedTarget(trace, target)) return false;
    if (!trace.ok("CopyFileW", {quoted(source), quoted(target), "0"})) {
        trace.line("ERROR: Could not copy '" + source + "' to '" + target +
                   "'. Error: " + trace.error());
        return false;
    }
    trace.line("Copied file '" + source + "' to '" + target +
               (isOverwritten ? "' (Overwritten) " : "'"));
    return true;
}

// Copies folders with all in them. It follows the program into a recursion without end, so the
// function that calls itself keeps little on the stack.
class FolderCopy {
public:
    FolderCopy(TraceReader& trace, const RunFacts& facts) : m_trace(trace), m_facts(facts) {}

    bool readListing(const std::string& folder, std::vector<FolderEntry>& listing) {
        readCopiedText(m_trace, folder);
        const std::string pattern = folder + "\\*";
        endUnlessItFits(m_trace, pattern);
        m_trace.call("wcscat_s", {quoted(pattern), "260", "\"\\*\""});
        const standin::Call* found = &m_trace.call("FindFirstFileW", {quoted(pattern)});
        if (found->failed) {
            m_trace.line("Error enumerating files in '" + folder +
                         "'. Error code: " + m_trace.error());
            return false;
        }
        const std::string search = found->result;
        while (!found->failed) {
            const std::string name = unquoted(found->arguments[1]);
            if (name != "." && name != "..")
                listing.push_back({name, m_facts.isFolder(folder + '\\' + name)});
            found = &m_trace.call("FindNextFileW", {search});
        }
        readClose(m_trace, "FindClose", search);
        return true;
    }

    // From outside; what ends without a word deeper than a path can lead has used up the stack.
    bool readWhole(const std::string& source, const std::string& targetParent) {
        try {
            m_depth = 0;
            return read(source, targetParent);
        } catch (const TraceEnd&) {
            if (m_depth > kDeepestFolder) throw ProcessEnd{kStackOverflow};
            throw;
        }
    }

private:
    bool read(const std::string& source, const std::string& targetParent) {
        ++m_depth;
        std::string target;
        std::vector<FolderEntry> listing;
        if (!readTarget(source, targetParent, target) || !readListing(source, listing)) {
            --m_depth;
            return false;
        }
        for (const FolderEntry& entry : listing) {
            const std::string path = readJoinedPath(m_trace, source, {entry.name});
            if (entry.isFolder) {
                read(path, target);
            } else {
                readFile(path, target, entry.name);
            }
        }
        --m_depth;
        return true;
    }

    bool readTarget(const std::string& source, const std::string& targetParent, std::string& target) {
        const size_t separator = source.rfind('\\');
        if (separator == std::string::npos) {
            m_trace.line("Unexpected directory to copy " + source);
            return false;
        }
        target = readJoinedPath(m_trace, targetParent, {source.substr(separator + 1)});
        m_trace.line("Recursively copying '" + source + "' into '" + targetParent + "'");
        if (readIsFolder(m_trace, target) || readSubDirectories(m_trace, target)) return true;
        m_trace.line("Error creating folder '" + target + "'. Error code: " + m_trace.error());
        return false;
    }

    void readFile(const std::string& path, const std::string& target, const std::string& name) {
        const std::string file = readJoinedPath(m_trace, target, {name});
        if (!m_trace.ok("CopyFileW", {quoted(path), quoted(file), "0"})) {
            m_trace.line("Error copying '" + path + "' to '" + file +
                         "'. Error code: " + m_trace.error());
        } else if (m_facts.isEnterprise) {
            m_trace.call("DeleteFileW", {quoted(path)});
        }
    }

    TraceReader& m_trace;
    const RunFacts& m_facts;
    int m_depth = 0;
};

}  // namespace

void readCopiedText(TraceReader& trace, const std::string& text) {
    endUnlessItFits(trace, text);
    trace.call("wcscpy_s", {quoted(text), "260", quoted(text)});
}

std::string readJoinedPath(TraceReader& trace, const std::string& first,
                           std::initializer_list<std::string> components) {
    readCopiedText(trace, first);
    std::string path = first;
    for (const std::string& component : components)
        path = readAppended(trace, path, component);
    return path;
}

bool readIsFile(TraceReader& trace, const std::string& path) {
    const standin::Call& attributes = trace.call("GetFileAttributesW", {quoted(path)});
    return !attributes.failed && !hasDirectoryAttribute(attributes);
}

bool readIsFolder(TraceReader& trace, const std::string& path) {
    const standin::Call& attributes = trace.call("GetFileAttributesW", {quoted(path)});
    return !attributes.failed && hasDirectoryAttribute(attributes);
}

bool readSubDirectories(TraceReader& trace, const std::string& path) {
    size_t position = 0;
    do {
        position = path.find_first_of(kSeparators, position + 1);
        const std::string prefix = path.substr(0, position);
        if (!readIsFolder(trace, prefix) && !trace.ok("CreateDirectoryW", {quoted(prefix), "null"}))
            return false;
    } while (position != std::string::npos);
    return true;
}

std::string readNewFile(TraceReader& trace, const std::string& path) {
    const standin::Call& file = trace.call(
        "CreateFileW", {quoted(path), "0x40000000", "0x0", "null", "2", "0x80", "null"});
    return file.failed ? "" : file.result;
}

void readClose(TraceReader& trace, const std::string& function, const std::string& handle) {
    if (trace.ok(function, {handle})) return;
    const auto error = static_cast<uint32_t>(std::stoul(trace.error()));
    const bool isPositive = static_cast<int32_t>(error) > 0;
    const uint32_t code = isPositive ? (error & 0xFFFF) | 0x80070000 : error;
    char text[16];
    std::snprintf(text, sizeof(text), "0x%X", code);
    trace.call("RaiseException", {text});
    trace.endProcess(code);
}

bool readMigratedFile(TraceReader& trace, MigratedUser& user, size_t folderIndex,
                      const std::string& name) {
    const std::string source = readJoinedPath(trace, user.sourceFolders[folderIndex], {name});
    const std::string target = readJoinedPath(trace, user.targetFolders[folderIndex], {name});
    const bool isCopied = readFileCopy(trace, source, target);
    (isCopied ? user.copied : user.failed).push_back(name);
    return isCopied;
}

bool readLocalStateFolders(TraceReader& trace, const RunFacts& facts, MigratedUser& user) {
    const std::string source = readJoinedPath(trace, user.sourceFolders[kLocalState], {""});
    const std::string target = readJoinedPath(trace, user.targetFolders[kLocalState], {""});
    if (!readIsFolder(trace, source)) {
        trace.unended("Source LocalState folder '" + source + "' does not exist. Nothing to copy.");
        return true;
    }
    FolderCopy copy(trace, facts);
    std::vector<FolderEntry> listing;
    if (!copy.readListing(source, listing)) return false;
    bool isComplete = true;
    for (const auto& [name, isFolder] : listing) {
        if (!isFolder || name == "VCPLocalLogs") continue;
        const std::string path = readJoinedPath(trace, source, {name});
        if (copy.readWhole(path, target)) {
            user.copied.push_back(name);
            if (facts.isEnterprise) trace.call("RemoveDirectoryW", {quoted(path)});
        } else {
            user.failed.push_back(name);
            isComplete = false;
        }
    }
    return isComplete;
}
