#pragma once

#include <chrono>
#include <cstdio>
#include <functional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "support/LogTest.h"

inline std::string environment(const char* name) {
    char text[64] = {};
    ::GetEnvironmentVariableA(name, text, sizeof(text));
    return text;
}

// Chance that can be called back: case n of a seed is always the same.
class Chance {
public:
    Chance(uint64_t seed, size_t number) : m_bits(seed * 1'000'003 + number) {}

    size_t below(size_t end) { return m_bits() % end; }
    bool oneIn(size_t times) { return below(times) == 0; }
    template <typename Items>
    auto of(const Items& items) -> decltype(items[0]) {
        return items[below(std::size(items))];
    }

private:
    std::mt19937_64 m_bits;
};

// Inputs made by chance, each compared with a model. CORPUS_SEED repeats a whole test, with
// CORPUS_CASE besides a single case of it.
class GeneratedTest : public LogTest {
protected:
#ifdef LSDK_GUARDED_HEAP
    // What the stand-in has released stays, poisoned; guarded it takes mappings, which the host bounds.
    static constexpr size_t kCases = 1'000;
#else
    static constexpr size_t kCases = 10'000;
#endif

    GeneratedTest() {
        machine.trace.stop();
        machine.trace.clear();
        // What is logged is looked at here, and as it was before its encoding.
        static_cast<std::wios&>(log->m_stream).rdbuf(&m_lines);
        const std::string seed = environment("CORPUS_SEED");
        m_seed = seed.empty() ? static_cast<uint64_t>(
                                    std::chrono::system_clock::now().time_since_epoch().count())
                              : std::stoull(seed);
        std::printf("CORPUS_SEED=%llu\n", static_cast<unsigned long long>(m_seed));
    }

    void forEachCase(const std::function<void(Chance&)>& check) {
        const std::string only = environment("CORPUS_CASE");
        const size_t first = only.empty() ? 0 : std::stoul(only);
        const size_t end = only.empty() ? kCases : first + 1;
        for (size_t number = first; number < end && !HasFailure(); ++number) {
            SCOPED_TRACE("CORPUS_SEED=" + std::to_string(m_seed) +
                         " CORPUS_CASE=" + std::to_string(number));
            Chance chance(m_seed, number);
            check(chance);
        }
    }

    // The lines since this was last asked, without their time.
    std::vector<std::wstring> newLines() {
        constexpr size_t kPrefixLength = 27;
        std::vector<std::wstring> lines;
        std::wistringstream text(m_lines.str());
        for (std::wstring line; std::getline(text, line);)
            lines.push_back(line.substr(std::min(kPrefixLength, line.size())));
        m_lines.str(L"");
        return lines;
    }

private:
    std::wstringbuf m_lines;
    uint64_t m_seed = 0;
};
