#include "Trace.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace standin {

void Trace::clear() {
    m_calls.clear();
    m_count = 0;
}

void Trace::writeTo(const std::wstring& path) {
    if (m_file != INVALID_HANDLE_VALUE) ::CloseHandle(m_file);
    m_file = ::CreateFileW(path.c_str(), FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                           nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

void Trace::writeLine(const std::string& json) {
    if (m_file == INVALID_HANDLE_VALUE) return;
    const std::string line = json + "\n";
    DWORD written = 0;
    ::WriteFile(m_file, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

void Trace::add(const Call& call) {
    if (m_file != INVALID_HANDLE_VALUE) {
        nlohmann::ordered_json line = {{"n", call.number},
                                       {"call", call.name},
                                       {"arguments", call.arguments},
                                       {"result", call.result}};
        if (call.failed) line["failed"] = true;
        if (call.hasError) line["error"] = call.error;
        if (call.injected) line["injected"] = true;
        writeLine(line.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    }
    if (!m_recording) return;
    // A call that was made from within another one ends first, but stands behind it.
    const auto place = std::upper_bound(
        m_calls.begin(), m_calls.end(), call.number,
        [](size_t number, const Call& entered) { return number < entered.number; });
    m_calls.insert(place, call);
}

std::vector<std::string> Trace::lines() const {
    std::vector<std::string> texts;
    for (const Call& call : m_calls)
        texts.push_back(call.text());
    return texts;
}

std::vector<std::string> Trace::lines(std::initializer_list<std::string_view> names) const {
    std::vector<std::string> texts;
    for (const Call& call : m_calls) {
        if (std::find(names.begin(), names.end(), call.name) != names.end()) {
            texts.push_back(call.text());
        }
    }
    return texts;
}

size_t Trace::count(std::string_view name) const {
    return static_cast<size_t>(std::count_if(m_calls.begin(), m_calls.end(),
                                             [&](const Call& call) { return call.name == name; }));
}

}  // namespace standin
