#pragma once

#include "Abi.h"

namespace standin {

constexpr wchar_t kPackageManagerClass[] = L"Windows.Management.Deployment.PackageManager";

// A new PackageManager; the caller owns the reference.
IInspectable* makePackageManager();

}  // namespace standin
