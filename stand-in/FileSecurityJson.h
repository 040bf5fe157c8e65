#pragma once

#include <nlohmann/json.hpp>

#include "FileSecurity.h"

namespace standin {

// The part of a machine file that lists files and folders with their security.
nlohmann::ordered_json toJsonArray(const FileSecurities& files);
// Throws nlohmann::json::exception.
FileSecurities fileSecuritiesFrom(const nlohmann::ordered_json& array);

}  // namespace standin
