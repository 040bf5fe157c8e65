#include "PluginStatusModel.h"

#include <algorithm>

#include "PluginStatusText.h"

namespace {

using Json = nlohmann::json;
using StatusFile = PluginOutcome::StatusFile;

constexpr int kMinimumMajorVersion = 39;
constexpr const char* kRelease = "ZRKL";
constexpr const char* kDev = "ZRKLDV";
constexpr const char* kPrerelease = "ZRKLPR";
constexpr const char* kBeta = "ZRKLBE";

constexpr const char* kObject = "Windows.Data.Json.JsonObject";
constexpr const char* kArray = "Windows.Data.Json.JsonArray";
constexpr const char* kValue = "Windows.Data.Json.JsonValue";
constexpr const char* kActivationFactory = "{00000035-0000-0000-C000-000000000046}";
constexpr const char* kObjectStatics = "{2289F159-54DE-45D8-ABCC-22603FA066A0}";
constexpr const char* kValueStatics = "{5F6B544A-2F53-48E1-91A3-F78B50A6345C}";

std::vector<std::string> failedPlugins(const PluginRecord& record) {
    std::vector<std::string> failed;
    if (record.result == 0) return failed;
    failed = record.plugins;
    for (const std::string& name : record.migrated) {
        const auto found = std::find(failed.begin(), failed.end(), name);
        if (found != failed.end()) failed.erase(found);
    }
    return failed;
}

}  // namespace

PluginStatusModel::PluginStatusModel(TraceReader& trace, RunFacts& facts, const std::string& path)
    : m_trace(trace),
      m_facts(facts),
      m_outcome(facts.plugins),
      m_path(quoted(path)),
      m_sapCode(facts.arguments[4]) {}

void PluginStatusModel::discardStale() {
    if (!m_trace.ok("PathFileExistsW", {m_path})) return;
    m_readBegin = m_trace.position();
    const bool isOpen = m_trace.ok("_wfopen", {m_path, "\"r\""});
    const std::optional<Json> document = readDocument(isOpen && m_trace.readsFile());
    if (!document) return;
    // The beta code is not tested.
    std::string object = "JsonObject#*";
    if (!readIsOlder(*document, object, kDev) && !readIsOlder(*document, object, kPrerelease) &&
        !readIsOlder(*document, object, kRelease)) {
        return;
    }
    if (!m_trace.ok("DeleteFileW", {m_path})) return;
    m_outcome.statusFile = StatusFile::Removed;
    m_outcome.isHidden = false;
}

bool PluginStatusModel::readIsOlder(const Json& document, std::string& object,
                                    const std::string& sapCode) {
    object = readHasKey(object, sapCode);
    if (!document.contains(sapCode)) return false;
    const Json& entry = document[sapCode];
    readNamed("IJsonObject::GetNamedObject", object, sapCode, entry.is_object());
    const std::string entryObject = readHasKey("JsonObject#*", "appVersion");
    if (!entry.contains("appVersion")) return false;
    const Json& version = entry["appVersion"];
    readNamed("IJsonObject::GetNamedString", entryObject, "appVersion", version.is_string());
    const std::string text = version.get<std::string>();
    const std::string major = text.substr(0, text.find('.'));
    const char* reason = nullptr;
    try {
        return std::stoi(major) < kMinimumMajorVersion;
    } catch (const std::invalid_argument&) {
        reason = "invalid stoi argument";
    } catch (const std::out_of_range&) {
        reason = "stoi argument out of range";
    }
    m_trace.line("Failed to convert majorVersion (" + major + ") into int with the reason" + reason);
    return false;
}

bool PluginStatusModel::isMigrationNeeded() {
    m_readBegin = m_trace.position();
    bool isOpen = m_trace.ok("_wfopen", {m_path, "\"r\""});
    if (!isOpen) {
        if (!m_trace.ok("_wfopen", {m_path, "\"w\""})) {
            m_trace.line("Failed to create " + unquoted(m_path));
            return true;
        }
        noteCut();
    }
    m_document = readDocument(isOpen && m_trace.readsFile());
    if (!m_document) {
        // What a failed parse hands back is the system's business: the program makes its own.
        readActivation(kObject);
        m_document = Json::object();
        return true;
    }
    m_documentName = readHasKey("JsonObject#*", m_sapCode);
    if (!m_document->contains(m_sapCode)) return true;
    const Json& entry = (*m_document)[m_sapCode];
    readNamed("IJsonObject::GetNamedObject", m_documentName, m_sapCode, entry.is_object());
    const std::string entryObject = readHasKey("JsonObject#*", "status");
    if (!entry.contains("status")) return true;
    const Json& status = entry["status"];
    readNamed("IJsonObject::GetNamedNumber", entryObject, "status", status.is_number());
    return status.get<double>() != 0.0;
}

