#pragma once

#include <string>
#include <vector>

// The names of `plugins` that are not in `migrated`, in their order; a name that stands twice loses
// one place for each time it was migrated.
std::vector<std::wstring> computeFailedPlugins(const std::vector<std::wstring>& plugins,
                                               const std::vector<std::wstring>& migrated);

// The first `length` units as UTF-8. Empty for text that is no valid UTF-16.
std::string wideToUtf8(const std::wstring& text, size_t length);

// Throws std::range_error, "bad conversion", for a lone, missing or cut sequence, an overlong form,
// and a code beyond U+10FFFF. An encoded surrogate is taken as it is.
std::wstring utf8ToWide(const std::string& text);
