#pragma once

#include "contract/RuntimeClass.h"
#include "support/MachineTest.h"

constexpr wchar_t kJsonObject[] = L"Windows.Data.Json.JsonObject";
constexpr wchar_t kJsonArray[] = L"Windows.Data.Json.JsonArray";
constexpr wchar_t kJsonValue[] = L"Windows.Data.Json.JsonValue";

constexpr GUID kIJsonValue = {
    0xa3219ecb, 0xf0b3, 0x4dcd, {0xbe, 0xee, 0x19, 0xd4, 0x8c, 0xd3, 0xed, 0x1e}};
constexpr GUID kIJsonValueStatics = {
    0x5f6b544a, 0x2f53, 0x48e1, {0x91, 0xa3, 0xf7, 0x8b, 0x50, 0xa6, 0x34, 0x5c}};
constexpr GUID kIJsonValueStatics2 = {
    0x1d9ecbe4, 0x3fe8, 0x4335, {0x83, 0x92, 0x93, 0xd8, 0xe3, 0x68, 0x65, 0xf0}};
constexpr GUID kIJsonObject = {
    0x064e24dd, 0x29c2, 0x4f83, {0x9a, 0xc1, 0x9e, 0xe1, 0x15, 0x78, 0xbe, 0xb3}};
constexpr GUID kIJsonObjectStatics = {
    0x2289f159, 0x54de, 0x45d8, {0xab, 0xcc, 0x22, 0x60, 0x3f, 0xa0, 0x66, 0xa0}};
constexpr GUID kIJsonArray = {
    0x08c1ddb6, 0x0cbd, 0x4a9a, {0xb5, 0xd3, 0x2f, 0x85, 0x2d, 0xc3, 0x7e, 0x81}};
constexpr GUID kIJsonArrayStatics = {
    0xdb1434a9, 0xe164, 0x499f, {0x93, 0xe2, 0x8a, 0x8f, 0x49, 0xbb, 0x90, 0xba}};
constexpr GUID kJsonMap = {
    0xc9d9a725, 0x786b, 0x5113, {0xb4, 0xb7, 0x9b, 0x61, 0x76, 0x4c, 0x22, 0x0b}};
constexpr GUID kJsonVector = {
    0xd44662bc, 0xdce3, 0x59a8, {0x92, 0x72, 0x4b, 0x21, 0x0f, 0x33, 0x90, 0x8b}};

constexpr HRESULT kOutOfBounds = static_cast<HRESULT>(0x8000000B);
constexpr HRESULT kIllegalMethodCall = static_cast<HRESULT>(0x8000000E);
constexpr HRESULT kInvalidJsonString = static_cast<HRESULT>(0x83750007);
constexpr HRESULT kInvalidJsonNumber = static_cast<HRESULT>(0x83750008);
constexpr HRESULT kJsonValueNotFound = static_cast<HRESULT>(0x83750009);

// Windows.Data.Json, on the machine.
class JsonTest : public MachineTest {
protected:
    JsonTest() { ::CoInitializeEx(nullptr, COINIT_MULTITHREADED); }
    ~JsonTest() override { ::CoUninitialize(); }

    // A new object or array, by its default interface.
    static Reference activate(std::wstring_view className, const GUID& iid) {
        Reference instance;
        EXPECT_EQ(factoryOf(className, __uuidof(IActivationFactory)).call<6>(instance.put()), S_OK);
        return instance.as(iid);
    }

    // The IJsonObject of an object's text, which is right.
    static Reference parseObject(std::wstring_view text) {
        const Text input(text);
        Reference object;
        EXPECT_EQ(factoryOf(kJsonObject, kIJsonObjectStatics).call<6>(input.get(), object.put()),
                  S_OK);
        return object;
    }

    // What JsonValue.Parse says of a text.
    static HRESULT resultOfParsing(std::wstring_view text) {
        const Text input(text);
        Reference value;
        return factoryOf(kJsonValue, kIJsonValueStatics).call<6>(input.get(), value.put());
    }

    static Reference makeString(std::wstring_view text) {
        const Text input(text);
        Reference value;
        EXPECT_EQ(factoryOf(kJsonValue, kIJsonValueStatics).call<10>(input.get(), value.put()), S_OK);
        return value;
    }
    static Reference makeNumber(double number) {
        Reference value;
        EXPECT_EQ(factoryOf(kJsonValue, kIJsonValueStatics).call<9>(number, value.put()), S_OK);
        return value;
    }

    static std::wstring stringify(const Reference& value) {
        return textAt<7>(value.as(kIJsonValue));
    }
};
