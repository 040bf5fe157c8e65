#pragma once

#include <string>

// A fresh folder on drive C:, removed with all that is in it at the end.
class ScratchFolder {
public:
    ScratchFolder();
    // That folder, which must be this process's own.
    explicit ScratchFolder(std::wstring path);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    // The folder's path, or that of something in it: scratch / L"sub\\file.txt".
    const std::wstring& path() const { return m_path; }
    std::wstring operator/(const std::wstring& relative) const { return m_path + L"\\" + relative; }

private:
    std::wstring m_path;
};
