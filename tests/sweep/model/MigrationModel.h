#pragma once

#include <map>
#include <string>

#include "FileCopyModel.h"
#include "RegistryMigrationModel.h"

// The app data migration: its constructor and its one run.
class MigrationModel {
public:
    MigrationModel(TraceReader& trace, RunFacts& facts);

    bool run();

private:
    void readUsers();
    void readUser(const std::string& sid);
    void readFolders();
    void readFinishedUsers();
    bool readMigration(MigratedUser& user);

    TraceReader& m_trace;
    RunFacts& m_facts;
    PackageNames m_names;
    RegistryMigrationModel m_registry;
    std::map<std::string, MigratedUser> m_users;  // by SID
};
