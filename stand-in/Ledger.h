#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "Export.h"

namespace standin {

// What the platform handed out and what came back: handles, keys, memory, strings, references to
// objects. Each thing has a name of its own, such as "key#2", numbered by kind in order of opening.
// May be used on any thread.
class STANDIN_API Ledger {
public:
    // Hands out `value` once more; a value that is not out gets a fresh name.
    void handOut(std::string_view kind, const void* value);
    // Takes one handing-out back. False: it is not out. A value that once was is then noted as released twice.
    bool giveBack(const void* value);

    bool isOut(const void* value) const;
    bool wasOut(const void* value) const;  // known, but given back
    void noteMisuse(const std::string& text);

    size_t timesOut(const void* value) const;

    // The name of a value, "" for one that was never handed out.
    std::string nameOf(const void* value) const;

    // Names of what is still out, with the number of times if more than one: "string#3 (2)".
    std::vector<std::string> leaks() const;
    std::vector<std::string> doubleReleases() const { return m_doubleReleases; }
    // Uses of things after their release.
    std::vector<std::string> misuse() const { return m_misuse; }

    void clear();

private:
    struct Entry {
        std::string name;
        size_t out = 0;
        size_t order = 0;
    };
    std::map<const void*, Entry> m_entries;
    std::map<std::string, size_t, std::less<>> m_numbers;
    std::vector<std::string> m_doubleReleases;
    std::vector<std::string> m_misuse;
    size_t m_order = 0;
};

}  // namespace standin
