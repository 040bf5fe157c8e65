#pragma once

#include <string_view>

#include "platform/Windows.h"

#include <pathcch.h>

// A path of the app data migration. 259 characters and the terminator; nothing extends this limit.
using PathBuffer = wchar_t[MAX_PATH];

// Copies the text into the buffer. A text that does not fit ends the process.
void copyPath(PathBuffer& destination, const wchar_t* text);

// Adds the text to the buffer's as it stands. A text that does not fit ends the process.
void appendText(PathBuffer& destination, const wchar_t* text);

// Builds `first` and the components behind it in the buffer, as PathCchAppend joins them. A first
// path that does not fit ends the process; what a component that does not fit leaves in the buffer
// is the system's business.
template <typename... Components>
void joinPath(PathBuffer& destination, const wchar_t* first, Components... components) {
    copyPath(destination, first);
    (static_cast<void>(::PathCchAppend(destination, MAX_PATH, components)), ...);
}

inline constexpr wchar_t kPathSeparators[] = L"\\/";

// Makes the folder and those above it that are missing. False: GetLastError has the reason.
bool createSubDirectories(std::wstring_view path);
