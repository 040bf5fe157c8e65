#include "RegistryMigrationModel.h"

#include <cstdio>
#include <initializer_list>
#include <utility>

#include "RunModel.h"

namespace {

constexpr const char* kPackagesKey =
    "Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\SystemAppData\\";

// The UTF-16 text with the first half of its terminator, as the trace writes bytes.
std::string bytesOfText(const std::u16string& text) {
    std::string bytes = "[";
    for (const char16_t unit : text) {
        char pair[8];
        std::snprintf(pair, sizeof(pair), "%02X %02X ", static_cast<unsigned>(unit & 0xFF),
                      static_cast<unsigned>(unit >> 8));
        bytes += pair;
    }
    return bytes + "00]";
}

}  // namespace

bool RegistryMigrationModel::read(MigratedUser& user) {
    bool isComplete = true;
    const std::string userBase = user.sid + "\\SOFTWARE\\Classes\\" + kPackagesKey;
    for (const auto& [name, item] : {std::pair("MostRecentlyUsed", "MRURegistryEntries"),
                                     std::pair("ManagedByApp", "FALRegistryEntries")}) {
        const bool isClassesComplete = readList("HKEY_CLASSES_ROOT", kPackagesKey, name);
        const bool isUserComplete = readList("HKEY_USERS", userBase, name);
        const bool isListComplete = isClassesComplete && isUserComplete;
        (isListComplete ? user.copied : user.failed).push_back(item);
        isComplete = isComplete && isListComplete;
    }
    return isComplete;
}

bool RegistryMigrationModel::readList(const std::string& root, const std::string& base,
                                      const std::string& name) {
    const List list = {root, base + m_names.oldFamily, base + m_names.newFamily, name};
    m_trace.passOver();
    try {
        const KeyModel source(m_trace, root, list.oldPath());
        m_trace.passOver();
        return readTreeCopy(list, source);
    } catch (const StandardException&) {
        m_trace.line("Error reading MRU registry entries from key " + root + "\\" + list.oldPath());
        return true;
    }
}

bool RegistryMigrationModel::readTreeCopy(const List& list, const KeyModel& source) {
    const std::string target = list.root + "\\" + list.newPackage;
    try {
        const KeyModel package(m_trace, list.root, list.newPackage);
        const KeyModel storage(m_trace, package.handle(), "PersistedStorageItemTable");
        const KeyModel key(m_trace, storage.handle(), list.name);
        if (!m_trace.ok("RegCopyTreeW", {source.handle(), "null", key.handle()})) {
            m_trace.line("ERROR: Failed to copy registry subtree to " + target +
                         ". Error code: " + m_trace.error());
            return false;
        }
        copyTexts(list);
        m_trace.line("Registry entries copied to " + target + ".");
        const bool isRewritten = readRewriting(list);
        if (isRewritten) m_trace.line("MRU Registry entries updated for subkey " + list.name);
        return isRewritten;
    } catch (const StandardException&) {
        m_trace.line("Error copying MRU registry entries.");
        return false;
    }
}

void RegistryMigrationModel::copyTexts(const List& list) {
    const std::string from = lowerCase(list.root + "\\" + list.oldPath() + "\\");
    const std::string to = list.root + "\\" + list.newPath() + "\\";
    const RegistryTexts before = m_texts;
    for (const auto& [path, text] : before)
        if (lowerCase(path).starts_with(from)) m_texts[to + path.substr(from.size())] = text;
}

bool RegistryMigrationModel::readRewriting(const List& list) {
    try {
        const KeyModel key(m_trace, list.root, list.newPath());
        bool isComplete = true;
        const std::vector<std::string> names = key.enumerateSubKeys();
        m_trace.passOver();
        for (const std::string& name : names)
            isComplete = readEntry(list, key, name) && isComplete;
        return isComplete;
    } catch (const StandardException& exception) {
        m_trace.line("Caught exception while updating MRU registry entries for " + list.root +
                     "\\with the error " + exception.what);
        return false;
    }
}

bool RegistryMigrationModel::readEntry(const List& list, const KeyModel& key,
                                       const std::string& name) {
    bool isComplete = true;
    try {
        const KeyModel entry(m_trace, key.handle(), name);
        for (const std::string value : {"FilePath", "Metadata", "PackageFamilyName"}) {
            if (readValue(list, entry, name, value)) continue;
            m_trace.line("Error updating MRU registry entry for value " + value + " of subkey " +
                         name);
            isComplete = false;
        }
    } catch (const StandardException&) {
        m_trace.line("Error opening registry key for " + name);
        return false;
    }
    return isComplete;
}

bool RegistryMigrationModel::readValue(const List& list, const KeyModel& entry,
                                       const std::string& entryName, const std::string& valueName) {
    try {
        entry.readValue(valueName, "0x2");
        m_trace.passOver();
    } catch (const StandardException&) {
        return false;
    }
    const std::string path = list.root + "\\" + list.newPath() + "\\" + entryName + "\\" + valueName;
    const auto found = m_texts.find(path);
    if (found == m_texts.end()) m_trace.deviate("no value of the text " + path);
    std::string text = found->second;
    const size_t position = text.find(m_names.oldFamily);
    if (position == std::string::npos) return true;

    text.replace(position, m_names.oldFamily.size(), m_names.newFamily);
    m_trace.line("Updated MRU registry entry for value " + valueName + " under key " + entryName +
                 ". New value: " + text);
    const std::u16string units = toUtf16(text);
    if (m_trace.ok("RegSetValueExW", {entry.handle(), quoted(valueName), "0", "2",
                                      bytesOfText(units), std::to_string(2 * units.size() + 1)})) {
        found->second = text;
    }
    return true;
}
