#include <ostream>
#include <sstream>

#include "migration/AppDataMigrator.h"
#include "platform/Owners.h"
#include "platform/ProcessEnd.h"
#include "run/ConfiguratorLog.h"

namespace {

// Empty for an item that is no valid UTF-16, and for one that does not fit the fixed buffer with its terminator.
std::string itemToUtf8(const std::wstring& item) {
    char text[512] = {};
    const int size = ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, item.c_str(), -1, nullptr,
                                           0, nullptr, nullptr);
    if (size >= static_cast<int>(sizeof(text))) return {};
    if (::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, item.c_str(), -1, text, sizeof(text),
                              nullptr, nullptr) == 0)
        return {};
    return text;
}

// Required: items are not escaped, and the blank stands before the comma.
void writeStatusList(std::ostream& stream, const char* name, const std::vector<std::wstring>& items) {
    stream << "    \"" << name << "\": [";
    const char* separator = "";
    for (const std::wstring& item : items) {
        stream << separator << '"' << itemToUtf8(item) << '"';
        separator = " ,";
    }
    stream << "]";
}

}  // namespace

void AppDataMigrator::statusFilePath(const std::wstring& sid, PathBuffer& path) const {
    joinPath(path, targetFolders.at(sid).at(kLocalStateIndex).c_str(), statusFileName.c_str());
}

std::string AppDataMigrator::buildStatusText(const std::wstring& sid, bool outcome) {
    std::ostringstream text;
    text << "{\n";
    text << "    \"status\":" << (outcome ? "\"success\"" : "\"error\"") << ",\n";
    text << "    \"isEnterpriseDeployment\":" << (isEnterpriseDeployment ? "\"true\"" : "\"false\"")
         << ",\n";
    writeStatusList(text, "copied", copiedItems[sid]);
    text << ",\n";
    writeStatusList(text, "failed", failedItems[sid]);
    text << "\n}\n";
    return text.str();
}

bool AppDataMigrator::writeStatusFile(const std::wstring& sid, bool outcome) {
    PathBuffer path;
    statusFilePath(sid, path);
    FileHandle file(::CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file.isValid()) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine()
            << "Could not create status file '" << path << "'. Error code: " << error << std::endl;
        return false;
    }

    const std::string text = buildStatusText(sid, outcome);
    // Required: no count of the written bytes is asked for.
    if (!::WriteFile(file.get(), text.data(), static_cast<DWORD>(text.size()), nullptr, nullptr)) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine() << "Could not write to status file '" << path
                                       << "'. Error code: " << error << std::endl;
    }
    // Required: written after a failed write as well.
    g_configuratorLog->beginLine() << "Wrote migration status file " << path << std::endl;
    if (!file.close()) raiseLastError();
    return true;
}
