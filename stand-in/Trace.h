#pragma once

#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "Call.h"
#include "Export.h"
#include "Windows.h"

namespace standin {

// The calls in order. With a file, each is also appended to it as one line of JSON before the caller goes on.
class STANDIN_API Trace {
public:
    void start() { m_recording = true; }
    void stop() { m_recording = false; }
    void clear();

    // Every later call is appended to the file too; it is created anew.
    void writeTo(const std::wstring& path);
    // Appends one more object, given as JSON text, to the file.
    void writeLine(const std::string& json);

    size_t nextNumber() { return ++m_count; }
    bool hasBegun() const { return m_count > 0; }
    void add(const Call& call);

    const std::vector<Call>& all() const { return m_calls; }
    // The text of all calls, or of those with one of the names.
    std::vector<std::string> lines() const;
    std::vector<std::string> lines(std::initializer_list<std::string_view> names) const;
    size_t count(std::string_view name) const;

private:
    std::vector<Call> m_calls;
    size_t m_count = 0;
    bool m_recording = false;
    HANDLE m_file = INVALID_HANDLE_VALUE;
};

}  // namespace standin