// The system refuses to cut a hidden file.
void PluginStatusModel::noteCut() {
    m_outcome.statusFile = StatusFile::Empty;
    m_outcome.isHidden = false;
}

// A file that could not be opened for reading gives an empty text.
std::optional<Json> PluginStatusModel::readDocument(bool isOpen) {
    const bool isAsBefore = m_outcome.statusFile == StatusFile::Untouched;
    std::string text = isOpen && isAsBefore ? firstToken(m_facts.pluginStatusText) : "";
    if (!isUtf8(text)) m_trace.raise("bad conversion");
    return parseObject(readParse(text));
}

// Returns the text that was parsed: a stream that gets no memory for it bears that, and keeps the
// beginning alone.
std::string PluginStatusModel::readParse(const std::string& text) {
    readFactory(kObject, kObjectStatics);
    const standin::Call& parse = m_trace.orThrow("IJsonObjectStatics::TryParse",
                                                 {"JsonObjectFactory#*"});
    const std::string parsed = unquoted(parse.arguments[1]);
    const auto calls = m_trace.calls().begin();
    const bool isShort = std::any_of(
        calls + static_cast<std::ptrdiff_t>(m_readBegin),
        calls + static_cast<std::ptrdiff_t>(m_trace.position()),
        [](const standin::Call& call) { return call.name == "malloc" && call.failed; });
    if (parsed != text && !(isShort && text.starts_with(parsed)))
        m_trace.deviate("the text to be parsed before this: " + text);
    return parsed;
}

void PluginStatusModel::readFactory(const std::string& className, const std::string& interfaceId) {
    m_trace.orThrow("RoGetActivationFactory", {quoted(className), interfaceId});
}

void PluginStatusModel::readActivation(const std::string& className) {
    readFactory(className, kActivationFactory);
    m_trace.orThrow("IActivationFactory::ActivateInstance",
                    {className == kObject ? "JsonObjectFactory#*" : "JsonArrayFactory#*"});
}

void PluginStatusModel::readStringValue(const std::string& text) {
    readFactory(kValue, kValueStatics);
    m_trace.orThrow("IJsonValueStatics::CreateStringValue", {"JsonValueFactory#*", quoted(text)});
}

// Returns the object that was asked. The trace does not show the answer.
std::string PluginStatusModel::readHasKey(const std::string& object, const std::string& key) {
    const standin::Call& view = m_trace.orThrow("IMap::GetView", {object});
    m_trace.orThrow("IMapView::HasKey", {"JsonMapView#*", quoted(key)});
    return view.arguments[0];
}

void PluginStatusModel::readNamed(const std::string& method, const std::string& object,
                                  const std::string& key, bool isOfType) {
    m_trace.orThrow(method, {object, quoted(key)});
    if (!isOfType) m_trace.deviate("a failure of the call before this");
}

// Returns the object that got the value.
std::string PluginStatusModel::readSet(const std::string& object, const std::string& key,
                                       const Json& value) {
    const standin::Call& set = m_trace.orThrow("IJsonObject::SetNamedValue",
                                               {object, quoted(key), "*"});
    const Json actual = Json::parse(set.arguments[2], nullptr, false);
    if (actual.is_discarded() || actual != value)
        m_trace.deviate("this value in the call before this: " + value.dump());
    return set.arguments[0];
}

void PluginStatusModel::readArray(const std::vector<std::string>& names) {
    readActivation(kArray);
    std::string array = "JsonArray#*";
    for (const std::string& name : names) {
        readStringValue(name);
        array = m_trace.orThrow("IVector::Append", {array, Json(name).dump()}).arguments[0];
    }
}

