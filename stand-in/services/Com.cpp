#include "Com.h"

#include "../Hook.h"
#include "Services.h"

namespace standin {

bool isComStarted() {
    APTTYPE type = {};
    APTTYPEQUALIFIER qualifier = {};
    return ::CoGetApartmentType(&type, &qualifier) == S_OK;
}

namespace {

HRESULT WINAPI initializeSecurity(PSECURITY_DESCRIPTOR descriptor, LONG count,
                                  SOLE_AUTHENTICATION_SERVICE* services, void* reserved1,
                                  DWORD authentication, DWORD impersonation, void* list,
                                  DWORD capabilities, void* reserved3) {
    if (!isComStarted()) return CO_E_NOTINITIALIZED;
    Machine& machine = Machine::get();
    if (machine.isComSecuritySet) return RPC_E_TOO_LATE;
    const HRESULT result = ::CoInitializeSecurity(descriptor, count, services, reserved1,
                                                  authentication, impersonation, list, capabilities,
                                                  reserved3);
    machine.isComSecuritySet = SUCCEEDED(result);
    return result;
}

}  // namespace

void serveCom() {
    serve<PlatformCall::CoInitializeSecurity>(&initializeSecurity);
}

}  // namespace standin
