#pragma once

#include <string>
#include <string_view>

#include "Export.h"

namespace standin {

// UTF-8 of wide text; a surrogate without its partner becomes U+FFFD.
STANDIN_API std::string toUtf8(std::wstring_view text);
STANDIN_API std::wstring toWide(std::string_view utf8);

}  // namespace standin
