#pragma once

#include <string>
#include <vector>

#include "TraceReader.h"

// An open key as the program has it: opened with full access, made if it is missing.
class KeyModel {
public:
    // `root` as the trace writes it: HKEY_USERS, or another key's handle. Raises "Unknown
    // exception" behind the line of the failure.
    KeyModel(TraceReader& trace, const std::string& root, const std::string& path);

    // The handle as the trace writes it: key#1.
    const std::string& handle() const { return m_handle; }

    // Reads a value twice, for its size and for its bytes; `flags` as in the trace: 0xFFFF or 0x2.
    void readValue(const std::string& name, const std::string& flags) const;
    // The names in the order of the registry; those that cannot be read are left out.
    std::vector<std::string> enumerateSubKeys() const;

private:
    TraceReader& m_trace;
    std::string m_handle;
};
