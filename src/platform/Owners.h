#pragma once

#include <memory>
#include <utility>

#include "platform/Windows.h"

// Memory that a Windows function allocated with LocalAlloc. The deleter names the call in its body,
// so that it goes through the import table like any other.
struct LocalFreeDeleter {
    void operator()(void* memory) const noexcept { ::LocalFree(memory); }
};
template <typename T>
using LocalMemory = std::unique_ptr<T, LocalFreeDeleter>;

// A handle that is closed at the end of the scope. Null and INVALID_HANDLE_VALUE are empty.
template <typename Closer>
class ScopedHandle {
public:
    explicit ScopedHandle(HANDLE handle) noexcept : m_handle(handle) {}
    ScopedHandle(const ScopedHandle&) = delete;
    ScopedHandle& operator=(const ScopedHandle&) = delete;
    ~ScopedHandle() {
        if (isValid()) Closer::close(m_handle);
    }

    bool isValid() const noexcept { return m_handle && m_handle != INVALID_HANDLE_VALUE; }
    HANDLE get() const noexcept { return m_handle; }

    // Closes a valid handle at this point. False: GetLastError has the reason; the handle counts as closed.
    bool close() noexcept { return Closer::close(std::exchange(m_handle, nullptr)) != FALSE; }

private:
    HANDLE m_handle;
};

struct CloseHandleCloser {
    static BOOL close(HANDLE handle) noexcept { return ::CloseHandle(handle); }
};
using FileHandle = ScopedHandle<CloseHandleCloser>;

struct FindCloseCloser {
    static BOOL close(HANDLE handle) noexcept { return ::FindClose(handle); }
};
using FindHandle = ScopedHandle<FindCloseCloser>;

// A library that LoadLibraryW loaded.
struct FreeLibraryDeleter {
    using pointer = HMODULE;
    void operator()(HMODULE library) const noexcept { ::FreeLibrary(library); }
};
using LibraryHandle = std::unique_ptr<HMODULE, FreeLibraryDeleter>;
