#include "platform/FileAttributes.h"

#include "support/MachineTest.h"

namespace {

class FileAttributes : public MachineTest {};

TEST_F(FileAttributes, TellFileAndFolderApart) {
    writeFile(scratch / L"file.txt", "text");
    writeFile(scratch / L"hidden.txt", "text");
    setAttributes(scratch / L"hidden.txt", FILE_ATTRIBUTE_HIDDEN);
    makeFolder(scratch / L"folder");
    struct Row {
        const wchar_t* name;
        bool isFile;
        bool isFolder;
    };
    const Row rows[] = {
        {L"file.txt", true, false},       {L"FILE.TXT", true, false},
        {L"hidden.txt", true, false},     {L"folder", false, true},
        {L"folder\\", false, true},       {L"missing", false, false},
        {L"missing\\file", false, false}, {L"file.txt\\below", false, false},
        {L"bad*name", false, false},
    };
    for (const Row& row : rows) {
        const std::wstring path = scratch / row.name;
        SCOPED_TRACE(testing::PrintToString(path));

        EXPECT_EQ(existsAsFile(path.c_str()), row.isFile);
        EXPECT_EQ(existsAsFolder(path.c_str()), row.isFolder);
    }
}

TEST_F(FileAttributes, AreAskedForOnce) {
    existsAsFile(L"C:\\a");
    existsAsFolder(L"C:\\b");

    EXPECT_THAT(machine.calls(),
                testing::ElementsAre(R"(GetFileAttributesW("C:\a") = 0xFFFFFFFF, error 2)",
                                     R"(GetFileAttributesW("C:\b") = 0xFFFFFFFF, error 2)"));
}

TEST_F(FileAttributes, WhatCannotBeAskedIsNeither) {
    makeFolder(scratch / L"folder");
    writeFile(scratch / L"file.txt", "text");
    machine.failFrom("GetFileAttributesW", 1, ERROR_ACCESS_DENIED);

    EXPECT_FALSE(existsAsFolder((scratch / L"folder").c_str()));
    EXPECT_FALSE(existsAsFile((scratch / L"file.txt").c_str()));
}

}  // namespace
