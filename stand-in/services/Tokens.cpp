#include <cstring>

#include "../Hook.h"
#include "Services.h"

namespace standin {

namespace {

BOOL refuse(DWORD error) {
    ::SetLastError(error);
    return FALSE;
}

// The user that the machine names, laid out as Windows does: the structure, and its SID behind it.
BOOL giveUser(PSID sid, void* buffer, DWORD size, PDWORD needed) {
    const DWORD sidSize = ::GetLengthSid(sid);
    const auto wanted = static_cast<DWORD>(sizeof(TOKEN_USER)) + sidSize;
    *needed = wanted;
    if (buffer == nullptr || size < wanted) return refuse(ERROR_INSUFFICIENT_BUFFER);
    auto* const user = static_cast<TOKEN_USER*>(buffer);
    user->User.Attributes = 0;
    user->User.Sid = user + 1;
    ::CopySid(sidSize, user->User.Sid, sid);
    return TRUE;
}

BOOL WINAPI getTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS wanted, LPVOID buffer,
                                DWORD size, PDWORD needed) {
    const std::wstring user = Machine::get().user();
    if (wanted != TokenUser || user.empty()) {
        return ::GetTokenInformation(token, wanted, buffer, size, needed);
    }
    // The real token says whether the handle is good for this.
    DWORD realSize = 0;
    ::GetTokenInformation(token, TokenUser, nullptr, 0, &realSize);
    if (::GetLastError() != ERROR_INSUFFICIENT_BUFFER) return FALSE;
    if (needed == nullptr) return refuse(ERROR_NOACCESS);

    PSID sid = nullptr;
    if (!::ConvertStringSidToSidW(user.c_str(), &sid)) return FALSE;
    const BOOL given = giveUser(sid, buffer, size, needed);
    const DWORD error = ::GetLastError();
    ::LocalFree(sid);
    ::SetLastError(error);
    return given;
}

}  // namespace

void serveTokens() {
    serve<PlatformCall::GetTokenInformation>(&getTokenInformation);
}

}  // namespace standin
