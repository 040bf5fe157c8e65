#include "migration/PathHelpers.h"

#include <cwchar>
#include <string>

#include "platform/FileAttributes.h"
#include "platform/ProcessEnd.h"

// The C runtime's own answer to a text that does not fit ends the process; not every runtime
// library gives it, so the length is looked at here.
void copyPath(PathBuffer& destination, const wchar_t* text) {
    if (std::wcslen(text) >= MAX_PATH) failFast(FAST_FAIL_INVALID_ARG);
    ::wcscpy_s(destination, MAX_PATH, text);
}

void appendText(PathBuffer& destination, const wchar_t* text) {
    if (std::wcslen(destination) + std::wcslen(text) >= MAX_PATH) failFast(FAST_FAIL_INVALID_ARG);
    ::wcscat_s(destination, MAX_PATH, text);
}

bool createSubDirectories(std::wstring_view path) {
    size_t position = 0;
    do {
        position = path.find_first_of(kPathSeparators, position + 1);
        const std::wstring prefix(path.substr(0, position));
        if (!existsAsFolder(prefix.c_str()) && !::CreateDirectoryW(prefix.c_str(), nullptr))
            return false;
    } while (position != std::wstring_view::npos);
    return true;
}
