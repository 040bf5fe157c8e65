#include "Memory.h"

#include <cstring>
#include <map>

#include "../Hook.h"
#include "LastError.h"
#include "Services.h"

namespace standin {

namespace {

// Memory that was given back: from where to where. It never returns to the heap, so that whoever
// looks into it later finds it poisoned, and nothing else at its address.
std::map<const BYTE*, const BYTE*>& releasedMemory() {
    static auto& blocks = *new std::map<const BYTE*, const BYTE*>;
    return blocks;
}

void bury(void* memory) {
    auto* const first = static_cast<BYTE*>(memory);
    const size_t size = ::LocalSize(memory);
    std::memset(first, 0xDD, size);
    const std::scoped_lock guard(Machine::get().lock());
    releasedMemory()[first] = first + size;
}

HLOCAL WINAPI localAlloc(UINT flags, SIZE_T size) {
    const HLOCAL memory = ::LocalAlloc(flags, size);
    handOutMemory(memory);
    return memory;
}

HLOCAL WINAPI localFree(HLOCAL memory) {
    {
        const KeepLastError keep;
        Ledger& ledger = Machine::get().ledger;
        const bool wasFreed = ledger.wasOut(memory);
        const bool isKnown = ledger.giveBack(memory);
        // Freed a second time: the ledger has noted it, and the heap must not be harmed.
        if (wasFreed) return nullptr;
        if (isKnown && ::LocalLock(memory) == memory) {
            bury(memory);
            return nullptr;
        }
    }
    return ::LocalFree(memory);
}

BOOL WINAPI convertSidToStringSid(PSID sid, LPWSTR* text) {
    noteIfReleased("ConvertSidToStringSidW", sid);
    const BOOL converted = ::ConvertSidToStringSidW(sid, text);
    if (converted) handOutMemory(*text);
    return converted;
}

BOOL WINAPI convertStringSecurityDescriptor(LPCWSTR text, DWORD revision,
                                            PSECURITY_DESCRIPTOR* descriptor, PULONG size) {
    const BOOL converted = ::ConvertStringSecurityDescriptorToSecurityDescriptorW(text, revision,
                                                                                  descriptor, size);
    if (converted) handOutMemory(*descriptor);
    return converted;
}

DWORD WINAPI formatMessage(DWORD flags, LPCVOID source, DWORD id, DWORD language, LPWSTR buffer,
                           DWORD size, char** arguments) {
    const DWORD length = ::FormatMessageW(flags, source, id, language, buffer, size, arguments);
    if (length != 0 && (flags & FORMAT_MESSAGE_ALLOCATE_BUFFER) != 0) {
        handOutMemory(*reinterpret_cast<wchar_t**>(buffer));
    }
    return length;
}

}  // namespace

void handOutMemory(const void* memory) {
    const KeepLastError keep;
    if (memory != nullptr) Machine::get().ledger.handOut("memory", memory);
}

void noteIfReleased(const char* call, const void* address) {
    const KeepLastError keep;
    Machine& machine = Machine::get();
    const std::scoped_lock guard(machine.lock());
    const auto* const place = static_cast<const BYTE*>(address);
    auto block = releasedMemory().upper_bound(place);
    if (block == releasedMemory().begin()) return;
    --block;
    if (place >= block->second) return;
    machine.ledger.noteMisuse(std::string(call) + " with " + machine.ledger.nameOf(block->first) +
                              ", which was released");
}

void serveMemory() {
    serve<PlatformCall::LocalAlloc>(&localAlloc);
    serve<PlatformCall::LocalFree>(&localFree);
    serve<PlatformCall::ConvertSidToStringSidW>(&convertSidToStringSid);
    serve<PlatformCall::ConvertStringSecurityDescriptorToSecurityDescriptorW>(
        &convertStringSecurityDescriptor);
    serve<PlatformCall::FormatMessageW>(&formatMessage);
}

}  // namespace standin
