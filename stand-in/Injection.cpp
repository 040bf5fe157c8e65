#include <cstdlib>
#include <exception>
#include <nlohmann/json.hpp>
#include <string>

#include "Allocations.h"
#include "Injection.h"
#include "Machine.h"
#include "PrivateRegistry.h"
#include "Text.h"
#include "Windows.h"

namespace standin {

namespace {

std::wstring variable(const wchar_t* name) {
    std::wstring value(::GetEnvironmentVariableW(name, nullptr, 0), L'\0');
    if (value.empty()) return value;
    value.resize(::GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size())));
    return value;
}

bool g_isInjected = false;

void mountOnProgram() {
    Machine& machine = Machine::get();
    machine.trace.writeTo(variable(kTraceVariable));
    const std::wstring machineFile = variable(kMachineVariable);
    if (!machineFile.empty()) machine.attachFile(machineFile);
    machine.runAs(variable(kUserVariable));
    if (!machine.state.registryRoot.empty()) mapRegistry(machine.state.registryRoot);
    machine.faults.addAll(toUtf8(variable(kFaultsVariable)));
    machine.mount(::GetModuleHandleW(nullptr));
    g_isInjected = true;
}

// The last line of the trace: it is there only if the process came to its end in order.
void writeClosingLine() {
    const Machine& machine = Machine::get();
    const nlohmann::ordered_json line = {{"ended", true},
                                         {"leaks", machine.ledger.leaks()},
                                         {"doubleReleases", machine.ledger.doubleReleases()},
                                         {"misuse", machine.ledger.misuse()},
                                         {"unfiredFaults", machine.faults.unfired()},
                                         {"allocations", allocationsBefore()}};
    Machine::get().trace.writeLine(line.dump());
}

}  // namespace

}  // namespace standin

// Loaded by the launcher into another program, as the trace variable tells, the machine mounts
// itself on that program. A program that links the library mounts it itself.
BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    using namespace standin;
    if (reason == DLL_PROCESS_ATTACH && !variable(kTraceVariable).empty()) {
        try {
            mountOnProgram();
        } catch (const std::exception& error) {
            Machine::get().trace.writeLine(
                nlohmann::ordered_json{{"mountFailure", error.what()}}.dump());
            return FALSE;
        }
    }
    if (reason == DLL_PROCESS_DETACH && g_isInjected) writeClosingLine();
    return TRUE;
}
