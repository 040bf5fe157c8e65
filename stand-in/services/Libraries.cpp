#include "../Hook.h"
#include "../Mount.h"
#include "LastError.h"
#include "NetworkIsolation.h"
#include "Services.h"

namespace standin {

namespace {

HMODULE WINAPI loadLibrary(LPCWSTR name) {
    const HMODULE library = isIsolationLibrary(name) ? isolationLibrary() : ::LoadLibraryW(name);
    const KeepLastError keep;
    if (library != nullptr) Machine::get().ledger.handOut("library", library);
    return library;
}

BOOL WINAPI freeLibrary(HMODULE library) {
    Ledger& ledger = Machine::get().ledger;
    if (isIsolationLibrary(library) && !ledger.isOut(library)) {
        ledger.giveBack(library);  // noted
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const BOOL freed = isIsolationLibrary(library) || ::FreeLibrary(library);
    const KeepLastError keep;
    ledger.giveBack(library);
    return freed;
}

// What is bound late goes through the machine too.
FARPROC WINAPI getProcAddress(HMODULE library, LPCSTR name) {
    if (isIsolationLibrary(library)) return findIsolationFunction(name);
    const FARPROC real = ::GetProcAddress(library, name);
    if (real == nullptr) return nullptr;
    void* const hook = findHook(name);
    return hook == nullptr ? real : reinterpret_cast<FARPROC>(hook);
}

}  // namespace

void serveLibraries() {
    serve<PlatformCall::LoadLibraryW>(&loadLibrary);
    serve<PlatformCall::FreeLibrary>(&freeLibrary);
    serve<PlatformCall::GetProcAddress>(&getProcAddress);
}

}  // namespace standin
