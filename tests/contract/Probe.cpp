// A small program that the launcher's tests run. Its first argument says how it ends; before that
// it writes its command line, as it is, to the file that the environment names.
#include <io.h>

#include <string>
#include <string_view>

#include "stand-in/ErrorInfo.h"

namespace {

void writeCommandLine() {
    wchar_t path[MAX_PATH] = {};
    if (::GetEnvironmentVariableW(L"PROBE_OUTPUT", path, MAX_PATH) == 0) return;
    const HANDLE file = ::CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                      FILE_ATTRIBUTE_NORMAL, nullptr);
    const std::wstring_view commandLine = ::GetCommandLineW();
    DWORD written = 0;
    ::WriteFile(file, commandLine.data(), static_cast<DWORD>(commandLine.size() * sizeof(wchar_t)),
                &written, nullptr);
    ::CloseHandle(file);
}

int overflow(int depth) {
    volatile char frame[4096] = {};
    frame[0] = static_cast<char>(depth);
    return depth < 0 ? 0 : overflow(depth + 1) + frame[0];
}

}  // namespace

int wmain(int count, wchar_t** arguments) {
    writeCommandLine();
    const std::wstring_view end = count > 1 ? arguments[1] : L"";
    if (end == L"crash") __asm__ __volatile__("movl $1, 0");
    if (end == L"fast-fail") __asm__ __volatile__("int $0x29" : : "c"(7));
    if (end == L"raise") ::RaiseException(0x80070006, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    if (end == L"long-text") {
        wchar_t text[4] = {};
        ::wcscpy_s(text, std::size(text), arguments[0]);
    }
    if (end == L"overflow") return overflow(0);
    if (end == L"hang") ::Sleep(INFINITE);
    if (end == L"leak") ::LocalAlloc(LMEM_FIXED, 1);
    if (end == L"fail-fast") ::RoFailFastWithErrorContext(E_FAIL);
    if (end == L"hive") {
        HKEY key = nullptr;
        return ::RegCreateKeyExW(HKEY_USERS, L"S-1-5-21-1-2-3-1001\\Software", 0, nullptr, 0,
                                 KEY_ALL_ACCESS, nullptr, &key, nullptr);
    }
    if (end == L"delete") {
        ::DeleteFileW(L"C:\\no such file");
        return static_cast<int>(::GetLastError());
    }
    if (end == L"forget-error") return ::SetRestrictedErrorInfo(nullptr);
    return static_cast<int>(0xFEDCBA98);
}
