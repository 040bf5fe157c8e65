#include "NetworkIsolation.h"

#include <algorithm>
#include <cstring>
#include <functional>

#include "../AccessLists.h"
#include "../Machine.h"
#include "../Mount.h"
#include "../NetworkIsolationAbi.h"
#include "../PackageState.h"
#include "Heap.h"

namespace standin {

namespace {

using abi::FirewallAppContainer;

const char g_library = 0;  // its place is the library's handle

// Builds the array with all that it refers to in one block, by counting first and then doing it.
class Block {
public:
    // Room for `size` bytes; null while counting.
    void* take(size_t size) {
        void* const place = m_memory == nullptr ? nullptr : m_memory + m_used;
        constexpr size_t kAlignment = 8;
        m_used += (size + kAlignment - 1) / kAlignment * kAlignment;
        return place;
    }
    void allocate() {
        m_memory = static_cast<BYTE*>(
            ::VirtualAlloc(nullptr, m_used, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
        m_used = 0;
    }

    void* copy(const void* data, size_t size) {
        void* const place = take(size);
        if (place != nullptr) std::memcpy(place, data, size);
        return place;
    }
    LPWSTR text(const std::optional<std::wstring>& text) {
        if (!text) return nullptr;
        return static_cast<LPWSTR>(copy(text->c_str(), (text->size() + 1) * sizeof(wchar_t)));
    }
    SID* sid(const std::wstring& text) {
        const std::vector<BYTE> sid = sidOf(text);
        return sid.empty() ? nullptr : static_cast<SID*>(copy(sid.data(), sid.size()));
    }

private:
    BYTE* m_memory = nullptr;
    size_t m_used = 0;
};

FirewallAppContainer* layOut(Block& block, const std::vector<AppContainer>& containers) {
    auto* const array = static_cast<FirewallAppContainer*>(
        block.take(std::max<size_t>(containers.size(), 1) * sizeof(FirewallAppContainer)));
    for (size_t i = 0; i < containers.size(); ++i) {
        const AppContainer& container = containers[i];
        FirewallAppContainer one = {};
        one.appContainerSid = block.sid(container.sid);
        one.userSid = block.sid(Machine::get().user());
        one.appContainerName = block.text(container.name);
        one.displayName = block.text(container.displayName);
        one.packageFullName = block.text(container.packageFullName);
        if (array != nullptr) array[i] = one;
    }
    return array;
}

void expectLoaded(const char* function) {
    Ledger& ledger = Machine::get().ledger;
    if (!ledger.isOut(isolationLibrary()))
        ledger.noteMisuse(std::string(function) + " of a library that is not loaded");
}

}  // namespace

bool isIsolationLibrary(LPCWSTR name) {
    return Machine::get().state.network && name != nullptr &&
           (isSameIgnoringCase(name, L"Firewallapi.dll") || isSameIgnoringCase(name, L"Firewallapi"));
}

bool isIsolationLibrary(HMODULE library) {
    return library == isolationLibrary();
}

HMODULE isolationLibrary() {
    return reinterpret_cast<HMODULE>(const_cast<char*>(&g_library));
}

FARPROC findIsolationFunction(LPCSTR name) {
    constexpr std::string_view kFunctions[] = {
        "NetworkIsolationEnumAppContainers", "NetworkIsolationFreeAppContainers",
        "NetworkIsolationGetAppContainerConfig", "NetworkIsolationSetAppContainerConfig"};
    const auto& missing = Machine::get().state.network->missingFunctions;
    const bool isNamed = reinterpret_cast<uintptr_t>(name) >= 0x10000;
    if (!isNamed ||
        std::find(std::begin(kFunctions), std::end(kFunctions), name) == std::end(kFunctions) ||
        std::find(missing.begin(), missing.end(), name) != missing.end()) {
        ::SetLastError(ERROR_PROC_NOT_FOUND);
        return nullptr;
    }
    return reinterpret_cast<FARPROC>(findHook(name));
}

}  // namespace standin

using namespace standin;

DWORD WINAPI NetworkIsolationEnumAppContainers(DWORD flags, DWORD* count,
                                               FirewallAppContainer** containers) {
    constexpr DWORD kMaximumFlag = 2;
    expectLoaded("NetworkIsolationEnumAppContainers");
    if (flags > kMaximumFlag || count == nullptr || containers == nullptr)
        return ERROR_INVALID_PARAMETER;
    const auto& listed = Machine::get().state.network->containers;
    Block block;
    layOut(block, listed);
    block.allocate();
    *containers = layOut(block, listed);
    *count = static_cast<DWORD>(listed.size());
    Machine::get().ledger.handOut("containers", *containers);
    return ERROR_SUCCESS;
}

// What is given back can be neither read nor written from then on.
DWORD WINAPI NetworkIsolationFreeAppContainers(FirewallAppContainer* containers) {
    expectLoaded("NetworkIsolationFreeAppContainers");
    Ledger& ledger = Machine::get().ledger;
    if (!ledger.giveBack(containers)) {
        ledger.noteMisuse("NetworkIsolationFreeAppContainers of what is not out");
        return ERROR_INVALID_PARAMETER;
    }
    MEMORY_BASIC_INFORMATION block = {};
    ::VirtualQuery(containers, &block, sizeof(block));
    DWORD before = 0;
    ::VirtualProtect(containers, block.RegionSize, PAGE_NOACCESS, &before);
    return ERROR_SUCCESS;
}

DWORD WINAPI NetworkIsolationGetAppContainerConfig(DWORD* count, SID_AND_ATTRIBUTES** sids) {
    expectLoaded("NetworkIsolationGetAppContainerConfig");
    if (count == nullptr || sids == nullptr) return ERROR_INVALID_PARAMETER;
    const auto& exempt = Machine::get().state.network->exempt;
    auto* const array = static_cast<SID_AND_ATTRIBUTES*>(
        lendHeapBlock(std::max<size_t>(exempt.size(), 1) * sizeof(SID_AND_ATTRIBUTES)));
    for (size_t i = 0; i < exempt.size(); ++i) {
        const std::vector<BYTE> sid = sidOf(exempt[i].sid);
        void* const copy = lendHeapBlock(sid.size());
        std::memcpy(copy, sid.data(), sid.size());
        array[i] = {copy, exempt[i].attributes};
    }
    *sids = array;
    *count = static_cast<DWORD>(exempt.size());
    return ERROR_SUCCESS;
}

DWORD WINAPI NetworkIsolationSetAppContainerConfig(DWORD count, SID_AND_ATTRIBUTES* sids) {
    expectLoaded("NetworkIsolationSetAppContainerConfig");
    if (count > 0 && sids == nullptr) return ERROR_INVALID_PARAMETER;
    std::vector<ExemptSid> exempt;
    for (DWORD i = 0; i < count; ++i) {
        const std::optional<std::wstring> sid = textOfSid(sids[i].Sid);
        if (!sid) return ERROR_INVALID_SID;
        exempt.push_back({*sid, sids[i].Attributes});
    }
    Machine& machine = Machine::get();
    machine.state.network->exempt = std::move(exempt);
    machine.changed();
    return ERROR_SUCCESS;
}
