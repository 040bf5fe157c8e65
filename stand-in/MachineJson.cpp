#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "FileSecurityJson.h"
#include "MachineState.h"
#include "Text.h"
#include "Windows.h"
#include "WorldJson.h"

namespace standin {

using Json = nlohmann::ordered_json;

namespace {

std::wstring textOf(const Json& object, const char* name) {
    return toWide(object.value(name, std::string()));
}

Json toJsonObject(const InstalledPackage& package) {
    Json users = Json::array();
    for (const std::wstring& user : package.users)
        users.push_back(toUtf8(user));
    const PackageVersionNumbers& version = package.version;
    return {{"name", toUtf8(package.name)},
            {"publisher", toUtf8(package.publisher)},
            {"version", {version.major, version.minor, version.build, version.revision}},
            {"fullName", toUtf8(package.fullName)},
            {"familyName", toUtf8(package.familyName)},
            {"installPath", toUtf8(package.installPath)},
            {"users", users},
            {"provisioned", package.isProvisioned},
            {"removal", toJsonObject(package.removal)}};
}

InstalledPackage packageFrom(const Json& object) {
    InstalledPackage package;
    package.name = textOf(object, "name");
    package.publisher = textOf(object, "publisher");
    const auto& version = object.at("version");
    package.version = {version.at(0), version.at(1), version.at(2), version.at(3)};
    package.fullName = textOf(object, "fullName");
    package.familyName = textOf(object, "familyName");
    package.installPath = textOf(object, "installPath");
    for (const auto& user : object.value("users", Json::array())) {
        package.users.push_back(toWide(user.get<std::string>()));
    }
    package.isProvisioned = object.value("provisioned", false);
    package.removal = removalFrom(object.value("removal", Json::object()));
    return package;
}

// By JsonHabits::FailedParse.
const char* const kFailedParses[] = {"emptyObject", "null", "leftOver"};

JsonHabits habitsFrom(const Json& object) {
    JsonHabits habits;
    const std::string wanted = object.value("failedParse", kFailedParses[0]);
    const auto found = std::find(std::begin(kFailedParses), std::end(kFailedParses), wanted);
    if (found == std::end(kFailedParses)) throw std::runtime_error("no failedParse: " + wanted);
    habits.failedParse = static_cast<JsonHabits::FailedParse>(found - std::begin(kFailedParses));
    habits.reversesKeys = object.value("reversesKeys", false);
    return habits;
}

Json toJsonObject(const JsonHabits& habits) {
    return {{"failedParse", kFailedParses[static_cast<size_t>(habits.failedParse)]},
            {"reversesKeys", habits.reversesKeys}};
}

MachineState machineFrom(const Json& object) {
    MachineState state;
    for (const auto& package : object.value("packages", Json::array())) {
        state.packages.push_back(packageFrom(package));
    }
    state.tokenUser = textOf(object, "tokenUser");
    for (const auto& folder : object.value("folders", Json::array())) {
        state.folders[folder.at("csidl").get<int>()] = {
            textOf(folder, "path"), static_cast<int32_t>(folder.value("error", uint32_t{0}))};
    }
    state.fileSecurity = fileSecuritiesFrom(object.value("fileSecurity", Json::array()));
    state.registryRoot = textOf(object, "registryRoot");
    state.hasPathLimits = object.value("pathLimits", true);
    if (object.contains("clock")) state.clock = object.at("clock").get<uint64_t>();
    if (object.contains("json")) state.json = habitsFrom(object.at("json"));
    state.hasPackageManager8 = object.value("packageManager8", true);
    if (object.contains("desktop")) state.desktop = desktopFrom(object.at("desktop"));
    if (object.contains("network")) state.network = networkFrom(object.at("network"));
    if (object.contains("errorObject")) {
        const auto& error = object.at("errorObject");
        state.errorObject = {static_cast<int32_t>(error.at("error").get<uint32_t>()),
                             textOf(error, "description"), textOf(error, "restrictedDescription")};
    }
    return state;
}

// What has changed since the machine file was written stands beside it, a line each, in order.
std::wstring changesOf(const std::wstring& machineFile) {
    return machineFile + L".changes";
}

}  // namespace

std::string toJson(const MachineState& state) {
    Json object;
    object["packages"] = Json::array();
    for (const InstalledPackage& package : state.packages) {
        object["packages"].push_back(toJsonObject(package));
    }
    object["tokenUser"] = toUtf8(state.tokenUser);
    object["folders"] = Json::array();
    for (const auto& [csidl, folder] : state.folders) {
        object["folders"].push_back({{"csidl", csidl},
                                     {"path", toUtf8(folder.path)},
                                     {"error", static_cast<uint32_t>(folder.error)}});
    }
    object["fileSecurity"] = toJsonArray(state.fileSecurity);
    object["registryRoot"] = toUtf8(state.registryRoot);
    object["pathLimits"] = state.hasPathLimits;
    if (state.clock) object["clock"] = *state.clock;
    object["json"] = toJsonObject(state.json);
    object["packageManager8"] = state.hasPackageManager8;
    if (state.desktop) object["desktop"] = toJsonObject(*state.desktop);
    if (state.network) object["network"] = toJsonObject(*state.network);
    if (state.errorObject) {
        object["errorObject"] = {
            {"error", static_cast<uint32_t>(state.errorObject->error)},
            {"description", toUtf8(state.errorObject->description)},
            {"restrictedDescription", toUtf8(state.errorObject->restrictedDescription)}};
    }
    return object.dump(2) + "\n";
}

MachineState machineFromJson(const std::string& text) {
    try {
        return machineFrom(Json::parse(text));
    } catch (const Json::exception& error) {
        throw std::runtime_error(std::string("not a machine: ") + error.what());
    }
}

MachineState readMachine(const std::wstring& path) {
    std::ifstream file(path.c_str(), std::ios::binary);
    if (!file) throw std::runtime_error("no such machine file: " + toUtf8(path));
    std::ostringstream text;
    text << file.rdbuf();
    MachineState state = machineFromJson(text.str());

    std::ifstream changes(changesOf(path).c_str(), std::ios::binary);
    // A line without its end was cut off with its writer.
    for (std::string line; std::getline(changes, line) && !changes.eof();) {
        for (const auto& [changed, security] : fileSecuritiesFrom(Json::parse(line)))
            setSecurity(state.fileSecurity, changed, security);
    }
    return state;
}

void writeMachine(const std::wstring& path, const MachineState& state) {
    // Written beside and moved into place: whoever reads meanwhile, or after a crash, finds a whole machine.
    const std::wstring beside = path + L".new";
    std::ofstream file(beside.c_str(), std::ios::binary);
    file << toJson(state);
    file.close();
    if (!file || !::MoveFileExW(beside.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING)) {
        throw std::runtime_error("the machine file cannot be written: " + toUtf8(path));
    }
    ::DeleteFileW(changesOf(path).c_str());
}

void appendSecurity(const std::wstring& path, const std::wstring& changed,
                    const FileSecurity& security) {
    std::ofstream changes(changesOf(path).c_str(), std::ios::binary | std::ios::app);
    changes << toJsonArray({{changed, security}}).dump() << '\n';
    changes.close();
    if (!changes) {
        throw std::runtime_error("the changes of the machine cannot be written: " + toUtf8(path));
    }
}

}  // namespace standin
