#include "sweep/Fence.h"

#include <gmock/gmock.h>

#include "stand-in/Text.h"
#include "support/ScratchFolder.h"

namespace {

using ::testing::IsEmpty;
using ::testing::SizeIs;

// Calls of a run on a world in which nothing else is.
class FenceTest : public ::testing::Test {
protected:
    std::string at(const std::wstring& relative) const {
        return "\"" + standin::toUtf8(world.path(relative)) + "\"";
    }
    static standin::Call call(const std::string& name, std::vector<std::string> arguments) {
        standin::Call made;
        made.name = name;
        made.arguments = std::move(arguments);
        return made;
    }
    std::vector<std::string> breaches(const standin::Call& made, bool isEnterprise = false) const {
        return Fence(world, {kAnna, kBjorn}, isEnterprise).breaches({made});
    }

    ScratchFolder scratch;
    ScratchRegistry registry;
    World world{scratch.path(), registry};
    const std::wstring oldFile =
        L"anna\\AppData\\Local\\Packages\\Velta.LC.QK_qzw4mhtrvb2ne\\LocalState\\a\\b";
    const std::wstring newPackage = L"anna\\AppData\\Local\\Packages\\Velta.QK_kt83f9rd2xj6a";
};

TEST_F(FenceTest, WhatARunIsForIsNoBreach) {
    EXPECT_THAT(breaches(call("CopyFileW", {"", at(newPackage + L"\\LocalState\\x"), "0"})),
                IsEmpty());
    EXPECT_THAT(breaches(call("CreateDirectoryW", {at(L"anna\\AppData\\Local\\Packages"), "null"})),
                IsEmpty());
    EXPECT_THAT(breaches(call("DeleteFileW", {at(oldFile)}), true), IsEmpty());
    EXPECT_THAT(breaches(call("SHFileOperationW",
                              {"", "func=3", at(newPackage + L"\\LocalState\\plugins\\"), "", ""})),
                IsEmpty());
    EXPECT_THAT(breaches(call("_wfopen", {at(L"elsewhere"), "\"r\""})), IsEmpty());
}

TEST_F(FenceTest, WritingAnywhereElseIsABreach) {
    const standin::Call rows[] = {
        call("CopyFileW", {"", at(L"elsewhere"), "0"}),
        call("CopyFileW", {"", at(newPackage + L"\\..\\x"), "0"}),
        call("CopyFileW", {"", at(newPackage + L"2\\x"), "0"}),
        call("CreateFileW", {at(L"elsewhere"), "0x40000000"}),
        call("CreateDirectoryW", {at(L"bj\u00F6rn\\AppData\\Local\\Packages\\x"), "null"}),
        call("DeleteFileW", {at(oldFile)}),
        call("RemoveDirectoryW", {at(oldFile)}),
        call("SetFileAttributesW", {at(newPackage), "0x2"}),
        call("SetNamedSecurityInfoW", {at(newPackage)}),
        call("SHFileOperationW", {"", "func=3", at(newPackage + L"\\LocalState"), "", ""}),
        call("SHFileOperationW", {"", "func=2", "", at(L"elsewhere"), ""}),
        call("SHFileOperationW",
             {"", "func=3", at(L"anna\\AppData\\Roaming\\Velta\\RXP\\Plugins\\External\\"), "", ""}),
        call("_wfopen", {at(L"Installer\\lsdkConfiguratorLog.txt"), "\"w\""}),
        call("_wfopen", {at(L"elsewhere"), "\"a\""}),
        call("RegCreateKeyExW",
             {"HKEY_LOCAL_MACHINE", "\"SOFTWARE\\Other\"", "", "", "", "", "", "key#1"}),
        call("RegSetValueExW", {"HKEY_LOCAL_MACHINE", "\"name\""}),
        call("RegCopyTreeW", {"key#1", "null", "HKEY_USERS"}),
    };
    for (const standin::Call& row : rows)
        EXPECT_THAT(breaches(row), SizeIs(1)) << row.text();
}

TEST_F(FenceTest, AKeyIsKnownByTheKeyThatItWasOpenedIn) {
    const Fence fence(world, {kAnna}, false);
    const std::string list = "\"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\ProfileList\"";

    EXPECT_THAT(
        fence.breaches(
            {call("RegCreateKeyExW", {"HKEY_LOCAL_MACHINE", list, "", "", "", "", "", "key#1"}),
             call("RegCreateKeyExW", {"key#1", "\"S-1-5-21-1\"", "", "", "", "", "", "key#2"}),
             call("RegCreateKeyExW", {"key#2", "\"more\"", "", "", "", "", "", "key#3"}),
             call("RegSetValueExW", {"key#2", "\"name\""})}),
        SizeIs(2));
}

TEST_F(FenceTest, APlaceThatIsAllowedIsAllowedWithAllThatIsInIt) {
    Fence fence(world, {kAnna}, false);
    fence.allow(world.path(L"Elsewhere"));

    EXPECT_THAT(fence.breaches({call("CopyFileW", {"", at(L"elsewhere\\a\\b"), "0"}),
                                call("DeleteFileW", {at(L"elsewhere")})}),
                IsEmpty());
}

}  // namespace
