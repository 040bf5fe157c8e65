#pragma once

namespace standin {

// Enters memory that Windows allocated in the ledger; null is no memory.
void handOutMemory(const void* memory);

// Notes a misuse if the address lies in memory that was given back: "GetAce with memory#3, which was released".
void noteIfReleased(const char* call, const void* address);

}  // namespace standin
