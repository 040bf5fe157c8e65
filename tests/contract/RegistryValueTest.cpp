#include "contract/BothSystems.h"

namespace {

constexpr wchar_t kPath[] = L"SOFTWARE\\Values";

struct Answer {
    LSTATUS status = ERROR_SUCCESS;
    DWORD type = 0xFFFFFFFF;
    DWORD size = 0;
    std::string bytes;
};

// One question; without room for the data it asks for the size.
Answer ask(const wchar_t* name, DWORD flags, DWORD room) {
    HKEY key = nullptr;
    ::RegCreateKeyExW(HKEY_LOCAL_MACHINE, kPath, 0, nullptr, 0, KEY_ALL_ACCESS, nullptr, &key,
                      nullptr);
    Answer answer;
    answer.size = room;
    answer.bytes.resize(room);
    answer.status = ::RegGetValueW(key, nullptr, name, flags, &answer.type,
                                   room == 0 ? nullptr : answer.bytes.data(), &answer.size);
    ::RegCloseKey(key);
    if (answer.status == ERROR_SUCCESS && room > 0) answer.bytes.resize(answer.size);
    return answer;
}

std::string bytesOf(std::wstring_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)};
}

using namespace std::string_view_literals;

class RegistryValueOnBothSystems : public BothSystems {};
ON_BOTH_SYSTEMS(RegistryValueOnBothSystems);

TEST_P(RegistryValueOnBothSystems, ATerminatedTextIsReadAsItStands) {
    registry.setText(HKEY_LOCAL_MACHINE, kPath, L"name", L"abcde");

    const Answer answer = ask(L"name", RRF_RT_REG_SZ, 100);

    EXPECT_EQ(answer.status, ERROR_SUCCESS);
    EXPECT_EQ(answer.type, DWORD{REG_SZ});
    EXPECT_EQ(answer.bytes, bytesOf(L"abcde\0"sv));
}

TEST_P(RegistryValueOnBothSystems, AnExpandableTextComesExpandedAsPlainText) {
    ::SetEnvironmentVariableW(L"STANDIN_TEST", L"x");
    registry.setText(HKEY_LOCAL_MACHINE, kPath, L"name", L"%STANDIN_TEST%\\%NO_SUCH%", REG_EXPAND_SZ);

    for (const DWORD flags : {DWORD{RRF_RT_REG_SZ}, DWORD{RRF_RT_ANY}}) {
        const Answer answer = ask(L"name", flags, 100);

        EXPECT_EQ(answer.status, ERROR_SUCCESS);
        EXPECT_EQ(answer.type, DWORD{REG_SZ});
        EXPECT_EQ(answer.bytes, bytesOf(L"x\\%NO_SUCH%\0"sv));
    }
}

TEST_P(RegistryValueOnBothSystems, OtherTypesThanWantedAreRefused) {
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"number", {REG_DWORD, std::string("\1\0\0\0", 4)});
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"bytes", {REG_BINARY, "abc"});

    EXPECT_EQ(ask(L"number", RRF_RT_REG_SZ, 100).status, ERROR_UNSUPPORTED_TYPE);
    EXPECT_EQ(ask(L"bytes", RRF_RT_REG_SZ, 100).status, ERROR_UNSUPPORTED_TYPE);
}

TEST_P(RegistryValueOnBothSystems, BytesAndNumbersHaveTheirExactSize) {
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"number", {REG_DWORD, std::string("\1\0\0\0", 4)});
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"bytes", {REG_BINARY, "abc"});

    EXPECT_EQ(ask(L"number", RRF_RT_ANY, 0).size, 4u);
    EXPECT_EQ(ask(L"bytes", RRF_RT_ANY, 0).size, 3u);
    EXPECT_EQ(ask(L"bytes", RRF_RT_ANY, 100).bytes, "abc");
}

TEST_P(RegistryValueOnBothSystems, AMissingValueIsNotFound) {
    EXPECT_EQ(ask(L"missing", RRF_RT_ANY, 0).status, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(ask(L"missing", RRF_RT_ANY, 100).status, ERROR_FILE_NOT_FOUND);
}

TEST_P(RegistryValueOnBothSystems, TooSmallABufferSaysSo) {
    registry.setText(HKEY_LOCAL_MACHINE, kPath, L"name", L"abcde");

    const Answer answer = ask(L"name", RRF_RT_REG_SZ, 4);

    EXPECT_EQ(answer.status, ERROR_MORE_DATA);
    EXPECT_EQ(answer.size, 12u);
}

class RegistryValueTest : public MachineTest {};

TEST_F(RegistryValueTest, TheSizeOfATextHasRoomForOneMoreCharacter) {
    registry.setText(HKEY_LOCAL_MACHINE, kPath, L"name", L"abcde");

    EXPECT_EQ(ask(L"name", RRF_RT_REG_SZ, 0).size, 14u);
    EXPECT_EQ(ask(L"name", RRF_RT_REG_SZ, 14).size, 12u);
}

TEST_F(RegistryValueTest, AMissingTerminatorIsSupplied) {
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"text", {REG_SZ, bytesOf(L"ab")});
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"expandable", {REG_EXPAND_SZ, bytesOf(L"ab")});
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"empty", {REG_SZ, ""});
    registry.setValue(HKEY_LOCAL_MACHINE, kPath, L"list", {REG_MULTI_SZ, bytesOf(L"ab")});

    EXPECT_EQ(ask(L"text", RRF_RT_ANY, 100).bytes, bytesOf(L"ab\0"sv));
    EXPECT_EQ(ask(L"expandable", RRF_RT_ANY, 100).bytes, bytesOf(L"ab\0"sv));
    EXPECT_EQ(ask(L"empty", RRF_RT_ANY, 100).bytes, bytesOf(L"\0"sv));
    EXPECT_EQ(ask(L"list", RRF_RT_ANY, 100).bytes, bytesOf(L"ab\0\0"sv));
}

}  // namespace
