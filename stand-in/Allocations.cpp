#include "Allocations.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <string>

#include "Machine.h"

namespace standin {

namespace {

std::atomic<size_t> g_count = 0;
bool g_isCounting = false;
std::vector<size_t> g_before;

void* allocate(size_t size) {
    Machine& machine = Machine::get();
    // What the runtime asks for before the program's own code runs is none of the program's.
    if (Untraced::isActive() || !machine.trace.hasBegun()) return std::malloc(size);
    const std::scoped_lock guard(machine.lock());
    ++g_count;
    if (!machine.faults.judge("malloc", 0, true).fails) return std::malloc(size);
    Call call;
    call.number = machine.trace.nextNumber();
    call.name = "malloc";
    call.arguments = {std::to_string(size)};
    call.result = "null";
    call.failed = true;
    call.injected = true;
    machine.trace.add(call);
    errno = ENOMEM;
    return nullptr;
}

}  // namespace

bool isCounted(std::string_view import) {
    return import == "malloc" && Machine::get().faults.isNamed("malloc");
}

void* countedAllocation() {
    g_isCounting = true;
    return reinterpret_cast<void*>(&allocate);
}

void noteCall(size_t number) {
    if (g_isCounting) g_before.resize(number + 1, g_count);
}

const std::vector<size_t>& allocationsBefore() {
    return g_before;
}

}  // namespace standin
