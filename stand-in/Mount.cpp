#include "Mount.h"

#include "Allocations.h"
#include "Hook.h"
#include "ImportTable.h"
#include "Machine.h"
#include "services/Services.h"

namespace standin {

namespace {

struct NamedHook {
    std::string_view name;
    void* function;
};

const NamedHook kHooks[] = {
#define STANDIN_HOOK(functionName, type, failure, letters) \
    {#functionName, reinterpret_cast<void*>(&Hook<PlatformCall::functionName>::call)},
    STANDIN_PLATFORM_CALLS(STANDIN_HOOK)
#undef STANDIN_HOOK
};

}  // namespace

void* findHook(const char* name) {
    if (reinterpret_cast<uintptr_t>(name) < 0x10000) return nullptr;
    for (const NamedHook& hook : kHooks) {
        if (hook.name == name) return hook.function;
    }
    return nullptr;
}

void installServices() {
    serveFiles();
    serveFileSecurity();
    serveFolders();
    serveShell();
    serveHandles();
    serveRegistry();
    serveMemory();
    serveStrings();
    serveLibraries();
    serveTokens();
    serveText();
    serveCom();
    serveErrorInfo();
    serveDesktop();
    serveProcesses();
    serveHeap();
    serveActivation();
}

void Machine::mount(HMODULE module) {
    installServices();
    for (const Import& import : importsOf(module)) {
        void* const hook = isCounted(import.name) ? countedAllocation()
                                                  : findHook(import.name.data());
        if (hook == nullptr) continue;
        m_mounted.push_back({import.slot, swapImport(import.slot, hook)});
    }
}

void Machine::unmount() {
    for (; !m_mounted.empty(); m_mounted.pop_back()) {
        swapImport(m_mounted.back().slot, m_mounted.back().original);
    }
}

}  // namespace standin
