#include "RegistryModel.h"

KeyModel::KeyModel(TraceReader& trace, const std::string& root, const std::string& path)
    : m_trace(trace) {
    const standin::Call& open = trace.call(
        "RegCreateKeyExW", {root, quoted(path), "0", "null", "0x0", "0xF003F", "null"});
    if (open.failed) {
        trace.line("Exception while opening key \"" + path + "\" with ErrorCode " + trace.error() +
                   ".");
        trace.raise("Unknown exception");
    }
    m_handle = open.arguments[7];
}

void KeyModel::readValue(const std::string& name, const std::string& flags) const {
    const standin::Call& size = m_trace.call(
        "RegGetValueW", {m_handle, "null", quoted(name), flags, "null", "null", "0*"});
    if (size.failed) {
        m_trace.line("Exception while reading value size of value \"" + name +
                     "\" with ErrorCode " + m_trace.error() + ".");
        m_trace.raise("Unknown exception");
    }
    const std::string bytes = size.arguments[6].substr(std::string("0->").size());
    if (!m_trace.ok("RegGetValueW", {m_handle, "null", quoted(name), flags, "null",
                                     bytes == "0" ? "*" : "given", bytes + "*"})) {
        m_trace.line("Exception while reading value \"" + name + "\" with ErrorCode " +
                     m_trace.error() + ".");
        m_trace.raise("Unknown exception");
    }
}

std::vector<std::string> KeyModel::enumerateSubKeys() const {
    std::vector<std::string> names;
    const standin::Call& info = m_trace.call(
        "RegQueryInfoKeyW", {m_handle, "null", "null", "null", "*", "*", "null", "null", "null",
                             "null", "null", "null"});
    if (info.failed) return names;
    const unsigned long count = std::stoul(info.arguments[4]);
    for (unsigned long i = 0; i < count; ++i) {
        const standin::Call& entry = m_trace.call(
            "RegEnumKeyExW",
            {m_handle, std::to_string(i), "*", "255*", "null", "null", "null", "null"});
        if (!entry.failed) names.push_back(unquoted(entry.arguments[2]));
    }
    return names;
}
