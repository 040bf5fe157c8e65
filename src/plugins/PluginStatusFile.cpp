#include "plugins/PluginStatusFile.h"

#include <fstream>
#include <stdexcept>
#include <string_view>
#include <unordered_map>

#include "platform/Json.h"
#include "platform/PlatformException.h"
#include "platform/Windows.h"
#include "plugins/MigrationResult.h"
#include "run/ConfiguratorLog.h"
#include "run/ExecutablePermissions.h"

#include <shlwapi.h>

namespace {

using Document = ComPointer<IJsonObject>;

template <typename Stream>
void closeFile(Stream& stream) {
    if (!stream.rdbuf()->close()) stream.setstate(std::ios::failbit);
}

// Closes the stream. False: the text is no JSON object.
bool readDocument(std::fstream& stream, Document& document) {
    std::string text;
    stream >> text;  // Required: stops at the first white space.
    closeFile(stream);
    return Platform::Json::tryParseObject(Platform::String(utf8ToWide(text)), document);
}

ComPointer<IJsonValue> arrayOf(const std::vector<std::wstring>& names) {
    const auto array = Platform::Json::createArray();
    for (const std::wstring& name : names)
        Platform::Json::append(array, Platform::Json::createStringValue(Platform::String(name)));
    return Platform::castTo<IJsonValue>(array);
}

}  // namespace

void ExecutablePermissions::discardStaleMigrationStatus() {
    if (!::PathFileExistsW(m_migrationStatusFileFullPath.c_str())) return;
    std::fstream stream(m_migrationStatusFileFullPath.c_str(), std::ios::in);
    Document document;
    if (!readDocument(stream, document)) return;
    // Required: the beta code is not tested.
    if (isOlderThanMinimumVersion(document, m_sapCodeDev) ||
        isOlderThanMinimumVersion(document, m_sapCodePrerelease) ||
        isOlderThanMinimumVersion(document, m_sapCodeRelease)) {
        ::DeleteFileW(m_migrationStatusFileFullPath.c_str());
    }
}

bool ExecutablePermissions::isOlderThanMinimumVersion(const Document& document,
                                                      const Platform::String& sapCode) const {
    if (!document || !Platform::Json::hasKey(document, sapCode)) return false;
    const Document entry = Platform::Json::getNamedObject(document, sapCode);
    if (!entry || !Platform::Json::hasKey(entry, m_appVersionKey)) return false;
    const std::wstring version = Platform::Json::getNamedString(entry, m_appVersionKey).str();
    const std::wstring majorVersion = version.substr(0, version.find(L'.'));

    // The reasons as the log words them on every machine; libraries word them differently.
    const char* reason = nullptr;
    try {
        return std::stoi(majorVersion) < m_minimumMajorVersion;
    } catch (const std::invalid_argument&) {
        reason = "invalid stoi argument";
    } catch (const std::out_of_range&) {
        reason = "stoi argument out of range";
    }
    g_configuratorLog->beginLine() << "Failed to convert majorVersion (" << majorVersion
                                   << ") into int with the reason" << reason << std::endl;
    return false;
}

bool ExecutablePermissions::isMigrationNeeded() {
    std::fstream stream(m_migrationStatusFileFullPath.c_str(), std::ios::in);
    if (!stream || !stream.is_open()) {
        if (!stream.rdbuf()->open(m_migrationStatusFileFullPath.c_str(),
                                  std::ios::out | std::ios::trunc)) {
            g_configuratorLog->beginLine()
                << "Failed to create " << m_migrationStatusFileFullPath << std::endl;
            return true;
        }
    }
    if (!readDocument(stream, m_migrationStatus)) {
        // What a failed parse hands back is the system's business; the record of this run needs a document.
        m_migrationStatus = Platform::Json::createObject();
        return true;
    }
    if (!m_migrationStatus || !Platform::Json::hasKey(m_migrationStatus, m_sapCode)) return true;
    const Document entry = Platform::Json::getNamedObject(m_migrationStatus, m_sapCode);
    if (!entry || !Platform::Json::hasKey(entry, m_statusKey)) return true;
    return Platform::Json::getNamedNumber(entry, m_statusKey) != 0.0;
}

ComPointer<IJsonObject> ExecutablePermissions::buildMigrationStatusEntry(int result) const {
    Document entry = Platform::Json::createObject();
    Platform::Json::setNamedValue(entry, m_appVersionKey,
                                  Platform::Json::createStringValue(m_version));
    Platform::Json::setNamedValue(entry, m_statusKey, Platform::Json::createNumberValue(result));
    Platform::Json::setNamedValue(entry, m_migratedKey, arrayOf(m_migratedPlugins));
    std::vector<std::wstring> failed;
    if (result != MigrationSucceeded) failed = computeFailedPlugins(m_plugins, m_migratedPlugins);
    Platform::Json::setNamedValue(entry, m_failedKey, arrayOf(failed));
    if (result != MigrationSucceeded)
        Platform::Json::setNamedValue(
            entry, m_reasonKey,
            Platform::Json::createStringValue(Platform::String(m_migrationFailureReason)));
    return entry;
}

void ExecutablePermissions::writeMigrationStatus(int result) {
    std::ofstream stream(m_migrationStatusFileFullPath.c_str(), std::ios::out | std::ios::trunc);
    if (!stream) {
        g_configuratorLog->beginLine() << "Failed to open " << m_migrationStatusFileFullPath
                                       << " for reading and writing migration result" << std::endl;
        return;
    }
    const auto record = [this](const Platform::String& sapCode, int outcome) {
        Platform::Json::setNamedValue(
            m_migrationStatus, sapCode,
            Platform::castTo<IJsonValue>(buildMigrationStatusEntry(outcome)));
    };
    record(m_sapCode, result);
    if (m_sapCode == m_sapCodeRelease && result == MigrationSucceeded) {
        // The success of a release build stands for all builds.
        record(m_sapCodeDev, MigrationSucceeded);
        record(m_sapCodePrerelease, MigrationSucceeded);
        record(m_sapCodeBeta, MigrationSucceeded);
    }
    const std::wstring text = Platform::Json::stringify(m_migrationStatus).str();
    stream << wideToUtf8(text, text.size());
    closeFile(stream);
}

std::vector<std::wstring> computeFailedPlugins(const std::vector<std::wstring>& plugins,
                                               const std::vector<std::wstring>& migrated) {
    // How often each name arrived: one that is listed several times is left out as often.
    std::unordered_map<std::wstring_view, size_t> arrived;
    for (const std::wstring& name : migrated)
        ++arrived[name];
    std::vector<std::wstring> failed;
    for (const std::wstring& name : plugins) {
        const auto found = arrived.find(name);
        if (found == arrived.end() || found->second == 0) {
            failed.push_back(name);
        } else {
            --found->second;
        }
    }
    return failed;
}
