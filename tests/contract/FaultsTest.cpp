#include <stdexcept>

#include "support/MachineTest.h"

using standin::Fault;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

using FaultsTest = MachineTest;

DWORD errorOf(BOOL result) {
    return result ? 0 : ::GetLastError();
}

TEST_F(FaultsTest, TheNextCallFailsOnceWithTheLastError) {
    machine.failNext("SetFileAttributesW", ERROR_WRITE_PROTECT);

    const DWORD first = errorOf(::SetFileAttributesW(scratch.path().c_str(), FILE_ATTRIBUTE_NORMAL));
    const DWORD second = errorOf(::SetFileAttributesW(scratch.path().c_str(), FILE_ATTRIBUTE_NORMAL));

    EXPECT_EQ(first, ERROR_WRITE_PROTECT);
    EXPECT_EQ(second, 0u);
}

TEST_F(FaultsTest, TheThirdCallFailsAndLastingOnesGoOn) {
    machine.failNth("RemoveDirectoryW", 3, 32);
    machine.failFrom("DeleteFileW", 2, 33);

    std::vector<DWORD> removed;
    std::vector<DWORD> deleted;
    for (int i = 0; i < 4; ++i) {
        removed.push_back(errorOf(::RemoveDirectoryW(L"C:\\no such folder")));
        deleted.push_back(errorOf(::DeleteFileW(L"C:\\no such file")));
    }

    EXPECT_THAT(removed, ElementsAre(2, 2, 32, 2));
    EXPECT_THAT(deleted, ElementsAre(2, 33, 33, 33));
}

TEST_F(FaultsTest, ACallIsFoundByItsNumberInTheTrace) {
    machine.faults.add(Fault::parse("#2=5"));

    ::GetProcessHeap();
    const HANDLE heap = ::GetProcessHeap();

    EXPECT_EQ(heap, nullptr);
    EXPECT_THAT(machine.calls(), ElementsAre("GetProcessHeap() = unknown",
                                             "GetProcessHeap() = null, error 5 (injected)"));
}

TEST_F(FaultsTest, EachKindOfFunctionFailsInItsOwnWay) {
    machine.failNext("CreateFileW", 5);
    machine.failNext("GetFileAttributesW", 6);
    machine.failNext("RegCloseKey", 7);
    machine.failNext("CoInitializeEx", static_cast<DWORD>(RPC_E_CHANGED_MODE));
    machine.failNext("LocalFree", 8);
    machine.failNext("_wfopen", EACCES);

    EXPECT_EQ(::CreateFileW(L"C:\\x", 0, 0, nullptr, OPEN_EXISTING, 0, nullptr),
              INVALID_HANDLE_VALUE);
    EXPECT_EQ(::GetLastError(), 5u);
    EXPECT_EQ(::GetFileAttributesW(L"C:\\"), INVALID_FILE_ATTRIBUTES);
    EXPECT_EQ(::GetLastError(), 6u);
    EXPECT_EQ(::RegCloseKey(HKEY_USERS), 7);
    EXPECT_EQ(::CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
    int block = 0;
    EXPECT_EQ(::LocalFree(&block), &block);
    EXPECT_EQ(::GetLastError(), 8u);
    EXPECT_EQ(::_wfopen(L"C:\\x", L"r"), nullptr);
    EXPECT_EQ(errno, EACCES);
}

TEST_F(FaultsTest, AFailedCallHasNoEffect) {
    writeFile(scratch / L"a.txt", "text");
    machine.failNext("DeleteFileW", ERROR_ACCESS_DENIED);

    ::DeleteFileW((scratch / L"a.txt").c_str());

    EXPECT_EQ(readFile(scratch / L"a.txt"), "text");
}

TEST_F(FaultsTest, ACallbackRunsAfterTheCallAndItsLastErrorStays) {
    bool wasDeleted = false;
    writeFile(scratch / L"a.txt", "text");
    machine.onCall("DeleteFileW", [&] {
        wasDeleted = !exists(scratch / L"a.txt");
        ::SetLastError(ERROR_INVALID_HANDLE);
    });

    const BOOL deleted = ::DeleteFileW((scratch / L"a.txt").c_str());
    const DWORD error = ::GetLastError();

    EXPECT_TRUE(deleted);
    EXPECT_TRUE(wasDeleted);
    EXPECT_EQ(error, ERROR_INVALID_HANDLE);
}

TEST_F(FaultsTest, AFaultThatNeverFiredIsReported) {
    machine.failNth("CopyFileW", 3, 32);
    machine.failNext("CoUninitialize", 1);

    ::CopyFileW(L"C:\\no such file", L"C:\\x", FALSE);
    ::CoUninitialize();

    EXPECT_THAT(machine.faults.unfired(),
                ElementsAre("CopyFileW:3=32", "CoUninitialize:1=1 (cannot fail)"));
    mounted.expectUnfiredFaults({"CopyFileW:3=32", "CoUninitialize:1=1 (cannot fail)"});
}

TEST_F(FaultsTest, EndingTheProcessLeavesItsOwnExitCode) {
    EXPECT_EXIT(
        {
            machine.faults.add(Fault::parse("DeleteFileW:2!"));
            ::DeleteFileW(L"C:\\no such file");
            ::DeleteFileW(L"C:\\no such file");
        },
        [](int code) { return static_cast<unsigned>(code) == 0xE0000001; }, "");
}

TEST(FaultTextTest, TextAndFaultSayTheSame) {
    for (const char* const text : {"CopyFileW:3=32", "CopyFileW:3+=32", "#57=5", "CopyFileW:3!",
                                   "#57!", "IPackage::get_Id:1=2147942405"}) {
        EXPECT_EQ(Fault::parse(text).text(), text);
    }
    EXPECT_EQ(Fault::parse("IPackage::get_Id:1=0x80070005").error, 0x80070005u);
    EXPECT_EQ(Fault::parse("IPackage::get_Id:1=0x80070005").call, "IPackage::get_Id");
}

TEST(FaultTextTest, OtherTextsAreRefused) {
    for (const char* const text : {"", "CopyFileW", "CopyFileW:", "CopyFileW:3",
                                   "CopyFileW:3=", ":3=5", "#=5", "CopyFileW:3=5x", "CopyFileW:3+!"}) {
        EXPECT_THROW(Fault::parse(text), std::invalid_argument) << text;
    }
}

TEST(FaultTextTest, SeveralAreJoinedBySemicolons) {
    standin::Faults faults;

    faults.addAll("CopyFileW:3=32;#57!;");

    EXPECT_THAT(faults.unfired(), ElementsAre("CopyFileW:3=32", "#57!"));
}

}  // namespace
