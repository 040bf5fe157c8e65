#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace standin {

// One app container as network isolation lists it. Texts may be missing; no SID is a null SID.
struct AppContainer {
    std::optional<std::wstring> name;
    std::optional<std::wstring> displayName;
    std::optional<std::wstring> packageFullName;
    std::wstring sid;
};

struct ExemptSid {
    std::wstring sid;
    uint32_t attributes = 0;

    bool operator==(const ExemptSid&) const = default;
};

// The library of network isolation and what it keeps.
struct NetworkIsolation {
    std::vector<AppContainer> containers;
    std::vector<ExemptSid> exempt;              // may reach the machine's own loopback address
    std::vector<std::string> missingFunctions;  // not exported by the library
};

}  // namespace standin
