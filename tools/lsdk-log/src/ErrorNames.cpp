#include "ErrorNames.h"

#include <algorithm>
#include <charconv>
#include <span>

extern const ErrorName kWin32Names[];
extern const std::size_t kWin32NamesCount;
extern const ErrorName kHResultNames[];
extern const std::size_t kHResultNamesCount;

namespace {

// As the documentation of SHFileOperation has them; no header names them.
const ErrorName kShellNames[] = {
    {0x71, "DE_SAMEFILE"},
    {0x72, "DE_MANYSRC1DEST"},
    {0x73, "DE_DIFFDIR"},
    {0x74, "DE_ROOTDIR"},
    {0x75, "DE_OPCANCELLED"},
    {0x76, "DE_DESTSUBTREE"},
    {0x78, "DE_ACCESSDENIEDSRC"},
    {0x79, "DE_PATHTOODEEP"},
    {0x7A, "DE_MANYDEST"},
    {0x7C, "DE_INVALIDFILES"},
    {0x7D, "DE_DESTSAMETREE"},
    {0x7E, "DE_FLDDESTISFILE"},
    {0x80, "DE_FILEDESTISFLD"},
    {0x81, "DE_FILENAMETOOLONG"},
    {0x82, "DE_DEST_IS_CDROM"},
    {0x83, "DE_DEST_IS_DVD"},
    {0x84, "DE_DEST_IS_CDRECORD"},
    {0x85, "DE_FILE_TOO_LARGE"},
    {0x86, "DE_SRC_IS_CDROM"},
    {0x87, "DE_SRC_IS_DVD"},
    {0x88, "DE_SRC_IS_CDRECORD"},
    {0xB7, "DE_ERROR_MAX"},
    {0x402, "an unknown error, mostly of the path"},
    {0x10000, "ERRORONDEST"},
    {0x10074, "DE_ROOTDIR | ERRORONDEST"},
};

std::string_view find(std::span<const ErrorName> names, std::uint32_t number) {
    const auto found = std::ranges::lower_bound(names, number, {}, &ErrorName::number);
    return found != names.end() && found->number == number ? found->name : std::string_view();
}

}  // namespace

std::string_view win32Name(std::uint32_t error) {
    return error == 0 ? "no error" : find({kWin32Names, kWin32NamesCount}, error);
}

std::string_view hresultName(std::uint32_t result) {
    const std::string_view name = find({kHResultNames, kHResultNamesCount}, result);
    constexpr std::uint32_t kOfWin32 = 0x80070000;
    const bool isOfWin32 = (result & 0xFFFF0000) == kOfWin32;
    return name.empty() && isOfWin32 ? win32Name(result & 0xFFFF) : name;
}

std::string_view shellErrorName(std::int64_t error) {
    if (error < 0 || error > UINT32_MAX) return {};
    const auto number = static_cast<std::uint32_t>(error);
    const std::string_view name = find(kShellNames, number);
    return name.empty() ? win32Name(number) : name;
}

std::string namedValue(std::string_view value, ValueKind kind, bool isHexadecimal) {
    std::int64_t number = 0;
    const int base = isHexadecimal || kind == ValueKind::HRESULT ? 16 : 10;
    std::from_chars(value.data(), value.data() + value.size(), number, base);
    std::string text(value);
    if (base == 16) text.insert(0, "0x");
    const auto bits = static_cast<std::uint32_t>(number);
    const std::string_view name = kind == ValueKind::HRESULT      ? hresultName(bits)
                                  : kind == ValueKind::ShellError ? shellErrorName(number)
                                  : kind != ValueKind::Win32Error ? std::string_view()
                                  : bits >= 0x80000000            ? hresultName(bits)
                                                                  : win32Name(bits);
    return name.empty() ? text : text + " (" + std::string(name) + ")";
}
