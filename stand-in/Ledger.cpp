#include "Ledger.h"

#include <algorithm>
#include <mutex>

namespace standin {

namespace {

// Objects are released on any thread.
std::recursive_mutex& lock() {
    static std::recursive_mutex& mutex = *new std::recursive_mutex;
    return mutex;
}

}  // namespace

void Ledger::handOut(std::string_view kind, const void* value) {
    const std::scoped_lock guard(lock());
    Entry& entry = m_entries[value];
    if (entry.out++ > 0) return;
    auto number = m_numbers.find(kind);
    if (number == m_numbers.end()) number = m_numbers.emplace(kind, 0).first;
    entry.name = std::string(kind) + "#" + std::to_string(++number->second);
    entry.order = ++m_order;
}

bool Ledger::giveBack(const void* value) {
    const std::scoped_lock guard(lock());
    const auto entry = m_entries.find(value);
    if (entry == m_entries.end()) return false;
    if (entry->second.out == 0) {
        m_doubleReleases.push_back(entry->second.name);
        return false;
    }
    --entry->second.out;
    return true;
}

bool Ledger::isOut(const void* value) const {
    return timesOut(value) > 0;
}

bool Ledger::wasOut(const void* value) const {
    const std::scoped_lock guard(lock());
    const auto entry = m_entries.find(value);
    return entry != m_entries.end() && entry->second.out == 0;
}

size_t Ledger::timesOut(const void* value) const {
    const std::scoped_lock guard(lock());
    const auto entry = m_entries.find(value);
    return entry == m_entries.end() ? 0 : entry->second.out;
}

std::string Ledger::nameOf(const void* value) const {
    const std::scoped_lock guard(lock());
    const auto entry = m_entries.find(value);
    return entry == m_entries.end() ? std::string() : entry->second.name;
}

std::vector<std::string> Ledger::leaks() const {
    const std::scoped_lock guard(lock());
    std::vector<const Entry*> out;
    for (const auto& [value, entry] : m_entries) {
        if (entry.out > 0) out.push_back(&entry);
    }
    std::sort(out.begin(), out.end(),
              [](const Entry* a, const Entry* b) { return a->order < b->order; });
    std::vector<std::string> names;
    for (const Entry* entry : out) {
        const std::string times = entry->out > 1 ? " (" + std::to_string(entry->out) + ")" : "";
        names.push_back(entry->name + times);
    }
    return names;
}

void Ledger::noteMisuse(const std::string& text) {
    const std::scoped_lock guard(lock());
    m_misuse.push_back(text);
}

void Ledger::clear() {
    const std::scoped_lock guard(lock());
    *this = Ledger();
}

}  // namespace standin
