#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Export.h"

namespace standin {

// One entry of an access list, or an integrity label: header, mask, SID.
struct AccessEntry {
    uint8_t type = 0;   // ACCESS_ALLOWED_ACE_TYPE and its like
    uint8_t flags = 0;  // inheritance; INHERITED_ACE for one that came from the folder above
    uint32_t mask = 0;
    std::wstring sid;

    bool operator==(const AccessEntry&) const = default;
};

using AccessList = std::vector<AccessEntry>;

// What Windows keeps beside a file or folder about who may do what.
struct FileSecurity {
    std::wstring owner;
    std::optional<AccessList> accessList;  // none: anyone may do anything
    std::optional<AccessEntry> label;      // none: medium, as for everything without a label

    bool operator==(const FileSecurity&) const = default;
};

// Full paths, letter case ignored as the file system does.
struct STANDIN_API PathLess {
    bool operator()(const std::wstring& a, const std::wstring& b) const;
};

using FileSecurities = std::map<std::wstring, FileSecurity, PathLess>;

// What a file or folder has that nobody has touched: all of it from the folder above.
STANDIN_API FileSecurity untouchedSecurity(bool isFolder);

// The security of what stands at the path: as listed, else untouched.
STANDIN_API FileSecurity securityOf(const FileSecurities& files, const std::wstring& path);
// Lists it; a path is known by one name, however it is spelled.
STANDIN_API void setSecurity(FileSecurities& files, const std::wstring& path,
                             const FileSecurity& security);

// "allow", "deny", "audit", "label"; "type 9" for what has no name here.
STANDIN_API std::string nameOfType(uint8_t type);

// "allow S-1-5-18 0x1F01FF flags 0x10"; a list in brackets with semicolons, "none" without one; of
// all a file has, one line each for owner, list and label.
STANDIN_API std::string textOf(const AccessEntry& entry);
STANDIN_API std::string textOf(const std::optional<AccessList>& list);
STANDIN_API std::string textOf(const FileSecurity& security);

}  // namespace standin
