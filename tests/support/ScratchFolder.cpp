#include "support/ScratchFolder.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "support/Files.h"

namespace {

// A process that died, and had the same number, may have left its folder behind; what another one
// still holds open stays where it is.
bool isFree(const std::wstring& path) {
    try {
        if (exists(path)) removeTree(path);
        return true;
    } catch (const std::runtime_error&) {
        return false;
    }
}

std::wstring nextFolder() {
    static int count = 0;
    std::wstring path;
    do {
        path = L"C:\\stand-in\\" + std::to_wstring(::GetCurrentProcessId()) + L"-" +
               std::to_wstring(++count);
    } while (!isFree(path));
    return path;
}

}  // namespace

ScratchFolder::ScratchFolder() : ScratchFolder(nextFolder()) {}

ScratchFolder::ScratchFolder(std::wstring path) : m_path(std::move(path)) {
    if (exists(m_path)) removeTree(m_path);  // left behind by a process that died
    makeFolder(m_path);
}

ScratchFolder::~ScratchFolder() {
    try {
        removeTree(m_path);
    } catch (const std::runtime_error& error) {
        ADD_FAILURE() << error.what();
    }
}
