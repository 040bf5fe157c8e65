#pragma once

#include <string>

#include "support/LogTest.h"

// A family name; its container's SID; other SIDs, among them that of a container that is no more.
inline constexpr wchar_t kFamily[] = L"Velta.QK_1a2b3c";
inline constexpr wchar_t kSid[] = L"S-1-15-2-1-2-3-4-5-6-7";
inline constexpr wchar_t kOtherSid[] = L"S-1-15-2-9-9-9-9-9-9-9";
inline constexpr wchar_t kStaleSid[] = L"S-1-15-2-8-8-8-8-8-8-8";

// A test on a machine with network isolation, where one container is registered and the exempt list is empty.
class IsolationTest : public LogTest {
protected:
    IsolationTest() {
        machine.state.network.emplace();
        add(kFamily, kSid);
    }

    standin::AppContainer& add(const std::wstring& name, const std::wstring& sid) {
        machine.state.network->containers.push_back({name, name + L" shown", name + L" whole", sid});
        return machine.state.network->containers.back();
    }

    std::vector<std::string> isolationCalls() const {
        return machine.calls({"LoadLibraryW", "GetProcAddress", "NetworkIsolationEnumAppContainers",
                              "NetworkIsolationGetAppContainerConfig",
                              "NetworkIsolationSetAppContainerConfig", "HeapFree",
                              "NetworkIsolationFreeAppContainers", "FreeLibrary"});
    }
};
