#include <utility>

#include "contract/JsonTest.h"

namespace {

using JsonParsingTest = JsonTest;

struct Row {
    const wchar_t* text;
    const wchar_t* stringified;
};

TEST_F(JsonParsingTest, RightTextIsTaken) {
    const Row rows[] = {
        {L"{}", L"{}"},
        {L"[]", L"[]"},
        {L" \t\r\n{ \"a\" :\t1 ,\r\n\"b\": [ 1 , 2 ] } \n", L"{\"a\":1,\"b\":[1,2]}"},
        {L"null", L"null"},
        {L"true", L"true"},
        {L"false", L"false"},
        {L"\"\"", L"\"\""},
        {L"\"\\\"\\\\\\/\\b\\f\\n\\r\\t\"", L"\"\\\"\\\\/\\b\\f\\n\\r\\t\""},
        {L"\"\\u0041\\u00e9\\uD83D\\ude00\"", L"\"A\u00e9\xD83D\xDE00\""},
        {L"\"\u00e9\u4e2d\xD83D\xDE00\"", L"\"\u00e9\u4e2d\xD83D\xDE00\""},
        {L"\"\\u0000\"", L"\"\\u0000\""},
        {L"\"\\uD800 \xDC00 alone\"", L"\"\xD800 \xDC00 alone\""},
        {L"0", L"0"},
        {L"-1", L"-1"},
        {L"1.0", L"1"},
        {L"1e3", L"1000"},
        {L"0.5", L"0.5"},
        {L"-2.5E-1", L"-0.25"},
        {L"{\"a\":1,\"b\":2,\"a\":3}", L"{\"a\":3,\"b\":2}"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(row.text)));
        const Text input(row.text);
        Reference value;

        const HRESULT result =
            factoryOf(kJsonValue, kIJsonValueStatics).call<6>(input.get(), value.put());

        ASSERT_EQ(result, S_OK);
        EXPECT_EQ(textAt<7>(value), row.stringified);
    }
}

TEST_F(JsonParsingTest, BadTextIsRefused) {
    using namespace std::string_view_literals;
    const std::wstring_view texts[] = {
        L"",
        L" ",
        L"{",
        L"[1",
        L"\"open",
        L"{}}",
        L"{} x",
        L"{}{}",
        L"{},",
        L"[1,]",
        L"{\"a\":1,}",
        L"[1 2]",
        L"{\"a\" 1}",
        L"{\"a\":1 \"b\":2}",
        L"{a:1}",
        L"{'a':1}",
        L"{1:1}",
        L"TRUE",
        L"Null",
        L"nul",
        L"\v{}",
        L"{}\f",
        L"\u00A0{}",
        L"\uFEFF{}",
        L"\"\n\"",
        L"\"\x1F\"",
        L"\"\\x\"",
        L"\"\\u12\"",
        L"\"\\u12G4\"",
        L"+1",
        L"01",
        L"1.",
        L".5",
        L"-",
        L"0x10",
        L"1e",
        L"// no\n{}",
        L"{}\0"sv,
        L"\0"sv,
        L"\"\0\""sv,
    };
    for (const std::wstring_view text : texts) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(text)));

        EXPECT_EQ(resultOfParsing(text), kInvalidJsonString);
    }
}

TEST_F(JsonParsingTest, NumbersBeyondADoubleAreRefusedEitherWay) {
    for (const wchar_t* text : {L"1e999", L"-1e999", L"1e-999", L"-1.5e-999", L"[1e400]"}) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(text)));

        EXPECT_EQ(resultOfParsing(text), kInvalidJsonNumber);
    }
    EXPECT_EQ(resultOfParsing(L"1.7976931348623157e308"), S_OK);
    EXPECT_EQ(resultOfParsing(L"0e-999"), S_OK);
    EXPECT_EQ(resultOfParsing(L"123456789012345678901234567890"), S_OK);
}

