// Removes the packages whose full names are its arguments, for the user it runs as. Ends with the
// number of those that are still there; 0 is success. Writes nothing.
#include <objbase.h>

#include <exception>

#include "platform/Activation.h"
#include "platform/AsyncWait.h"
#include "platform/CommandLine.h"
#include "platform/PackageManager.h"
#include "platform/ProcessEnd.h"

namespace {

// The system's answer for a package that the user does not have: it is gone already.
constexpr HRESULT kPackageNotFound = static_cast<HRESULT>(0x80073CF1);

// S_OK or the reason why the package is still there.
HRESULT removePackage(const wchar_t* fullName) {
    try {
        const auto manager = Platform::activate<IPackageManager2>(kPackageManagerClass);
        const Platform::String name(fullName);
        ComPointer<IDeploymentOperation> operation;
        Platform::ThrowForHResult(manager->RemovePackageWithOptionsAsync(
            name.get(), RemovalOptions::None, operation.put()));
        const Concurrency::task task = Concurrency::create_task(operation);
        HRESULT code = S_OK;
        Platform::ThrowForHResult(task.get()->get_ExtendedErrorCode(&code));
        return code;
    } catch (const Platform::Exception& exception) {
        return exception.hresult();
    } catch (const std::exception&) {
        return E_FAIL;
    }
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    std::set_terminate([] { failFast(FAST_FAIL_FATAL_APP_EXIT); });
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
    int count = 0;
    wchar_t** const arguments = Platform::Details::GetCmdArguments(&count);
    int failed = 0;
    for (int i = 1; i < count; ++i) {
        const HRESULT result = removePackage(arguments[i]);
        if (result != S_OK && result != kPackageNotFound) ++failed;
    }
    ::CoUninitialize();
    return failed;
}
