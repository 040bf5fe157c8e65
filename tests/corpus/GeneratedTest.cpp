#include "corpus/GeneratedTest.h"
#include "corpus/Models.h"
#include "migration/PathHelpers.h"
#include "run/RegistryKey.h"
#include "stand-in/Text.h"
#include "users/UserProfiles.h"

namespace {

using standin::toUtf8;

std::wstring someText(Chance& chance, const std::vector<std::wstring>& pieces, size_t most) {
    std::wstring text;
    for (size_t count = chance.below(most + 1); count > 0; --count)
        text += chance.of(pieces);
    return text;
}

TEST_F(GeneratedTest, PathsAreJoinedAsTheModelJoinsThem) {
    const std::vector<std::wstring> names = {L"a",
                                             L"b c",
                                             L"\u00FC",
                                             L"..",
                                             L".",
                                             L"d.e",
                                             L"f.",
                                             L"...",
                                             L"g",
                                             L".h",
                                             std::wstring(60, L'l')};
    forEachCase([&](Chance& chance) {
        const auto somePath = [&](size_t most) {
            std::wstring path;
            for (size_t count = 1 + chance.below(most); count > 0; --count)
                path += (path.empty() ? L"" : L"\\") + chance.of(names);
            return path;
        };
        std::wstring first = L"C:\\" + somePath(4);
        if (chance.oneIn(4)) first += std::wstring(chance.below(260), L'x');
        first.resize(std::min<size_t>(first.size(), 259));
        std::vector<std::wstring> components = {somePath(3), somePath(2)};
        for (std::wstring& component : components) {
            if (chance.oneIn(8)) component = L"\\" + component;
            if (chance.oneIn(16)) component = L"D:\\" + component;
        }
        wchar_t buffer[260] = {};

        joinPath(buffer, first.c_str(), components[0].c_str(), components[1].c_str());

        EXPECT_EQ(toUtf8(buffer), toUtf8(model::joined(first, components)))
            << toUtf8(first) << " + " << toUtf8(components[0]) << " + " << toUtf8(components[1]);
    });
}

TEST_F(GeneratedTest, ProfilesAreReplacedAsTheModelReplacesThem) {
    const std::vector<std::wstring> pieces = {
        L"C:\\", L"Users\\", L"anna", L"\\", L"AppData\\",  L"Windows\\", L"s",
        L"e",    L"r",       L"x",    L"D:", L"\\\\server", L"",          L"\u4E2D"};
    forEachCase([&](Chance& chance) {
        const bool isEnterprise = chance.oneIn(2);
        const std::wstring current = someText(chance, pieces, 4);
        const std::wstring profile = chance.oneIn(8) ? current : someText(chance, pieces, 4);
        const std::wstring folder = chance.oneIn(3) ? current + someText(chance, pieces, 4)
                                                    : someText(chance, pieces, 8);
        const auto [expected, lines] = model::withProfile(isEnterprise, current, profile, folder);
        std::wstring actual = folder;

        replaceProfilePrefix(isEnterprise, current, profile, actual);

        EXPECT_EQ(toUtf8(actual), toUtf8(expected)) << isEnterprise << " " << toUtf8(current) << ", "
                                                    << toUtf8(profile) << ", " << toUtf8(folder);
        EXPECT_EQ(newLines(), lines);
    });
}

TEST_F(GeneratedTest, RegistryValuesAreReadAsTheModelReadsThem) {
    constexpr wchar_t kKey[] = L"SOFTWARE\\Generated";
    ::SetEnvironmentVariableW(L"CORPUS", L"expanded text");
    const RegistryKey key(HKEY_LOCAL_MACHINE, kKey);
    const std::wstring pieces[] = {L"a",        L"C:\\Users", L"\u4E2D",
                                   L"%CORPUS%", L" ",         std::wstring(1, L'\0')};
    forEachCase([&](Chance& chance) {
        model::StoredValue value = {static_cast<unsigned long>(chance.below(13)), {}};
        std::wstring text;
        for (size_t count = chance.below(8); count > 0; --count)
            text += chance.of(pieces);
        if (chance.oneIn(2)) text += L'\0';
        value.bytes.assign(reinterpret_cast<const char*>(text.data()), text.size() * 2);
        // Some of it may be missing, and an odd byte may be left.
        if (chance.oneIn(3)) value.bytes.resize(chance.below(value.bytes.size() + 1));
        // Expanding ends at 64 KiB.
        if (chance.oneIn(200))
            value.bytes.append(value.type == REG_EXPAND_SZ ? 50'000 : 65'536, 'x');
        registry.setValue(HKEY_LOCAL_MACHINE, kKey, L"value", {value.type, value.bytes});
        const bool asText = chance.oneIn(2);
        const auto expected = model::textOf(value, asText, {L"CORPUS", L"expanded text"});

        std::optional<std::wstring> actual;
        try {
            actual = readText(key, L"value", asText ? RRF_RT_REG_SZ : RRF_RT_ANY);
        } catch (const std::exception&) {
            EXPECT_EQ(
                newLines(),
                std::vector<std::wstring>{
                    L"Exception while reading value size of value \"value\" with ErrorCode 1630."});
        }

        ASSERT_EQ(actual.has_value(), expected.has_value()) << "type " << value.type;
        EXPECT_EQ(toUtf8(actual.value_or(L"")), toUtf8(expected.value_or(L"")))
            << "type " << value.type << ::testing::PrintToString(value.bytes);
        EXPECT_THAT(newLines(), ::testing::IsEmpty());
    });
}

}  // namespace
