#include "PackageState.h"

#include <algorithm>

#include "Windows.h"

namespace standin {

namespace {

void dropAbandoned(MachineState& state) {
    std::erase_if(state.packages, [](const InstalledPackage& package) {
        return package.users.empty() && !package.isProvisioned;
    });
}

}  // namespace

bool isSameIgnoringCase(const std::wstring& a, const std::wstring& b) {
    return ::CompareStringOrdinal(a.c_str(), -1, b.c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool removePackageFor(MachineState& state, const std::wstring& fullName, const std::wstring& user) {
    size_t removed = 0;
    for (InstalledPackage& package : state.packages) {
        if (!isSameIgnoringCase(package.fullName, fullName)) continue;
        removed += std::erase_if(
            package.users, [&](const std::wstring& one) { return isSameIgnoringCase(one, user); });
    }
    if (removed > 0) dropAbandoned(state);
    return removed > 0;
}

bool removePackageForAll(MachineState& state, const std::wstring& fullName) {
    size_t removed = 0;
    for (InstalledPackage& package : state.packages) {
        if (!isSameIgnoringCase(package.fullName, fullName)) continue;
        removed += package.users.size();
        package.users.clear();
    }
    if (removed > 0) dropAbandoned(state);
    return removed > 0;
}

bool deprovisionPackage(MachineState& state, const std::wstring& familyName) {
    bool wasProvisioned = false;
    for (InstalledPackage& package : state.packages) {
        if (!isSameIgnoringCase(package.familyName, familyName) || !package.isProvisioned) continue;
        package.isProvisioned = false;
        wasProvisioned = true;
    }
    if (wasProvisioned) dropAbandoned(state);
    return wasProvisioned;
}

}  // namespace standin
