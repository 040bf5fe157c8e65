#include <exception>

#include "platform/CommandLine.h"
#include "platform/PlatformException.h"
#include "platform/ProcessEnd.h"
#include "platform/Windows.h"
#include "run/RunConfigurator.h"

namespace {

int runWithCommandLine() {
    int count = 0;
    wchar_t** const values = Platform::Details::GetCmdArguments(&count);
    Platform::Array args;
    args.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i)
        args.emplace_back(values[i]);
    return runConfigurator(args);
}

}  // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, wchar_t*, int) {
    // Nobody watches: an exception that finds no handler ends the process without a dialog.
    std::set_terminate([] { failFast(FAST_FAIL_FATAL_APP_EXIT); });
    try {
        return runWithCommandLine();
    } catch (const Platform::Exception& exception) {
        if (IRestrictedErrorInfo* info = exception.restrictedErrorInfo())
            ::SetRestrictedErrorInfo(info);
        ::RoFailFastWithErrorContext(exception.hresult());
        return exception.hresult();
    }
}
