#include <exception>

#include "migration/AppDataMigrator.h"
#include "platform/StandardExceptions.h"
#include "run/ConfiguratorLog.h"
#include "run/RegistryKey.h"

namespace {

constexpr char kClassesRootLabel[] = "HKEY_CLASSES_ROOT\\";
constexpr char kUsersLabel[] = "HKEY_USERS\\";

const wchar_t* const kRewrittenValues[] = {L"FilePath", L"Metadata", L"PackageFamilyName"};

template <typename... Components>
std::wstring joinRegistryPath(std::wstring first, const Components&... components) {
    ((first += L'\\', first += components), ...);
    return first;
}

}  // namespace

bool AppDataMigrator::migrateRegistryEntries(const std::wstring& sid) {
    struct Group {
        const std::wstring& key;
        const wchar_t* item;
    };
    bool isComplete = true;
    for (const Group& group :
         {Group{mruKey, L"MRURegistryEntries"}, Group{falKey, L"FALRegistryEntries"}}) {
        const bool isClassesComplete = migrateClassesRootEntries(group.key);
        const bool isUserComplete = migrateUserHiveEntries(sid, group.key);
        const bool isGroupComplete = isClassesComplete && isUserComplete;
        recordItem(sid, group.item, isGroupComplete ? copiedItems : failedItems);
        if (!isGroupComplete) isComplete = false;
    }
    return isComplete;
}

bool AppDataMigrator::migrateClassesRootEntries(const std::wstring& key) const {
    return migrateEntries({HKEY_CLASSES_ROOT, kClassesRootLabel, classesAppModelKey}, key);
}

bool AppDataMigrator::migrateUserHiveEntries(const std::wstring& sid, const std::wstring& key) const {
    return migrateEntries({HKEY_USERS, kUsersLabel, joinRegistryPath(sid, usersAppModelKey)}, key);
}

// Required: a source that cannot be opened counts as nothing to migrate.
bool AppDataMigrator::migrateEntries(const RegistryView& view, const std::wstring& key) const {
    const std::wstring sourcePath = joinRegistryPath(view.basePath, oldPackageName,
                                                     persistedStorageKey, key);
    try {
        const RegistryKey source(view.hive, sourcePath.c_str());
        return copyRegistryTree(view, source, key);
    } catch (const std::exception&) {
        g_configuratorLog->beginLine() << "Error reading MRU registry entries from key "
                                       << view.label << sourcePath << std::endl;
        return true;
    }
}

// Required: the lines say MRU for either list.
bool AppDataMigrator::copyRegistryTree(const RegistryView& view, const RegistryKey& source,
                                       const std::wstring& key) const {
    const std::wstring targetPath = joinRegistryPath(view.basePath, newPackageName);
    try {
        const RegistryKey package(view.hive, targetPath.c_str());
        const RegistryKey storage(package.m_key, persistedStorageKey.c_str());
        const RegistryKey target(storage.m_key, key.c_str());
        const LSTATUS status = ::RegCopyTreeW(source.m_key, nullptr, target.m_key);
        if (status != ERROR_SUCCESS) {
            g_configuratorLog->beginLine()
                << "ERROR: Failed to copy registry subtree to " << view.label << targetPath
                << ". Error code: " << status << std::endl;
            return false;
        }
        g_configuratorLog->beginLine()
            << "Registry entries copied to " << view.label << targetPath << "." << std::endl;
        const bool isRewritten = rewriteCopiedEntries(view, key);
        if (isRewritten)
            g_configuratorLog->beginLine()
                << "MRU Registry entries updated for subkey " << key << std::endl;
        return isRewritten;
    } catch (const std::exception&) {
        g_configuratorLog->beginLine() << "Error copying MRU registry entries." << std::endl;
        return false;
    }
}

bool AppDataMigrator::rewriteCopiedEntries(const RegistryView& view, const std::wstring& key) const {
    try {
        const std::wstring path = joinRegistryPath(view.basePath, newPackageName,
                                                   persistedStorageKey, key);
        const RegistryKey entries(view.hive, path.c_str());
        std::vector<std::wstring> names;
        entries.enumerateSubKeys(names);
        bool isComplete = true;
        for (const std::wstring& name : names) {
            if (!rewriteSubkey(entries, name)) isComplete = false;
        }
        return isComplete;
    } catch (const std::exception& exception) {
        // Required: no blank between the label and the text behind it.
        g_configuratorLog->beginLine()
            << "Caught exception while updating MRU registry entries for " << view.label
            << "with the error " << textOf(exception) << std::endl;
        return false;
    }
}

bool AppDataMigrator::rewriteSubkey(const RegistryKey& key, const std::wstring& name) const {
    try {
        const RegistryKey entry(key.m_key, name.c_str());
        bool isComplete = true;
        for (const wchar_t* valueName : kRewrittenValues) {
            if (rewriteValue(entry, valueName)) continue;
            g_configuratorLog->beginLine() << "Error updating MRU registry entry for value "
                                           << valueName << " of subkey " << name << std::endl;
            isComplete = false;
        }
        return isComplete;
    } catch (const std::exception&) {
        g_configuratorLog->beginLine() << "Error opening registry key for " << name << std::endl;
        return false;
    }
}

bool AppDataMigrator::rewriteValue(const RegistryKey& key, const wchar_t* valueName) const {
    std::wstring text;
    try {
        text = readText(key, valueName, RRF_RT_REG_SZ);
    } catch (const std::exception&) {
        return false;
    }
    const size_t position = text.find(oldPackageName);
    if (position == std::wstring::npos) return true;

    text.replace(position, oldPackageName.size(),
                 newPackageName);  // Required: the first occurrence only.
    g_configuratorLog->beginLine()
        << "Updated MRU registry entry for value " << valueName << " under key " << key.m_name
        << ". New value: " << text << std::endl;
    // Required: odd; it cuts the terminator in half. And the type becomes REG_EXPAND_SZ, whatever it was.
    const DWORD sizeInBytes = static_cast<DWORD>(text.size() * sizeof(wchar_t) + 1);
    text += L'\0';  // The system completes the terminator with what stands behind the bytes.
    ::RegSetValueExW(key.m_key, valueName, 0, REG_EXPAND_SZ,
                     reinterpret_cast<const BYTE*>(text.c_str()), sizeInBytes);
    return true;
}
