#pragma once

// The first of the package files that are hardened, relative to the install folder. Hardening tells
// it by this very pointer: it keeps its integrity level.
inline constexpr wchar_t kAppServiceClient[] = L"\\LumoraSDKAppServiceClient.exe";
