#pragma once

#include <optional>
#include <string>

#include "run/ConfiguratorLog.h"
#include "support/LogText.h"
#include "support/MachineTest.h"
#include "support/ScopedImport.h"

// The program seems to be an executable in that folder.
inline auto seemToBeIn(const ScratchFolder& folder) {
    return replaceImport<decltype(&::GetModuleFileNameW)>(
        "GetModuleFileNameW", [&folder](auto real, HMODULE module, LPWSTR path, DWORD size) -> DWORD {
            if (module) return real(module, path, size);
            const size_t length = (folder / L"LSDKConfigurator.exe").copy(path, size - 1);
            path[length] = L'\0';
            return static_cast<DWORD>(length);
        });
}

// A test with a log of its own in its scratch folder, beside the executable that the program then
// seems to be. The machine records the calls from behind the opening of the log.
class LogTest : public MachineTest {
protected:
    LogTest() {
        log.emplace();
        machine.trace.clear();
    }
    // The log ends before its folder goes.
    ~LogTest() override { log.reset(); }

    std::wstring logPath() const { return scratch / L"lsdkConfiguratorLog.txt"; }

    // All that was logged, text without its line end included.
    std::string logText() {
        log->m_stream.flush();
        return withoutTimes(readFile(logPath()));
    }

private:
    decltype(seemToBeIn(std::declval<const ScratchFolder&>())) m_place = seemToBeIn(scratch);

protected:
    std::optional<ConfiguratorLog> log;
};
