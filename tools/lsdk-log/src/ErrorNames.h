#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "LineIds.h"

struct ErrorName {
    std::uint32_t number;
    const char* name;
};

// Windows' own name of an error; empty for one without a name.
std::string_view win32Name(std::uint32_t error);
// An HRESULT made of a Win32 error has that one's name.
std::string_view hresultName(std::uint32_t result);
// Of what the shell's file operation returns: its own numbers first, then Win32 errors.
std::string_view shellErrorName(std::int64_t error);

// "5 (ERROR_ACCESS_DENIED)" for a value of a line; the value alone where there is nothing to add.
std::string namedValue(std::string_view value, ValueKind kind, bool isHexadecimal);
