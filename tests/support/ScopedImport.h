#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "stand-in/ImportTable.h"

// Replaces one Windows function, as this program imports it, for the length of a scope. The body
// gets the function that was there before, and the arguments:
//
//     const auto copy = replaceImport<decltype(&::CopyFileW)>(
//         "CopyFileW", [&](auto real, LPCWSTR from, LPCWSTR to, BOOL failIfExists) -> BOOL { ...
//         });
//
// Replacements of one function end in the reverse order of their beginning. Two that live at once
// must come from two different lambdas. Throws, and fails the test, if this program does not import
// the function.
template <typename Function, typename Body>
class ScopedImport;

template <typename Result, typename... A, typename Body>
class ScopedImport<Result (*)(A...), Body> {
public:
    ScopedImport(const std::string& name, Body body) : m_body(std::move(body)) {
        if (s_active != nullptr) fail("the same replacement is in use already: " + name);
        m_slots = standin::findImports(::GetModuleHandleW(nullptr), name);
        if (m_slots.empty()) fail("not imported by this program: " + name);
        s_active = this;
        for (void** slot : m_slots) {
            m_previous = reinterpret_cast<Result (*)(A...)>(
                standin::swapImport(slot, reinterpret_cast<void*>(&thunk)));
        }
    }
    ~ScopedImport() {
        for (void** slot : m_slots)
            standin::swapImport(slot, reinterpret_cast<void*>(m_previous));
        s_active = nullptr;
    }
    ScopedImport(const ScopedImport&) = delete;
    ScopedImport& operator=(const ScopedImport&) = delete;

private:
    [[noreturn]] static void fail(const std::string& reason) {
        ADD_FAILURE() << reason;
        throw std::logic_error(reason);
    }

    static Result thunk(A... arguments) {
        return s_active->m_body(s_active->m_previous, arguments...);
    }

    static inline ScopedImport* s_active = nullptr;

    Body m_body;
    std::vector<void**> m_slots;
    Result (*m_previous)(A...) = nullptr;
};

template <typename Function, typename Body>
[[nodiscard]] ScopedImport<Function, Body> replaceImport(const std::string& name, Body body) {
    return ScopedImport<Function, Body>(name, std::move(body));
}
