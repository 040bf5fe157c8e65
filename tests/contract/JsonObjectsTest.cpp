#include <limits>

#include "contract/JsonTest.h"

using ::testing::ElementsAre;

namespace {

using JsonObjectsTest = JsonTest;

TEST_F(JsonObjectsTest, FactoriesAnswerForTheirOwnInterfacesAlone) {
    struct Row {
        const wchar_t* className;
        GUID iid;
        bool isThere;
    };
    const Row rows[] = {
        {kJsonObject, __uuidof(IUnknown), true},
        {kJsonObject, __uuidof(IInspectable), true},
        {kJsonObject, __uuidof(IAgileObject), true},
        {kJsonObject, __uuidof(IActivationFactory), true},
        {kJsonObject, kIJsonObjectStatics, true},
        {kJsonObject, kIJsonArrayStatics, false},
        {kJsonObject, kIJsonObject, false},
        {kJsonArray, __uuidof(IActivationFactory), true},
        {kJsonArray, kIJsonArrayStatics, true},
        {kJsonArray, kIJsonArray, false},
        {kJsonValue, __uuidof(IActivationFactory), true},
        {kJsonValue, kIJsonValueStatics, true},
        {kJsonValue, kIJsonValueStatics2, true},
        {kJsonValue, kIJsonObjectStatics, false},
        {kJsonValue, kIJsonValue, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(::testing::PrintToString(std::wstring(row.className)));
        const Text name(row.className);
        Reference factory;

        const HRESULT result = ::RoGetActivationFactory(name.get(), row.iid, factory.put());

        EXPECT_EQ(result, row.isThere ? S_OK : E_NOINTERFACE);
        EXPECT_EQ(factory.get() != nullptr, row.isThere);
    }
}

TEST_F(JsonObjectsTest, InstancesAnswerForTheirOwnInterfacesAlone) {
    const Reference object = activate(kJsonObject, kIJsonObject);
    const Reference array = activate(kJsonArray, kIJsonArray);
    const Reference string = makeString(L"a");

    for (const Reference* one : {&object, &array, &string})
        EXPECT_NE(one->as(kIJsonValue).get(), nullptr);
    EXPECT_NE(object.as(kJsonMap).get(), nullptr);
    EXPECT_EQ(object.as(kJsonVector).get(), nullptr);
    EXPECT_EQ(object.as(kIJsonArray).get(), nullptr);
    EXPECT_NE(array.as(kJsonVector).get(), nullptr);
    EXPECT_EQ(array.as(kJsonMap).get(), nullptr);
    EXPECT_EQ(array.as(kIJsonObject).get(), nullptr);
    EXPECT_EQ(string.as(kIJsonObject).get(), nullptr);
    EXPECT_EQ(string.as(kIJsonValueStatics).get(), nullptr);
}

TEST_F(JsonObjectsTest, JsonValueHasNoConstructor) {
    Reference instance;

    EXPECT_EQ(factoryOf(kJsonValue, __uuidof(IActivationFactory)).call<6>(instance.put()), E_NOTIMPL);
}

TEST_F(JsonObjectsTest, ActivationGivesTheObjectAtOnceToo) {
    const Text name(kJsonObject);
    Reference instance;

    EXPECT_EQ(::RoActivateInstance(name.get(), reinterpret_cast<IInspectable**>(instance.put())),
              S_OK);

    EXPECT_EQ(stringify(instance), L"{}");
}

TEST_F(JsonObjectsTest, NamedValuesAreReadByTheirType) {
    const Reference object = parseObject(
        L"{\"o\":{\"x\":1},\"a\":[true],\"s\":\"text\",\"n\":2.5,\"b\":true,\"null\":null}");
    const Text o(L"o");
    const Text a(L"a");
    const Text s(L"s");
    const Text n(L"n");
    const Text b(L"b");
    const Text null(L"null");
    Reference inner;
    Reference array;
    Reference value;
    double number = 0;
    boolean isTrue = 0;
    INT32 type = 99;

    EXPECT_EQ(object.call<6>(null.get(), value.put()), S_OK);
    EXPECT_EQ(value.call<6>(&type), S_OK);
    EXPECT_EQ(type, 0);
    EXPECT_EQ(object.call<8>(o.get(), inner.put()), S_OK);
    EXPECT_EQ(stringify(inner), L"{\"x\":1}");
    EXPECT_EQ(object.call<9>(a.get(), array.put()), S_OK);
    EXPECT_EQ(array.call<10>(UINT32{0}, &isTrue), S_OK);
    EXPECT_EQ(isTrue, 1);
    EXPECT_EQ(textAt<10>(object, s.get()), L"text");
    EXPECT_EQ(object.call<11>(n.get(), &number), S_OK);
    EXPECT_EQ(number, 2.5);
    EXPECT_EQ(object.call<12>(b.get(), &isTrue), S_OK);
    EXPECT_EQ(isTrue, 1);
}

TEST_F(JsonObjectsTest, MissingNamesAndWrongTypesHaveTheirOwnErrors) {
    const Reference object = parseObject(L"{\"s\":\"text\",\"n\":1,\"null\":null}");
    const Text missing(L"S");  // names are compared with regard to case
    const Text s(L"s");
    const Text n(L"n");
    const Text null(L"null");
    Reference result;
    HSTRING string = nullptr;
    double number = 0;
    boolean isTrue = 0;

    EXPECT_EQ(object.call<6>(missing.get(), result.put()), kJsonValueNotFound);
    EXPECT_EQ(object.call<8>(missing.get(), result.put()), kJsonValueNotFound);
    EXPECT_EQ(object.call<10>(HSTRING{nullptr}, &string), kJsonValueNotFound);
    EXPECT_EQ(object.call<8>(s.get(), result.put()), kIllegalMethodCall);
    EXPECT_EQ(object.call<8>(null.get(), result.put()), kIllegalMethodCall);
    EXPECT_EQ(object.call<9>(s.get(), result.put()), kIllegalMethodCall);
    EXPECT_EQ(object.call<10>(n.get(), &string), kIllegalMethodCall);
    EXPECT_EQ(object.call<11>(s.get(), &number), kIllegalMethodCall);
    EXPECT_EQ(object.call<12>(n.get(), &isTrue), kIllegalMethodCall);
    EXPECT_EQ(result.get(), nullptr);
    EXPECT_EQ(string, nullptr);
}

TEST_F(JsonObjectsTest, ReadingWithoutAPlaceForTheResultIsRefused) {
    const Reference object = parseObject(L"{\"s\":\"text\"}");
    const Text s(L"s");

    EXPECT_EQ(object.call<6>(s.get(), static_cast<void**>(nullptr)), E_POINTER);
    EXPECT_EQ(object.call<10>(s.get(), static_cast<HSTRING*>(nullptr)), E_POINTER);
    EXPECT_EQ(object.call<11>(s.get(), static_cast<double*>(nullptr)), E_POINTER);
    EXPECT_EQ(object.as(kIJsonValue).call<7>(static_cast<HSTRING*>(nullptr)), E_POINTER);
}

TEST_F(JsonObjectsTest, ValueGettersAnswerForTheirOwnTypeAlone) {
    const Reference string = makeString(L"text");
    double number = 0;
    boolean isTrue = 0;
    Reference other;

    EXPECT_EQ(textAt<8>(string), L"text");
    EXPECT_EQ(string.call<9>(&number), kIllegalMethodCall);
    EXPECT_EQ(string.call<10>(&isTrue), kIllegalMethodCall);
    EXPECT_EQ(string.call<11>(other.put()), kIllegalMethodCall);
    EXPECT_EQ(string.call<12>(other.put()), kIllegalMethodCall);
    EXPECT_EQ(makeNumber(1.5).call<9>(&number), S_OK);
    EXPECT_EQ(number, 1.5);
}

TEST_F(JsonObjectsTest, AStringValueOfANullStringIsTheEmptyText) {
    Reference value;
    INT32 type = 0;

    EXPECT_EQ(factoryOf(kJsonValue, kIJsonValueStatics).call<10>(HSTRING{nullptr}, value.put()),
              S_OK);

    EXPECT_EQ(value.call<6>(&type), S_OK);
    EXPECT_EQ(type, 3);
    EXPECT_EQ(textAt<7>(value), L"\"\"");
}

TEST_F(JsonObjectsTest, NumbersAreWrittenWithoutNeedlessDigits) {
    EXPECT_EQ(textAt<7>(makeNumber(0)), L"0");
    EXPECT_EQ(textAt<7>(makeNumber(2)), L"2");
    EXPECT_EQ(textAt<7>(makeNumber(-7)), L"-7");
    EXPECT_EQ(textAt<7>(makeNumber(0.1)), L"0.1");
}

TEST_F(JsonObjectsTest, SettingAnExistingNameReplacesItsValueInPlace) {
    const Reference object = parseObject(L"{\"a\":1,\"b\":2}");
    const Text a(L"a");
    const Text c(L"c");

    EXPECT_EQ(object.call<7>(a.get(), makeString(L"new").get()), S_OK);
    EXPECT_EQ(object.call<7>(c.get(), makeNumber(3).get()), S_OK);
    EXPECT_EQ(object.call<7>(c.get(), static_cast<void*>(nullptr)), E_POINTER);

    EXPECT_EQ(stringify(object), L"{\"a\":\"new\",\"b\":2,\"c\":3}");
}

TEST_F(JsonObjectsTest, AnObjectSetInAnotherIsTheSameObject) {
    const Reference outer = activate(kJsonObject, kIJsonObject);
    const Reference inner = activate(kJsonObject, kIJsonObject);
    const Text name(L"inner");
    const Text a(L"a");

    EXPECT_EQ(outer.call<7>(name.get(), inner.as(kIJsonValue).get()), S_OK);
    EXPECT_EQ(inner.call<7>(a.get(), makeNumber(1).get()), S_OK);

    EXPECT_EQ(stringify(outer), L"{\"inner\":{\"a\":1}}");
}

TEST_F(JsonObjectsTest, MembersCanBeWrittenInAnotherOrder) {
    const Reference object = parseObject(L"{\"a\":1,\"b\":{\"x\":1,\"y\":[1,2]}}");

    machine.state.json.reversesKeys = true;

    EXPECT_EQ(stringify(object), L"{\"b\":{\"y\":[1,2],\"x\":1},\"a\":1}");
}

TEST_F(JsonObjectsTest, MapAndItsViewKnowTheNames) {
    const Reference object = parseObject(L"{\"a\":1}");
    const Reference map = object.as(kJsonMap);
    const Text a(L"a");
    const Text b(L"b");
    Reference view;
    boolean found = 9;
    UINT32 size = 9;
    Reference value;

    EXPECT_EQ(map.call<9>(view.put()), S_OK);
    EXPECT_EQ(view.call<8>(a.get(), &found), S_OK);
    EXPECT_EQ(found, 1);
    EXPECT_EQ(view.call<8>(b.get(), &found), S_OK);
    EXPECT_EQ(found, 0);
    EXPECT_EQ(view.call<8>(b.get(), static_cast<boolean*>(nullptr)), E_POINTER);
    EXPECT_EQ(view.call<7>(&size), S_OK);
    EXPECT_EQ(size, 1u);
    EXPECT_EQ(view.call<6>(b.get(), value.put()), kOutOfBounds);
    EXPECT_EQ(view.call<6>(a.get(), value.put()), S_OK);
    EXPECT_EQ(stringify(value), L"1");
}

TEST_F(JsonObjectsTest, MapInsertsAndRemoves) {
    const Reference object = parseObject(L"{\"a\":1,\"b\":2,\"c\":3}");
    const Reference map = object.as(kJsonMap);
    const Text a(L"a");
    const Text b(L"b");
    const Text c(L"c");
    boolean replaced = 9;

    EXPECT_EQ(map.call<11>(a.get()), S_OK);
    EXPECT_EQ(map.call<11>(a.get()), kOutOfBounds);
    EXPECT_EQ(map.call<10>(c.get(), makeNumber(4).get(), &replaced), S_OK);
    EXPECT_EQ(replaced, 1);
    EXPECT_EQ(map.call<10>(a.get(), makeNumber(5).get(), &replaced), S_OK);
    EXPECT_EQ(replaced, 0);
    EXPECT_EQ(stringify(object), L"{\"b\":2,\"c\":4,\"a\":5}");
    EXPECT_EQ(map.call<12>(), S_OK);
    EXPECT_EQ(stringify(object), L"{}");
}

TEST_F(JsonObjectsTest, ArraysGrowAndAreReadByIndex) {
    const Reference array = activate(kJsonArray, kIJsonArray);
    const Reference vector = array.as(kJsonVector);
    Reference view;
    UINT32 size = 0;
    double number = 0;
    Reference value;

    EXPECT_EQ(vector.call<13>(makeString(L"a").get()), S_OK);
    EXPECT_EQ(vector.call<13>(makeNumber(2).get()), S_OK);
    EXPECT_EQ(vector.call<13>(static_cast<void*>(nullptr)), E_POINTER);

    EXPECT_EQ(stringify(array), L"[\"a\",2]");
    EXPECT_EQ(vector.call<7>(&size), S_OK);
    EXPECT_EQ(size, 2u);
    EXPECT_EQ(textAt<8>(array, UINT32{0}), L"a");
    EXPECT_EQ(array.call<9>(UINT32{1}, &number), S_OK);
    EXPECT_EQ(number, 2);
    EXPECT_EQ(array.call<9>(UINT32{0}, &number), kIllegalMethodCall);
    EXPECT_EQ(array.call<9>(UINT32{2}, &number), kOutOfBounds);
    EXPECT_EQ(vector.call<6>(UINT32{2}, value.put()), kOutOfBounds);
    EXPECT_EQ(vector.call<8>(view.put()), S_OK);
    EXPECT_EQ(view.call<7>(&size), S_OK);
    EXPECT_EQ(size, 2u);
}

TEST_F(JsonObjectsTest, CallsAreTracedAndCanFail) {
    const Reference object = parseObject(L"{\"a\":\"x\"}");
    const Text a(L"a");
    machine.failNext("IJsonObject::GetNamedString", static_cast<DWORD>(E_ACCESSDENIED));

    EXPECT_EQ(textAt<10>(object, a.get()), L"failed");
    EXPECT_EQ(textAt<10>(object, a.get()), L"x");

    EXPECT_THAT(
        machine.calls({"IJsonObject::GetNamedString", "IJsonObjectStatics::Parse"}),
        ElementsAre(R"(IJsonObjectStatics::Parse(JsonObjectFactory#1, "{"a":"x"}") = 0)",
                    R"(IJsonObject::GetNamedString(JsonObject#1, "a") = 0x80070005 (injected))",
                    R"(IJsonObject::GetNamedString(JsonObject#1, "a") = 0)"));
}

TEST_F(JsonObjectsTest, AnObjectThatIsNotReleasedIsALeak) {
    Reference object = parseObject(L"{}");
    static_cast<IUnknown*>(object.get())->AddRef();

    mounted.expectLeaks({"JsonObject#1"});
}

TEST_F(JsonObjectsTest, UseOfAReleasedNameIsNoted) {
    const Reference object = parseObject(L"{}");
    HSTRING name = nullptr;
    ::WindowsCreateString(L"a", 1, &name);
    ::WindowsDeleteString(name);
    Reference value;

    object.call<6>(name, value.put());

    EXPECT_EQ(machine.ledger.misuse().size(), 1u);
    mounted.expectMisuse(machine.ledger.misuse());
}

}  // namespace