TEST_F(JsonParsingTest, MoreThan1024NestedContainersAreRefused) {
    const auto nested = [](size_t depth) {
        return std::wstring(depth, L'[') + std::wstring(depth, L']');
    };

    EXPECT_EQ(resultOfParsing(nested(1024)), S_OK);
    EXPECT_NE(resultOfParsing(nested(1025)), S_OK);
    EXPECT_NE(resultOfParsing(std::wstring(1000000, L'[')), S_OK);
}

TEST_F(JsonParsingTest, EachClassTakesItsOwnKindAlone) {
    const Reference objects = factoryOf(kJsonObject, kIJsonObjectStatics);
    const Reference arrays = factoryOf(kJsonArray, kIJsonArrayStatics);
    const Text object(L"{}");
    const Text array(L"[]");
    const Text string(L"\"{}\"");
    Reference result;

    EXPECT_EQ(objects.call<6>(array.get(), result.put()), kInvalidJsonString);
    EXPECT_EQ(objects.call<6>(string.get(), result.put()), kInvalidJsonString);
    EXPECT_EQ(arrays.call<6>(object.get(), result.put()), kInvalidJsonString);
    EXPECT_EQ(result.get(), nullptr);
}

TEST_F(JsonParsingTest, ParsingWithoutAPlaceForTheResultIsRefused) {
    const Text input(L"{}");
    const Reference statics = factoryOf(kJsonObject, kIJsonObjectStatics);
    Reference result;
    boolean succeeded = 0;

    EXPECT_EQ(statics.call<6>(input.get(), static_cast<void**>(nullptr)), E_POINTER);
    EXPECT_EQ(statics.call<7>(input.get(), static_cast<void**>(nullptr), &succeeded), E_POINTER);
    EXPECT_EQ(statics.call<7>(input.get(), result.put(), static_cast<boolean*>(nullptr)), E_POINTER);
}

TEST_F(JsonParsingTest, TryParseSucceedsWithTheObject) {
    const Text input(L"{\"a\":1}");
    Reference result;
    boolean succeeded = 0;

    EXPECT_EQ(
        factoryOf(kJsonObject, kIJsonObjectStatics).call<7>(input.get(), result.put(), &succeeded),
        S_OK);

    EXPECT_EQ(succeeded, 1);
    EXPECT_EQ(stringify(result), L"{\"a\":1}");
}

TEST_F(JsonParsingTest, TryParseOfBadTextIsNoFailure) {
    for (const wchar_t* text : {L"", L"{", L"[]", L"{\"a\":1e999}"}) {
        const Text input(text);
        Reference result;
        boolean succeeded = 1;

        EXPECT_EQ(
            factoryOf(kJsonObject, kIJsonObjectStatics).call<7>(input.get(), result.put(), &succeeded),
            S_OK);

        EXPECT_EQ(succeeded, 0);
        EXPECT_EQ(stringify(result), L"{}");
    }
}

TEST_F(JsonParsingTest, TryParseOfBadTextHandsBackWhatTheMachineIsToldTo) {
    using FailedParse = standin::JsonHabits::FailedParse;
    const Text input(L"bad");
    const Reference statics = factoryOf(kJsonObject, kIJsonObjectStatics);
    Reference none;
    Reference leftOver;
    boolean succeeded = 1;

    machine.state.json.failedParse = FailedParse::Null;
    EXPECT_EQ(statics.call<7>(input.get(), none.put(), &succeeded), S_OK);
    machine.state.json.failedParse = FailedParse::LeftOver;
    EXPECT_EQ(statics.call<7>(input.get(), leftOver.put(), &succeeded), S_OK);

    EXPECT_EQ(succeeded, 0);
    EXPECT_EQ(none.get(), nullptr);
    EXPECT_EQ(stringify(leftOver), L"{\"leftOver\":true}");
}

TEST_F(JsonParsingTest, TenMillionUnitsAreTaken) {
    const std::wstring text = L"\"" + std::wstring(10'000'000, L'\u00e9') + L"\"";

    EXPECT_EQ(resultOfParsing(text), S_OK);
}

}  // namespace
