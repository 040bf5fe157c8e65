#include "PackageRemoval.h"

#include "../Machine.h"
#include "../PackageState.h"
#include "../services/ErrorObjects.h"
#include "../services/ProcessToken.h"
#include "DeploymentOperation.h"
#include "Object.h"

namespace standin {

namespace {

constexpr UINT32 kPreserveRoamableApplicationData = 0x80;
constexpr UINT32 kPreserveApplicationData = 0x1000;
constexpr UINT32 kRemoveForAllUsers = 0x80000;
constexpr UINT32 kKnownOptions = kPreserveRoamableApplicationData | kPreserveApplicationData |
                                 kRemoveForAllUsers;
constexpr HRESULT kPackageNotFound = static_cast<HRESULT>(0x80073CF1);

RemovalOutcome outcomeOf(const std::wstring& fullName) {
    for (const InstalledPackage& package : Machine::get().state.packages) {
        if (isSameIgnoringCase(package.fullName, fullName)) return package.removal;
    }
    return {};
}

DeploymentEnding failure(HRESULT error, const std::wstring& text) {
    return {.status = Error, .error = error, .resultsError = S_OK, .code = error, .text = text};
}

// Takes the package away and says whether it was there.
bool takeAway(const std::wstring& fullName, UINT32 options) {
    Machine& machine = Machine::get();
    const std::scoped_lock guard(machine.lock());
    const bool isGone = (options & kRemoveForAllUsers) != 0
                            ? removePackageForAll(machine.state, fullName)
                            : removePackageFor(machine.state, fullName, processToken().sids.front());
    if (isGone) machine.changed();
    return isGone;
}

DeploymentEnding remove(const std::wstring& fullName, UINT32 options, const RemovalOutcome& outcome) {
    switch (outcome.kind) {
        case RemovalOutcome::Kind::Failed:
            return failure(outcome.error, outcome.text);
        case RemovalOutcome::Kind::Canceled:
            return {.status = Canceled};
        case RemovalOutcome::Kind::DoneWithError:
            return {.code = outcome.error, .text = outcome.text};
        default:
            break;
    }
    if (!takeAway(fullName, options)) return failure(kPackageNotFound, L"");
    if (outcome.kind == RemovalOutcome::Kind::ResultsLost) return {.resultsError = outcome.error};
    return {.text = outcome.text};
}

DeploymentEnding deprovision(const std::wstring& familyName) {
    Machine& machine = Machine::get();
    const std::scoped_lock guard(machine.lock());
    if (deprovisionPackage(machine.state, familyName)) machine.changed();
    return {};
}

}  // namespace

HRESULT startRemoval(HSTRING fullName, UINT32 options, abi::IDeploymentOperation** operation) {
    if (operation == nullptr) return E_POINTER;
    const std::wstring name = textOf(fullName);
    if (name.empty() || (options & ~kKnownOptions) != 0) return E_INVALIDARG;
    const RemovalOutcome outcome = outcomeOf(name);
    if (outcome.kind == RemovalOutcome::Kind::Refused) {
        originate(outcome.error, outcome.text);
        return outcome.error;
    }
    *operation = makeDeploymentOperation([=] { return remove(name, options, outcome); },
                                         outcome.endsAtOnce);
    return S_OK;
}

HRESULT startDeprovisioning(HSTRING familyName, abi::IDeploymentOperation** operation) {
    if (operation == nullptr) return E_POINTER;
    const std::wstring name = textOf(familyName);
    if (name.empty()) return E_INVALIDARG;
    *operation = makeDeploymentOperation([=] { return deprovision(name); }, /*hasEnded=*/false);
    return S_OK;
}

}  // namespace standin
