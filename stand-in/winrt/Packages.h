#pragma once

#include <functional>

#include "../MachineState.h"
#include "Abi.h"

namespace standin {

// The packages of the machine for which `isWanted` holds, as they are now.
HRESULT givePackages(const std::function<bool(const InstalledPackage&)>& isWanted,
                     abi::Packages** packages);

}  // namespace standin
