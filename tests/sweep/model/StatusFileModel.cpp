#include "StatusFileModel.h"

#include <cstdio>

namespace {

// With its terminator; an item that does not fit is left empty.
constexpr unsigned long kItemBuffer = 512;

std::string readUtf8Item(TraceReader& trace, const std::string& item) {
    const standin::Call& size = trace.call(
        "WideCharToMultiByte", {"65001", "0x80", quoted(item), "-1", "null", "0", "0x0", "null"});
    if (std::stoul(size.result) >= kItemBuffer) return "";
    const bool isConverted = trace.ok(
        "WideCharToMultiByte", {"65001", "0x80", quoted(item), "-1", "given", "512", "0x0", "null"});
    return isConverted ? item : "";
}

std::string readList(TraceReader& trace, const std::string& name,
                     const std::vector<std::string>& items) {
    std::string text = "    " + quoted(name) + ": [";
    std::string separator;
    for (const std::string& item : items) {
        text += separator + quoted(readUtf8Item(trace, item));
        separator = " ,";
    }
    return text + "]";
}

std::string readStatusText(TraceReader& trace, const RunFacts& facts, const MigratedUser& user,
                           bool isSuccess) {
    std::string text = "{\n";
    text += "    \"status\":" + quoted(isSuccess ? "success" : "error") + ",\n";
    text += "    \"isEnterpriseDeployment\":" + quoted(facts.isEnterprise ? "true" : "false") + ",\n";
    text += readList(trace, "copied", user.copied) + ",\n";
    text += readList(trace, "failed", user.failed) + "\n";
    return text + "}\n";
}

// Bytes as the trace writes them: each as the character of that number.
std::string bytesInTrace(const std::string& bytes) {
    std::string text;
    for (const char unit : bytes) {
        const auto byte = static_cast<unsigned char>(unit);
        if (byte < ' ') {
            char escaped[8];
            std::snprintf(escaped, sizeof(escaped), "\\u%04X", byte);
            text += escaped;
        } else if (byte < 0x80) {
            text += unit;
        } else {
            text += static_cast<char>(0xC0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3F));
        }
    }
    return quoted(text);
}

}  // namespace

std::string readStatusFilePath(TraceReader& trace, const MigratedUser& user) {
    return readJoinedPath(trace, user.targetFolders[kLocalState], {"mig_status.json"});
}

void readStatusFile(TraceReader& trace, const RunFacts& facts, const MigratedUser& user,
                    bool isSuccess) {
    const std::string path = readStatusFilePath(trace, user);
    const std::string file = readNewFile(trace, path);
    if (file.empty()) {
        trace.line("Could not create status file '" + path + "'. Error code: " + trace.error());
        return;
    }
    const std::string text = readStatusText(trace, facts, user, isSuccess);
    if (!trace.ok("WriteFile",
                  {file, bytesInTrace(text), std::to_string(text.size()), "null", "null"})) {
        trace.line("Could not write to status file '" + path + "'. Error code: " + trace.error());
    }
    trace.line("Wrote migration status file " + path);
    readClose(trace, "CloseHandle", file);
}
