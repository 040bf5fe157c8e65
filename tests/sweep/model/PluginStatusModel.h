#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "RunFacts.h"
#include "TraceReader.h"

// What the plug-in migration records of itself.
struct PluginRecord {
    int result = 0;
    std::vector<std::string> plugins;
    std::vector<std::string> migrated;
    std::string reason;
};

// The status file of the plug-in migration: read twice, discarded if it is too old, and rewritten.
// Keeps in the facts what the file must hold after each step.
class PluginStatusModel {
public:
    PluginStatusModel(TraceReader& trace, RunFacts& facts, const std::string& path);

    void discardStale();
    bool isMigrationNeeded();
    void write(const PluginRecord& record);

private:
    using Json = nlohmann::json;

    void noteCut();
    std::optional<Json> readDocument(bool isOpen);
    std::string readParse(const std::string& text);
    bool readIsOlder(const Json& document, std::string& object, const std::string& sapCode);
    void readFactory(const std::string& className, const std::string& interfaceId);
    void readActivation(const std::string& className);
    void readStringValue(const std::string& text);
    std::string readHasKey(const std::string& object, const std::string& key);
    void readNamed(const std::string& method, const std::string& object, const std::string& key,
                   bool isOfType);
    std::string readSet(const std::string& object, const std::string& key, const Json& value);
    void readArray(const std::vector<std::string>& names);
    Json readEntry(const PluginRecord& record);
    void readRecord(const std::string& sapCode, const PluginRecord& record);
    void readEncoding();

    TraceReader& m_trace;
    RunFacts& m_facts;
    PluginOutcome& m_outcome;
    const std::string m_path;  // as the trace writes it
    const std::string m_sapCode;
    size_t m_readBegin = 0;          // of the calls, where the reading of the file began
    std::optional<Json> m_document;  // of the migration; nothing: the program has none
    std::string m_documentName;      // its object as the trace names it, once that is known
    std::set<std::string> m_entryNames;
};

// What is wrong with the status file at that path after the run, or nothing. `after`: its bytes;
// null if there is no file.
std::string pluginStatusFault(const RunFacts& facts, const std::string& path,
                              const std::string* after);
