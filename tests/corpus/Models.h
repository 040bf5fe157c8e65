#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

// What the program is to make of an input, written down a second time and as plainly as can be.
// Nothing here uses the program's own code.
namespace model {

// A path joined in a buffer of 260 characters; `first` fits.
std::wstring joined(const std::wstring& first, const std::vector<std::wstring>& components);

// The folder afterwards, and the lines that the log gets.
std::pair<std::wstring, std::vector<std::wstring>> withProfile(bool isEnterpriseDeployment,
                                                               const std::wstring& current,
                                                               const std::wstring& profile,
                                                               const std::wstring& folder);

// A registry value as text, up to its first zero. Nothing: reading it is refused. `variable` is the
// one environment variable that may stand in it, as %NAME%.
struct StoredValue {
    unsigned long type;
    std::string bytes;
};
std::optional<std::wstring> textOf(const StoredValue& value, bool asTextAlone,
                                   const std::pair<std::wstring, std::wstring>& variable);

// JSON text, as far as a status file can have it.
struct Json;
using JsonMembers = std::map<std::u16string, std::shared_ptr<Json>>;
using JsonItems = std::vector<std::shared_ptr<Json>>;
struct Json {
    std::variant<std::monostate, bool, double, std::u16string, JsonItems, JsonMembers> content;
    const JsonMembers* members() const { return std::get_if<JsonMembers>(&content); }
};
bool isSame(const Json& one, const Json& other);
// Whether some text in it cannot be written as UTF-8.
bool hasLoneSurrogate(const std::u16string& text);
bool hasLoneSurrogate(const Json& json);

// Nothing: no UTF-8, or no JSON.
std::optional<std::u16string> decoded(std::string_view utf8);
std::shared_ptr<Json> parsed(const std::u16string& text);

// What a plug-in status file says to a build with the code "OWN".
struct StatusVerdict {
    enum class End { Done, Migrates, StandardException, PlatformException };

    End end = End::Migrates;
    bool isDeleted = false;                 // for its age
    std::vector<std::wstring> badVersions;  // the lines about versions that are no numbers
    std::shared_ptr<Json> document;         // that the own entry goes into; none: an empty one
};
StatusVerdict judge(const std::string& bytes);

}  // namespace model
