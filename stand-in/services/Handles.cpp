#include "../Hook.h"
#include "LastError.h"
#include "Processes.h"
#include "Services.h"

namespace standin {

namespace {

void handOut(std::string_view kind, const void* handle) {
    const KeepLastError keep;
    Machine::get().ledger.handOut(kind, handle);
}

void giveBack(const void* handle) {
    const KeepLastError keep;
    Machine::get().ledger.giveBack(handle);
}

BOOL WINAPI closeHandle(HANDLE handle) {
    forgetProcess(handle);
    const BOOL closed = ::CloseHandle(handle);
    // A handle that was closed before is noted by the ledger as released twice.
    giveBack(handle);
    return closed;
}

BOOL WINAPI findClose(HANDLE search) {
    // A search that was closed before is freed memory: Windows must not see it again.
    if (Machine::get().ledger.wasOut(search)) {
        giveBack(search);
        ::SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    const BOOL closed = ::FindClose(search);
    if (closed) giveBack(search);
    return closed;
}

BOOL WINAPI openProcessToken(HANDLE process, DWORD access, PHANDLE token) {
    const BOOL opened = ::OpenProcessToken(process, access, token);
    if (opened) handOut("token", *token);
    return opened;
}

BOOL WINAPI duplicateTokenEx(HANDLE token, DWORD access, LPSECURITY_ATTRIBUTES attributes,
                             SECURITY_IMPERSONATION_LEVEL level, TOKEN_TYPE type, PHANDLE copy) {
    const BOOL duplicated = ::DuplicateTokenEx(token, access, attributes, level, type, copy);
    if (duplicated) handOut("token", *copy);
    return duplicated;
}

}  // namespace

void serveHandles() {
    serve<PlatformCall::CloseHandle>(&closeHandle);
    serve<PlatformCall::FindClose>(&findClose);
    serve<PlatformCall::OpenProcessToken>(&openProcessToken);
    serve<PlatformCall::DuplicateTokenEx>(&duplicateTokenEx);
}

}  // namespace standin
