#include "LaunchTest.h"
#include "deployment/DeElevatedLaunch.h"
#include "stand-in/Text.h"

namespace {

using ParentDirectoryTest = LaunchTest;

TEST_F(ParentDirectoryTest, CutsTrailingBackslashesAndThenTheLastElement) {
    const struct {
        const wchar_t* path;
        const wchar_t* parent;
    } rows[] = {
        {L"C:\\a\\b", L"C:\\a"},
        {L"C:\\a\\b\\", L"C:\\a"},
        {L"C:\\a\\b\\\\\\", L"C:\\a"},
        {L"C:\\a b\\c d.exe", L"C:\\a b"},
        {L"C:\\a", L"C:\\"},
        {L"C:\\a\\\\", L"C:\\"},
        {L"\\a\\b", L"\\a"},
        {L"\\a", L"\\"},
        {L"name", L""},
        {L"name\\", L""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(standin::toUtf8(row.path));
        std::wstring path = row.path;

        EXPECT_TRUE(GetParentDirectory(path));

        EXPECT_EQ(path, row.parent);
    }
}

TEST_F(ParentDirectoryTest, WithoutAParentThePathStays) {
    for (const wchar_t* const text : {L"", L"C:\\", L"C:\\\\\\", L"\\", L"\\\\\\"}) {
        SCOPED_TRACE(standin::toUtf8(text));
        std::wstring path = text;

        EXPECT_FALSE(GetParentDirectory(path));

        EXPECT_EQ(path, text);
    }
}

TEST_F(ParentDirectoryTest, AnEmptyPathIsNotHandedToTheSystem) {
    std::wstring path;

    GetParentDirectory(path);

    EXPECT_EQ(machine.trace.count("PathRemoveFileSpecW"), 0U);
}

TEST_F(ParentDirectoryTest, WithoutMemoryThePathStays) {
    const std::wstring given = L"C:\\" + std::wstring(5000, L'x') + L"\\file";
    std::wstring path = given;
    const size_t wanted = (path.size() + 1) * sizeof(wchar_t);
    bool isParent = true;
    {
        const auto scarce = replaceImport<decltype(&::malloc)>(
            "malloc", [&](auto real, size_t size) { return size == wanted ? nullptr : real(size); });
        isParent = GetParentDirectory(path);
    }

    EXPECT_FALSE(isParent);
    EXPECT_EQ(path, given);
}

TEST_F(ParentDirectoryTest, ALongPathIsCutToo) {
    const std::wstring parent = L"C:\\" + std::wstring(5000, L'x');
    std::wstring path = parent + L"\\file\\";
    const auto cut = replaceImport<decltype(&::PathRemoveFileSpecW)>(
        "PathRemoveFileSpecW", [&](auto, LPWSTR given) -> BOOL {
            EXPECT_EQ(std::wstring(given), parent + L"\\file");
            given[parent.size()] = L'\0';
            return TRUE;
        });

    EXPECT_TRUE(GetParentDirectory(path));

    EXPECT_EQ(path, parent);
}

}  // namespace
