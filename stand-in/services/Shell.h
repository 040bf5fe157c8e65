#pragma once

#include <string>

namespace standin {

// Where the shell puts the copy of a folder or file: a folder that stands already gets it inside,
// under its own name. Without a backslash at the end of either path.
std::wstring placeOfCopy(const std::wstring& from, const std::wstring& to);

}  // namespace standin
