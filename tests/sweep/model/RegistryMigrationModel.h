#pragma once

#include <string>

#include "FileCopyModel.h"
#include "RegistryModel.h"

struct PackageNames {
    std::string oldFamily;
    std::string newFamily;
};

// The lists of files that the app may reach again, carried from the old package to the new one.
class RegistryMigrationModel {
public:
    RegistryMigrationModel(TraceReader& trace, const RunFacts& facts, const PackageNames& names)
        : m_trace(trace), m_names(names), m_texts(facts.registryTexts) {}

    // Both lists in both views; recorded.
    bool read(MigratedUser& user);

private:
    // One list in one view: its root, and the paths of the packages' keys below it.
    struct List {
        std::string root;
        std::string oldPackage;
        std::string newPackage;
        std::string name;

        std::string tail() const { return "\\PersistedStorageItemTable\\" + name; }
        std::string oldPath() const { return oldPackage + tail(); }
        std::string newPath() const { return newPackage + tail(); }
    };

    bool readList(const std::string& root, const std::string& base, const std::string& name);
    bool readTreeCopy(const List& list, const KeyModel& source);
    bool readRewriting(const List& list);
    bool readEntry(const List& list, const KeyModel& key, const std::string& name);
    bool readValue(const List& list, const KeyModel& entry, const std::string& entryName,
                   const std::string& valueName);
    void copyTexts(const List& list);

    TraceReader& m_trace;
    const PackageNames& m_names;
    RegistryTexts m_texts;  // as they stand at this point of the run
};
