#pragma once

#include "../Windows.h"

namespace standin {

// What a service does besides the call itself leaves no mark in the last error.
class KeepLastError {
public:
    KeepLastError() = default;
    ~KeepLastError() { ::SetLastError(m_error); }
    KeepLastError(const KeepLastError&) = delete;
    KeepLastError& operator=(const KeepLastError&) = delete;

private:
    const DWORD m_error = ::GetLastError();
};

}  // namespace standin
