#pragma once

#include <string>

#include "MachineState.h"

namespace standin {

// Takes a package from one user. A package that no user has any more and that is not provisioned
// leaves the machine. False: the user does not have it.
bool removePackageFor(MachineState& state, const std::wstring& fullName, const std::wstring& user);
// Takes it from everybody. False: nobody has it.
bool removePackageForAll(MachineState& state, const std::wstring& fullName);
// No later user gets the packages of the family any more. False: none of them was provisioned.
bool deprovisionPackage(MachineState& state, const std::wstring& familyName);

// Names, SIDs and the like compare without regard to case.
bool isSameIgnoringCase(const std::wstring& a, const std::wstring& b);

}  // namespace standin
