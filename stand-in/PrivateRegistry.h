#pragma once

#include <string>

#include "Export.h"

namespace standin {

// Puts HKEY_LOCAL_MACHINE, HKEY_USERS and HKEY_CLASSES_ROOT of this process onto keys below
// HKEY_CURRENT_USER\<root>, which are made if they do not exist. The classes are those of the machine part.
STANDIN_API void mapRegistry(const std::wstring& root);
STANDIN_API void unmapRegistry();

}  // namespace standin
