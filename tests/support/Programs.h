#pragma once

#include <string>

#include "stand-in/Windows.h"

// The path of a program that stands beside this test program.
inline std::wstring programBeside(const std::wstring& name) {
    wchar_t path[MAX_PATH] = {};
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    const std::wstring own = path;
    return own.substr(0, own.find_last_of(L'\\') + 1) + name;
}
