#include "WorldJson.h"

#include <algorithm>
#include <stdexcept>

#include "Text.h"

namespace standin {

using Json = nlohmann::ordered_json;

namespace {

// By RemovalOutcome::Kind.
const char* const kRemovals[] = {"done",     "refused",       "failed",
                                 "canceled", "doneWithError", "resultsLost"};

std::wstring textOf(const Json& object, const char* name) {
    return toWide(object.value(name, std::string()));
}

std::optional<std::wstring> textIfAny(const Json& object, const char* name) {
    if (!object.contains(name)) return std::nullopt;
    return toWide(object.at(name).get<std::string>());
}

void addIfAny(Json& object, const char* name, const std::optional<std::wstring>& text) {
    if (text) object[name] = toUtf8(*text);
}

}  // namespace

Json toJsonObject(const RemovalOutcome& removal) {
    return {{"outcome", kRemovals[static_cast<size_t>(removal.kind)]},
            {"error", static_cast<uint32_t>(removal.error)},
            {"text", toUtf8(removal.text)},
            {"atOnce", removal.endsAtOnce}};
}

RemovalOutcome removalFrom(const Json& object) {
    const std::string wanted = object.value("outcome", kRemovals[0]);
    const auto found = std::find(std::begin(kRemovals), std::end(kRemovals), wanted);
    if (found == std::end(kRemovals)) throw std::runtime_error("no outcome of removals: " + wanted);
    RemovalOutcome removal;
    removal.kind = static_cast<RemovalOutcome::Kind>(found - std::begin(kRemovals));
    removal.error = static_cast<int32_t>(object.value("error", uint32_t{0}));
    removal.text = textOf(object, "text");
    removal.endsAtOnce = object.value("atOnce", false);
    return removal;
}

Json toJsonObject(const Desktop& desktop) {
    Json object = {{"shell", desktop.hasShell},
                   {"shellProcess", desktop.shellProcess},
                   {"otherWindows", desktop.otherWindows},
                   {"user", toUtf8(desktop.user)}};
    if (desktop.pretended) {
        object["pretended"] = {{"startError", desktop.pretended->startError},
                               {"exitCode", desktop.pretended->exitCode}};
    }
    return object;
}

Desktop desktopFrom(const Json& object) {
    Desktop desktop;
    desktop.hasShell = object.value("shell", desktop.hasShell);
    desktop.shellProcess = object.value("shellProcess", desktop.shellProcess);
    desktop.otherWindows = object.value("otherWindows", desktop.otherWindows);
    desktop.user = textOf(object, "user");
    if (object.contains("pretended")) {
        const Json& pretended = object.at("pretended");
        desktop.pretended = {pretended.value("startError", uint32_t{0}),
                             pretended.value("exitCode", uint32_t{0})};
    }
    return desktop;
}

Json toJsonObject(const NetworkIsolation& network) {
    Json containers = Json::array();
    for (const AppContainer& container : network.containers) {
        Json one = Json::object();
        addIfAny(one, "name", container.name);
        addIfAny(one, "displayName", container.displayName);
        addIfAny(one, "packageFullName", container.packageFullName);
        one["sid"] = toUtf8(container.sid);
        containers.push_back(one);
    }
    Json exempt = Json::array();
    for (const ExemptSid& one : network.exempt)
        exempt.push_back({{"sid", toUtf8(one.sid)}, {"attributes", one.attributes}});
    return {{"containers", containers},
            {"exempt", exempt},
            {"missingFunctions", network.missingFunctions}};
}

NetworkIsolation networkFrom(const Json& object) {
    NetworkIsolation network;
    for (const auto& one : object.value("containers", Json::array())) {
        network.containers.push_back({textIfAny(one, "name"), textIfAny(one, "displayName"),
                                      textIfAny(one, "packageFullName"), textOf(one, "sid")});
    }
    for (const auto& one : object.value("exempt", Json::array()))
        network.exempt.push_back({textOf(one, "sid"), one.value("attributes", uint32_t{0})});
    network.missingFunctions = object.value("missingFunctions", std::vector<std::string>());
    return network;
}

}  // namespace standin
