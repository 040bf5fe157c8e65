#include "Heap.h"

#include <cstring>

#include "../Hook.h"
#include "LastError.h"
#include "Services.h"

namespace standin {

namespace {

BOOL refuse() {
    ::SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
}

BOOL WINAPI heapFree(HANDLE heap, DWORD flags, LPVOID memory) {
    Ledger& ledger = Machine::get().ledger;
    if (ledger.wasOut(memory)) {
        ledger.giveBack(memory);  // noted; the heap must not be harmed
        return refuse();
    }
    if (ledger.isOut(memory)) {
        if (heap != ::GetProcessHeap()) {
            ledger.noteMisuse("HeapFree of " + ledger.nameOf(memory) + " to another heap");
            return refuse();
        }
        const KeepLastError keep;
        ledger.giveBack(memory);
        // Whoever looks into it from now on shall see that it is gone; it never returns to the heap.
        std::memset(memory, 0xDD, ::HeapSize(heap, 0, memory));
        return TRUE;
    }
    return ::HeapFree(heap, flags, memory);
}

}  // namespace

void* lendHeapBlock(size_t size) {
    void* const block = ::HeapAlloc(::GetProcessHeap(), 0, size);
    if (block != nullptr) Machine::get().ledger.handOut("heap", block);
    return block;
}

void serveHeap() {
    serve<PlatformCall::HeapFree>(&heapFree);
}

}  // namespace standin
