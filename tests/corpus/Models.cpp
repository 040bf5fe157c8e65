#include "corpus/Models.h"

#include <algorithm>

namespace model {

namespace {

constexpr size_t kMostCharacters = 259;

bool hasDrive(const std::wstring& path) {
    return path.size() >= 3 && path[1] == L':' && path[2] == L'\\';
}

// Points folded away behind the drive: "." is dropped, ".." takes the name before it along, and
// what the last name ends in goes if it is a point.
std::wstring canonical(const std::wstring& path) {
    const std::wstring drive = path.substr(0, 3);
    std::vector<std::wstring> names;
    std::wstring rest = path.substr(3) + L'\\';
    for (size_t at = 0; at < rest.size();) {
        const size_t end = rest.find(L'\\', at);
        const std::wstring name = rest.substr(at, end - at);
        if (name == L"..") {
            if (!names.empty()) names.pop_back();
        } else if (name != L".") {
            names.push_back(name);
        }
        at = end + 1;
    }
    std::wstring folded = drive;
    for (size_t i = 0; i < names.size(); ++i)
        folded += (i == 0 ? L"" : L"\\") + names[i];
    while (folded.ends_with(L'.'))
        folded.pop_back();
    return folded;
}

}  // namespace

std::wstring joined(const std::wstring& first, const std::vector<std::wstring>& components) {
    std::wstring path = first;
    for (const std::wstring& component : components) {
        std::wstring next = component;
        if (!hasDrive(component)) {
            const bool hasOwnBackslash = component.starts_with(L'\\');
            const std::wstring tail = component.substr(hasOwnBackslash ? 1 : 0);
            next = path + (path.ends_with(L'\\') ? L"" : L"\\") + tail;
        }
        // What does not fit, points included, leaves everything as it was.
        if (next.size() <= kMostCharacters) path = canonical(next);
    }
    return path;
}

std::pair<std::wstring, std::vector<std::wstring>> withProfile(bool isEnterpriseDeployment,
                                                               const std::wstring& current,
                                                               const std::wstring& profile,
                                                               const std::wstring& folder) {
    if (!isEnterpriseDeployment) {
        const bool stays = current.empty() || folder.empty() || current == profile ||
                           std::find(current.begin(), current.end(), folder[0]) == current.end();
        if (stays) return {folder, {}};
        const size_t cut = std::min(current.size(), folder.size());
        return {
            profile + std::wstring(folder.begin() + static_cast<std::ptrdiff_t>(cut), folder.end()),
            {}};
    }
    const std::wstring letters = L"Users\\";
    size_t p = 0;
    while (p < folder.size() && letters.find(folder[p]) == std::wstring::npos)
        ++p;
    if (p == 0 || p == folder.size()) return {folder, {}};
    size_t q = p + 7;
    while (q < folder.size() && folder[q] != L'\\')
        ++q;
    if (q >= folder.size()) return {folder, {}};
    const std::wstring after = profile + folder.substr(q);
    return {after,
            {L"AppData in Folders before profile replace = " + folder.substr(0, q),
             L"AppData in Folders after replace = " + after}};
}

std::optional<std::wstring> textOf(const StoredValue& value, bool asTextAlone,
                                   const std::pair<std::wstring, std::wstring>& variable) {
    constexpr unsigned long kText = 1;
    constexpr unsigned long kExpandableText = 2;
    if (asTextAlone && value.type != kText && value.type != kExpandableText) return std::nullopt;
    std::wstring text;
    for (size_t i = 0; i + 1 < value.bytes.size(); i += 2) {
        const auto low = static_cast<unsigned char>(value.bytes[i]);
        const auto high = static_cast<unsigned char>(value.bytes[i + 1]);
        const auto unit = static_cast<wchar_t>(low + high * 256);
        if (unit == 0) break;
        text += unit;
    }
    if (value.type != kExpandableText) return text;
    const std::wstring name = L"%" + variable.first + L"%";
    for (size_t at = text.find(name); at != std::wstring::npos;
         at = text.find(name, at + variable.second.size()))
        text.replace(at, name.size(), variable.second);
    return text;
}

}  // namespace model
