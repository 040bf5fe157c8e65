#pragma once

// Adds the app container of the package family to the system's list of containers that may reach
// the machine's own loopback address. False: logged, and the list is as it was. An allocation that
// fails is thrown.
bool enableLoopback(const wchar_t* packageFamilyName);