Json PluginStatusModel::readEntry(const PluginRecord& record) {
    readActivation(kObject);
    const std::string& version = m_facts.arguments[1];
    readStringValue(version);
    const std::string entry = readSet("JsonObject#*", "appVersion", version);
    if (entry == m_documentName || !m_entryNames.insert(entry).second)
        m_trace.deviate("an object of its own in the call before this");

    readFactory(kValue, kValueStatics);
    m_trace.orThrow("IJsonValueStatics::CreateNumberValue",
                    {"JsonValueFactory#*", std::to_string(record.result)});
    readSet(entry, "status", record.result);
    readArray(record.migrated);
    readSet(entry, "migrated", record.migrated);
    const std::vector<std::string> failed = failedPlugins(record);
    readArray(failed);
    readSet(entry, "failed", failed);
    Json value = {{"appVersion", version},
                  {"status", record.result},
                  {"migrated", record.migrated},
                  {"failed", failed}};
    if (record.result == 0) return value;
    readStringValue(record.reason);
    readSet(entry, "reason", record.reason);
    value["reason"] = record.reason;
    return value;
}

void PluginStatusModel::readRecord(const std::string& sapCode, const PluginRecord& record) {
    const Json entry = readEntry(record);
    // The file could be neither opened nor made before, but can be now.
    if (!m_document) throw PlatformFailure{"0x80004003"};
    const std::string object = m_documentName.empty() ? "JsonObject#*" : m_documentName;
    m_documentName = readSet(object, sapCode, entry);
    if (m_entryNames.contains(m_documentName))
        m_trace.deviate("the document as the object of the call before this");
    (*m_document)[sapCode] = entry;
}

void PluginStatusModel::write(const PluginRecord& record) {
    m_outcome.isWriteTried = true;
    if (!m_trace.ok("_wfopen", {m_path, "\"w\""})) {
        m_trace.line("Failed to open " + unquoted(m_path) +
                     " for reading and writing migration result");
        return;
    }
    noteCut();
    readRecord(m_sapCode, record);
    m_trace.orThrow("WindowsCompareStringOrdinal", {quoted(m_sapCode), quoted(kRelease)});
    if (m_sapCode == kRelease && record.result == 0) {
        // The success of a release build stands for all builds.
        for (const char* sapCode : {kDev, kPrerelease, kBeta})
            readRecord(sapCode, record);
    }
    m_trace.orThrow("IJsonValue::Stringify", {m_documentName});
    readEncoding();
}

// The document's text on its way to the file. Its form is the system's, but for the white space.
void PluginStatusModel::readEncoding() {
    const standin::Call& size = m_trace.call(
        "WideCharToMultiByte", {"65001", "0x80", "*", "*", "null", "0", "0x0", "null"});
    const std::string& argument = size.arguments[2];
    const std::string text = unquoted(argument);
    if (parseObject(text) != m_document || hasBlankOutsideStrings(text))
        m_trace.deviate("in the call before this " + m_document->dump());
    if (size.arguments[3] != std::to_string(utf16Length(text)))
        m_trace.deviate("the whole text's length in the call before this");
    if (size.failed) return;
    const std::string bytes = std::to_string(text.size());
    if (size.result != bytes) m_trace.deviate(bytes + " from the call before this");
    if (!m_trace.ok("WideCharToMultiByte",
                    {"65001", "0x80", argument, size.arguments[3], "given", bytes, "0x0", "null"})) {
        return;
    }
    if (!m_trace.ok("_write", {"*", quoted(bytesAsTraced(text)), bytes})) return;
    m_outcome.statusFile = StatusFile::Recorded;
    m_outcome.statusText = text;
}

std::string pluginStatusFault(const RunFacts& facts, const std::string& path,
                              const std::string* after) {
    const PluginOutcome& outcome = facts.plugins;
    std::optional<std::string> wanted = outcome.statusText;
    if (outcome.statusFile == StatusFile::Removed) wanted.reset();
    if (outcome.statusFile == StatusFile::Untouched) {
        wanted.reset();
        if (facts.isFile(path)) wanted = facts.pluginStatusText;
    }
    const std::optional<std::string> found = after == nullptr ? std::nullopt : std::optional(*after);
    if (wanted == found) return "";
    return "it must hold " + wanted.value_or("nothing, being gone") + "\nit holds " +
           found.value_or("nothing, being gone");
}
