#pragma once

#include <string>

#include "../Windows.h"

namespace standin {

// Leaves an error object with that description for whoever asks next; nothing for a success or without a text.
void originate(HRESULT error, const std::wstring& text);

}  // namespace standin
