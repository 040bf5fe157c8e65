#include "run/RegistryKey.h"
#include "support/LogTest.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr wchar_t kPath[] = L"SOFTWARE\\Velta";

class RegistrySubKeys : public LogTest {
protected:
    void makeSubKeys(std::initializer_list<std::wstring> made) {
        for (const std::wstring& name : made)
            registry.makeKey(HKEY_LOCAL_MACHINE, kPath + (L"\\" + name));
        machine.trace.clear();
    }

    const RegistryKey key{HKEY_LOCAL_MACHINE, kPath};
    std::vector<std::wstring> names;
};

TEST_F(RegistrySubKeys, AreAskedForByCountAndThenByIndexWithRoomFor255) {
    makeSubKeys({L"one", L"two"});

    key.enumerateSubKeys(names);

    EXPECT_THAT(machine.calls(),
                ElementsAre("RegQueryInfoKeyW(key#1, null, null, null, 2, 3, null, null, null, "
                            "null, null, null) = 0",
                            "RegEnumKeyExW(key#1, 0, \"one\", 255->3, null, null, null, null) = 0",
                            "RegEnumKeyExW(key#1, 1, \"two\", 255->3, null, null, null, null) = 0"));
}

TEST_F(RegistrySubKeys, AreTheDirectOnesInTheRegistrysOrder) {
    makeSubKeys({L"b\\below", L"C", L"a"});

    key.enumerateSubKeys(names);

    EXPECT_THAT(names, ElementsAre(L"a", L"b", L"C"));
    EXPECT_EQ(logText(), "");
}

TEST_F(RegistrySubKeys, KeyWithoutAnyGivesAnEmptyVectorAndNoLine) {
    names = {L"old"};

    key.enumerateSubKeys(names);

    EXPECT_THAT(names, IsEmpty());
    EXPECT_EQ(machine.trace.count("RegEnumKeyExW"), 0U);
    EXPECT_EQ(logText(), "");
}

TEST_F(RegistrySubKeys, OldContentOfTheVectorIsGone) {
    makeSubKeys({L"new"});
    names = {L"old", L"older"};

    key.enumerateSubKeys(names);

    EXPECT_THAT(names, ElementsAre(L"new"));
}

TEST_F(RegistrySubKeys, KeyThatCannotBeAskedIsLikeOneWithoutAny) {
    makeSubKeys({L"one"});
    names = {L"old"};
    machine.failNext("RegQueryInfoKeyW", ERROR_ACCESS_DENIED);

    EXPECT_NO_THROW(key.enumerateSubKeys(names));

    EXPECT_THAT(names, IsEmpty());
    EXPECT_EQ(logText(), "");
}

TEST_F(RegistrySubKeys, NamesOf255AndMoreCharactersAreSkippedAndTheWalkGoesOn) {
    const std::wstring longest(254, L'm');
    makeSubKeys({L"a", longest, std::wstring(255, L'n'), std::wstring(256, L'o'), L"z"});

    key.enumerateSubKeys(names);

    EXPECT_THAT(names, ElementsAre(L"a", longest, L"z"));
    EXPECT_EQ(machine.trace.count("RegEnumKeyExW"), 5U);
    EXPECT_EQ(logText(), "");
}

TEST_F(RegistrySubKeys, AFailureAtAnIndexSkipsThatIndexWithoutALine) {
    makeSubKeys({L"a", L"b", L"c"});
    machine.failNth("RegEnumKeyExW", 2, ERROR_ACCESS_DENIED);

    EXPECT_NO_THROW(key.enumerateSubKeys(names));

    EXPECT_THAT(names, ElementsAre(L"a", L"c"));
    EXPECT_EQ(logText(), "");
}

TEST_F(RegistrySubKeys, OnesThatVanishMeanwhileAreSkipped) {
    makeSubKeys({L"a", L"b", L"c"});
    machine.onCall("RegQueryInfoKeyW",
                   [this] { registry.removeKey(HKEY_LOCAL_MACHINE, std::wstring(kPath) + L"\\c"); });

    key.enumerateSubKeys(names);

    EXPECT_THAT(names, ElementsAre(L"a", L"b"));
    EXPECT_EQ(machine.trace.count("RegEnumKeyExW"), 3U);
}

TEST_F(RegistrySubKeys, OnesThatAppearMeanwhileAreNotAskedFor) {
    makeSubKeys({L"a"});
    machine.onCall("RegQueryInfoKeyW",
                   [this] { registry.makeKey(HKEY_LOCAL_MACHINE, std::wstring(kPath) + L"\\b"); });

    key.enumerateSubKeys(names);

    EXPECT_THAT(names, ElementsAre(L"a"));
}

TEST_F(RegistrySubKeys, NamesKeepEveryCharacter) {
    makeSubKeys({L"S-1-5-21-1000-2000-3000-1001", L"{7C1F0B6E-0001}", L"name with blanks",
                 L"\u00E9\u4E2D"});

    key.enumerateSubKeys(names);

    EXPECT_THAT(names,
                testing::UnorderedElementsAre(L"S-1-5-21-1000-2000-3000-1001", L"{7C1F0B6E-0001}",
                                              L"name with blanks", L"\u00E9\u4E2D"));
}

}  // namespace
