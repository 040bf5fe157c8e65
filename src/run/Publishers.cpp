#include "run/Publishers.h"

#include "platform/ProcessEnd.h"

namespace {

// Nothing can catch what is thrown before the entry point.
Platform::String makeName(const wchar_t* text) noexcept {
    try {
        return Platform::String(text);
    } catch (...) {
        failFast(FAST_FAIL_FATAL_APP_EXIT);
    }
}

}  // namespace

const Platform::String PublisherDnCurrent = makeName(
    L"CN=Velta Inc., OU=Velta Inc., O=Velta Inc., L=Port Alder, S=ca, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US");

const Platform::String PublisherDnLegacy = makeName(
    L"CN=Velta Systems Incorporated, OU=Velta Systems, O=Velta Systems Incorporated, L=Port Alder, S=Norvale, C=US, SERIALNUMBER=9150426, OID.2.5.4.15=Private Organization, OID.1.3.6.1.4.1.311.60.2.1.2=Tarrant, OID.1.3.6.1.4.1.311.60.2.1.3=US");
