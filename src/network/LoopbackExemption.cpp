#include "network/LoopbackExemption.h"

#include <cwchar>
#include <span>
#include <vector>

#include "platform/NetworkIsolation.h"
#include "platform/Owners.h"
#include "run/ConfiguratorLog.h"

namespace {

struct Functions {
    NetworkIsolationEnumAppContainersFunction enumContainers;
    NetworkIsolationSetAppContainerConfigFunction setConfig;
    NetworkIsolationGetAppContainerConfigFunction getConfig;
    NetworkIsolationFreeAppContainersFunction freeContainers;

    bool areComplete() const { return enumContainers && setConfig && getConfig && freeContainers; }
};

template <typename Function>
Function find(HMODULE library, const char* name) {
    return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(library, name)));
}

// The system's containers, given back to it at the end of the scope.
struct Containers {
    explicit Containers(NetworkIsolationFreeAppContainersFunction freeFunction)
        : m_free(freeFunction) {}
    Containers(const Containers&) = delete;
    Containers& operator=(const Containers&) = delete;
    ~Containers() {
        if (m_array) m_free(m_array);
    }

    std::span<const INET_FIREWALL_APP_CONTAINER> entries() const {
        return {m_array, m_array ? m_count : 0};
    }

    DWORD m_count = 0;
    INET_FIREWALL_APP_CONTAINER* m_array = nullptr;

private:
    NetworkIsolationFreeAppContainersFunction m_free;
};

// The exempt list as it stands: each SID and the array are ours to free.
struct ExemptList {
    ExemptList() = default;
    ExemptList(const ExemptList&) = delete;
    ExemptList& operator=(const ExemptList&) = delete;
    ~ExemptList() {
        if (!m_array) return;
        for (const SID_AND_ATTRIBUTES& entry : entries())
            ::HeapFree(::GetProcessHeap(), 0, entry.Sid);
        ::HeapFree(::GetProcessHeap(), 0, m_array);
    }

    std::span<const SID_AND_ATTRIBUTES> entries() const { return {m_array, m_array ? m_count : 0}; }

    DWORD m_count = 0;
    SID_AND_ATTRIBUTES* m_array = nullptr;
};

const wchar_t* textOrEmpty(const wchar_t* text) {
    return text ? text : L"";
}

// The SID of the first container of that name, null if there is none. Logs the container.
SID* findContainerSid(const Containers& containers, const wchar_t* packageFamilyName) {
    for (const INET_FIREWALL_APP_CONTAINER& container : containers.entries()) {
        if (::_wcsicmp(packageFamilyName, textOrEmpty(container.appContainerName)) != 0) continue;
        // Required: no line end, here and in every line below but the library's; the next entry continues there.
        g_configuratorLog->beginLine()
            << "found " << textOrEmpty(container.packageFullName) << " "
            << textOrEmpty(container.appContainerName) << " " << textOrEmpty(container.displayName);
        return container.appContainerSid;
    }
    return nullptr;
}

}  // namespace

bool enableLoopback(const wchar_t* packageFamilyName) {
    const LibraryHandle library(::LoadLibraryW(L"Firewallapi.dll"));
    if (!library) {
        const DWORD error = ::GetLastError();
        g_configuratorLog->beginLine() << "LoadLibrary Firewallapi.dll failed " << error << std::endl;
        return false;
    }
    // The order of the look-ups is the order of the members.
    const Functions functions = {find<NetworkIsolationEnumAppContainersFunction>(
                                     library.get(), "NetworkIsolationEnumAppContainers"),
                                 find<NetworkIsolationSetAppContainerConfigFunction>(
                                     library.get(), "NetworkIsolationSetAppContainerConfig"),
                                 find<NetworkIsolationGetAppContainerConfigFunction>(
                                     library.get(), "NetworkIsolationGetAppContainerConfig"),
                                 find<NetworkIsolationFreeAppContainersFunction>(
                                     library.get(), "NetworkIsolationFreeAppContainers")};
    if (!functions.areComplete()) {
        g_configuratorLog->beginLine() << "GetProcAddress failed in Firewallapi.dll";
        return false;
    }

    constexpr DWORD kMaximumFlag = 2;  // NETISO_FLAG_MAX: asks for nothing beyond the list.
    Containers containers(functions.freeContainers);
    DWORD status = functions.enumContainers(kMaximumFlag, &containers.m_count, &containers.m_array);
    if (status != ERROR_SUCCESS) {
        containers.m_array = nullptr;
        g_configuratorLog->beginLine() << "Error enumerating network isolation containers" << status;
        return false;
    }
    SID* const sid = findContainerSid(containers, packageFamilyName);
    if (!sid) {
        g_configuratorLog->beginLine() << "Unable to find SID for app" << packageFamilyName;
        return false;
    }

    ExemptList exempt;
    status = functions.getConfig(&exempt.m_count, &exempt.m_array);
    if (status != ERROR_SUCCESS) {
        exempt.m_array = nullptr;
        g_configuratorLog->beginLine() << "Error enumerating app container config" << status;
        return false;
    }
    // Required: extended without a look whether the SID is already there.
    std::vector<SID_AND_ATTRIBUTES> extended;
    extended.reserve(size_t{exempt.m_count} + 1);
    extended.assign(exempt.entries().begin(), exempt.entries().end());
    extended.push_back({sid, 0});
    status = functions.setConfig(static_cast<DWORD>(extended.size()), extended.data());
    if (status != ERROR_SUCCESS) {
        g_configuratorLog->beginLine()
            << "Could not enable loopback access for app " << packageFamilyName << " " << status;
        return false;
    }
    return true;
}
