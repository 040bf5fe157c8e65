#pragma once

#include <nlohmann/json.hpp>

#include "MachineState.h"

namespace standin {

// The parts of a machine file about removals, the desktop and network isolation. Reading throws
// nlohmann::json::exception or std::runtime_error.
nlohmann::ordered_json toJsonObject(const RemovalOutcome& removal);
nlohmann::ordered_json toJsonObject(const Desktop& desktop);
nlohmann::ordered_json toJsonObject(const NetworkIsolation& network);
RemovalOutcome removalFrom(const nlohmann::ordered_json& object);
Desktop desktopFrom(const nlohmann::ordered_json& object);
NetworkIsolation networkFrom(const nlohmann::ordered_json& object);

}  // namespace standin
