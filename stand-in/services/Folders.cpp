#include "../Hook.h"
#include "Services.h"

namespace standin {

namespace {

HRESULT WINAPI getFolderPath(HWND window, int csidl, HANDLE token, DWORD flags, LPWSTR path) {
    const auto& folders = Machine::get().state.folders;
    const auto folder = folders.find(csidl & 0xFF);
    if (folder == folders.end()) return ::SHGetFolderPathW(window, csidl, token, flags, path);
    if (path == nullptr) return E_INVALIDARG;
    const bool fails = folder->second.error != 0;
    ::lstrcpynW(path, fails ? L"" : folder->second.path.c_str(), MAX_PATH);
    return folder->second.error;
}

}  // namespace

void serveFolders() {
    serve<PlatformCall::SHGetFolderPathW>(&getFolderPath);
}

}  // namespace standin
