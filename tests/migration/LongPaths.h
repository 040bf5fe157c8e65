#pragma once

#include <algorithm>
#include <stdexcept>
#include <string>

// A path of exactly that length below `base`, in components of at most 50 characters.
inline std::wstring pathOfLength(const std::wstring& base, size_t length) {
    if (length < base.size() + 2) throw std::logic_error("no room for a component");
    std::wstring path = base;
    while (path.size() < length) {
        const size_t room = length - path.size() - 1;
        size_t component = std::min<size_t>(room, 50);
        if (room - component == 1) --component;  // a backslash alone would remain
        path += L'\\' + std::wstring(component, L'a');
    }
    return path;
}
