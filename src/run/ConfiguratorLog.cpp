#include "run/ConfiguratorLog.h"

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/ProcessEnd.h"
#include "platform/Windows.h"

#include <objbase.h>
#include <pathcch.h>

ConfiguratorLog* g_configuratorLog = nullptr;

namespace {

constexpr size_t kTimeTextSize = 26;

// The text of the time prefix; made anew for every line.
char g_timeText[kTimeTextSize];

constexpr long long kTicksPerSecond = 10'000'000;
// From 1601, where the system's clock starts, to 1970.
constexpr long long kSecondsTo1970 = 11'644'473'600;

long long secondsSince1970() {
    FILETIME now = {};
    ::GetSystemTimeAsFileTime(&now);
    ULARGE_INTEGER ticks;
    ticks.LowPart = now.dwLowDateTime;
    ticks.HighPart = now.dwHighDateTime;
    return static_cast<long long>(ticks.QuadPart) / kTicksPerSecond - kSecondsTo1970;
}

// The text that _ctime64_s documents: 24 characters, a newline and a terminator, the day of the
// month padded with a blank, which not every C runtime does. Empty when the time cannot be
// converted.
void writeLocalTime(char (&text)[kTimeTextSize], long long seconds) {
    text[0] = '\0';
    // The end of the year 3000, where Windows' own conversion ends.
    constexpr long long kLastSecond = 32'535'215'999;
    std::tm local = {};
    const __time64_t time = seconds;
    if (seconds > kLastSecond || ::_localtime64_s(&local, &time) != 0) return;

    static constexpr char kDays[] = "SunMonTueWedThuFriSat";
    static constexpr char kMonths[] = "JanFebMarAprMayJunJulAugSepOctNovDec";
    std::snprintf(text, kTimeTextSize, "%.3s %.3s %2d %02d:%02d:%02d %4d\n",
                  kDays + ptrdiff_t{3} * local.tm_wday, kMonths + ptrdiff_t{3} * local.tm_mon,
                  local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec, local.tm_year + 1900);
}

}  // namespace

ConfiguratorLog::ConfiguratorLog() {
    wchar_t path[MAX_PATH] = L"lsdkConfiguratorLog.txt";
    ::GetModuleFileNameW(nullptr, path, MAX_PATH);
    ::PathCchRemoveFileSpec(path, MAX_PATH);
    ::PathCchAddBackslash(path, MAX_PATH);
    ::PathCchAppend(path, MAX_PATH, L"lsdkConfiguratorLog.txt");
    m_stream.open(path);
    g_configuratorLog = this;
    startCom();
}

ConfiguratorLog::~ConfiguratorLog() {
    ::CoUninitialize();
}

std::wostream& ConfiguratorLog::beginLine() {
    writeLocalTime(g_timeText, secondsSince1970());
    const size_t newline = std::strlen(g_timeText) - 1;
    if (newline >= kTimeTextSize) failFast(FAST_FAIL_RANGE_CHECK_FAILURE);
    g_timeText[newline] = '\0';
    return m_stream << "[" << g_timeText << "] ";
}

// Required: both lines have no time prefix, and std::hex stays in force for all numbers of the run.
void ConfiguratorLog::startCom() {
    HRESULT result = ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    if (FAILED(result)) {
        m_stream << "Error initializing COM code 0x" << std::hex << result << "." << std::endl;
        return;
    }
    result = ::CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                    RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr);
    if (FAILED(result)) {
        m_stream << "Error initializing COM Security code 0x" << std::hex << result << "."
                 << std::endl;
        return;
    }
    m_comReady = true;
}
