#pragma once

#include "DeploymentAbi.h"

namespace standin {

// Removal of a package for the acting user or for all users, and the end of its provisioning, as
// the machine has it planned for the package.
HRESULT startRemoval(HSTRING fullName, UINT32 options, abi::IDeploymentOperation** operation);
HRESULT startDeprovisioning(HSTRING familyName, abi::IDeploymentOperation** operation);

}  // namespace standin
