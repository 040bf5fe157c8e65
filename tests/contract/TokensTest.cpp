#include "contract/BothSystems.h"

namespace {

struct Token {
    Token() { ::OpenProcessToken(::GetCurrentProcess(), TOKEN_QUERY, &handle); }
    ~Token() { ::CloseHandle(handle); }
    HANDLE handle = nullptr;
};

std::wstring userOf(HANDLE token) {
    DWORD size = 0;
    ::GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::vector<BYTE> buffer(size);
    if (!::GetTokenInformation(token, TokenUser, buffer.data(), size, &size)) return L"failed";
    wchar_t* text = nullptr;
    ::ConvertSidToStringSidW(reinterpret_cast<TOKEN_USER*>(buffer.data())->User.Sid, &text);
    std::wstring sid = text;
    ::LocalFree(text);
    return sid;
}

class TokensOnBothSystems : public BothSystems {};
ON_BOTH_SYSTEMS(TokensOnBothSystems);

TEST_P(TokensOnBothSystems, AskingForTheSizeFailsWithInsufficientBuffer) {
    const Token token;
    DWORD size = 0;

    const BOOL given = ::GetTokenInformation(token.handle, TokenUser, nullptr, 0, &size);
    const DWORD error = ::GetLastError();

    EXPECT_FALSE(given);
    EXPECT_EQ(error, ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 16u + 28u);
}

TEST_P(TokensOnBothSystems, AHandleThatIsNoTokenIsRefused) {
    DWORD size = 0;

    const BOOL given = ::GetTokenInformation(nullptr, TokenUser, nullptr, 0, &size);

    EXPECT_FALSE(given);
    EXPECT_EQ(::GetLastError(), ERROR_INVALID_HANDLE);
}

class TokensTest : public MachineTest {};

TEST_F(TokensTest, TheUserIsTheMachines) {
    machine.state.tokenUser = L"S-1-5-21-1-2-3-1001";
    const Token token;

    EXPECT_EQ(userOf(token.handle), L"S-1-5-21-1-2-3-1001");
}

TEST_F(TokensTest, WithAUserSetHandlesAndSizesAreStillChecked) {
    machine.state.tokenUser = L"S-1-5-21-1-2-3-1001";
    const Token token;
    DWORD size = 0;
    BYTE small[20];

    EXPECT_FALSE(::GetTokenInformation(nullptr, TokenUser, nullptr, 0, &size));
    EXPECT_EQ(::GetLastError(), ERROR_INVALID_HANDLE);
    EXPECT_FALSE(::GetTokenInformation(token.handle, TokenUser, small, sizeof(small), &size));
    EXPECT_EQ(::GetLastError(), ERROR_INSUFFICIENT_BUFFER);
    EXPECT_EQ(size, 16u + 28u);
}

TEST_F(TokensTest, OtherClassesAreTheRealOnes) {
    machine.state.tokenUser = L"S-1-5-21-1-2-3-1001";
    const Token token;
    TOKEN_TYPE type = {};
    DWORD size = 0;

    EXPECT_TRUE(::GetTokenInformation(token.handle, TokenType, &type, sizeof(type), &size));

    EXPECT_EQ(type, TokenPrimary);
}

}  // namespace
