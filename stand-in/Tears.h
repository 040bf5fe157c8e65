#pragma once

#include "PlatformCalls.h"

namespace standin {

// What a call leaves behind when the process ends in the middle of it: half of what it would have
// written. Other calls are done or not done.
template <PlatformCall>
struct Tear {
    static constexpr bool isPossible = false;
};

struct PossibleTear {
    static constexpr bool isPossible = true;
};

template <>
struct Tear<PlatformCall::WriteFile> : PossibleTear {
    static void performHalf(HANDLE file, LPCVOID data, DWORD size, LPDWORD, LPOVERLAPPED);
};

template <>
struct Tear<PlatformCall::_write> : PossibleTear {
    static void performHalf(int file, const void* data, unsigned size);
};

template <>
struct Tear<PlatformCall::CopyFileW> : PossibleTear {
    static void performHalf(LPCWSTR from, LPCWSTR to, BOOL failIfExists);
};

// The first half of the entries of a folder's listing, copied or deleted.
template <>
struct Tear<PlatformCall::SHFileOperationW> : PossibleTear {
    static void performHalf(LPSHFILEOPSTRUCTW operation);
};

// The values, and the first half of the sub-keys.
template <>
struct Tear<PlatformCall::RegCopyTreeW> : PossibleTear {
    static void performHalf(HKEY from, LPCWSTR subKey, HKEY to);
};

}  // namespace standin
