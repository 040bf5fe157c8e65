#include "JsonFactories.h"

#include "../ErrorCodes.h"
#include "JsonObjects.h"
#include "Object.h"

namespace standin {

namespace {

// Parses a text that must hold a value of the type of `result`.
template <typename Interface>
HRESULT parseInto(HSTRING input, Interface** result) {
    if (result == nullptr) return E_POINTER;
    JsonNodePointer value;
    const HRESULT parsed = parseJson(textOf(input), value);
    if (FAILED(parsed)) return parsed;
    const HRESULT given = giveJson(value, result);
    return given == E_ILLEGAL_METHOD_CALL ? WEB_E_INVALID_JSON_STRING : given;
}

// A bad text is no failure: `succeeded` tells, and `leftBehind` makes what stands in the result then.
template <typename Interface, typename Made>
HRESULT tryParseInto(HSTRING input, Interface** result, boolean* succeeded, Made leftBehind) {
    if (result == nullptr || succeeded == nullptr) return E_POINTER;
    *succeeded = SUCCEEDED(parseInto(input, result)) ? 1 : 0;
    if (*succeeded == 0) *result = leftBehind();
    return S_OK;
}

// What stands in the result of JsonObject.TryParse after a bad text.
abi::IJsonObject* makeFailedParse() {
    using FailedParse = JsonHabits::FailedParse;
    const FailedParse habit = Machine::get().state.json.failedParse;
    if (habit == FailedParse::Null) return nullptr;
    JsonMembers members;
    if (habit == FailedParse::LeftOver) members.set(L"leftOver", makeNode(true));
    return makeJsonObject(makeNode(std::move(members)));
}

class JsonObjectFactory : public RuntimeObject<IActivationFactory, abi::IJsonObjectStatics> {
public:
    JsonObjectFactory() : RuntimeObject("JsonObjectFactory") {}

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
        return callMethod(identity(), "IActivationFactory::ActivateInstance", {}, [&] {
            if (instance == nullptr) return E_POINTER;
            *instance = makeJsonObject(makeNode(JsonMembers()));
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Parse(HSTRING input, abi::IJsonObject** object) override {
        return callMethod(identity(), "IJsonObjectStatics::Parse", {hstringText(input)},
                          [&] { return parseInto(input, object); });
    }
    HRESULT STDMETHODCALLTYPE TryParse(HSTRING input, abi::IJsonObject** result,
                                       boolean* succeeded) override {
        return callMethod(identity(), "IJsonObjectStatics::TryParse", {hstringText(input)},
                          [&] { return tryParseInto(input, result, succeeded, &makeFailedParse); });
    }
};

class JsonArrayFactory : public RuntimeObject<IActivationFactory, abi::IJsonArrayStatics> {
public:
    JsonArrayFactory() : RuntimeObject("JsonArrayFactory") {}

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
        return callMethod(identity(), "IActivationFactory::ActivateInstance", {}, [&] {
            if (instance == nullptr) return E_POINTER;
            *instance = makeJsonArray(makeNode(JsonNode::Items()));
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Parse(HSTRING input, abi::IJsonArray** array) override {
        return callMethod(identity(), "IJsonArrayStatics::Parse", {hstringText(input)},
                          [&] { return parseInto(input, array); });
    }
    HRESULT STDMETHODCALLTYPE TryParse(HSTRING input, abi::IJsonArray** result,
                                       boolean* succeeded) override {
        return callMethod(identity(), "IJsonArrayStatics::TryParse", {hstringText(input)}, [&] {
            return tryParseInto(input, result, succeeded,
                                [] { return static_cast<abi::IJsonArray*>(nullptr); });
        });
    }
};

class JsonValueFactory
    : public RuntimeObject<IActivationFactory, abi::IJsonValueStatics, abi::IJsonValueStatics2> {
public:
    JsonValueFactory() : RuntimeObject("JsonValueFactory") {}

    // A class without a constructor.
    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable**) override { return E_NOTIMPL; }

    HRESULT STDMETHODCALLTYPE Parse(HSTRING input, abi::IJsonValue** value) override {
        return callMethod(identity(), "IJsonValueStatics::Parse", {hstringText(input)},
                          [&] { return parseInto(input, value); });
    }
    HRESULT STDMETHODCALLTYPE TryParse(HSTRING input, abi::IJsonValue** result,
                                       boolean* succeeded) override {
        return callMethod(identity(), "IJsonValueStatics::TryParse", {hstringText(input)}, [&] {
            return tryParseInto(input, result, succeeded,
                                [] { return static_cast<abi::IJsonValue*>(nullptr); });
        });
    }
    HRESULT STDMETHODCALLTYPE CreateBooleanValue(boolean input, abi::IJsonValue** value) override {
        return callMethod(identity(), "IJsonValueStatics::CreateBooleanValue",
                          {std::to_string(input)},
                          [&] { return giveJson(makeNode(input != 0), value); });
    }
    HRESULT STDMETHODCALLTYPE CreateNumberValue(DOUBLE input, abi::IJsonValue** value) override {
        const JsonNodePointer node = makeNode(input);
        return callMethod(identity(), "IJsonValueStatics::CreateNumberValue", {jsonText(*node)},
                          [&] { return giveJson(node, value); });
    }
    HRESULT STDMETHODCALLTYPE CreateStringValue(HSTRING input, abi::IJsonValue** value) override {
        return callMethod(identity(), "IJsonValueStatics::CreateStringValue", {hstringText(input)},
                          [&] { return giveJson(makeNode(textOf(input)), value); });
    }
    HRESULT STDMETHODCALLTYPE CreateNullValue(abi::IJsonValue** value) override {
        return callMethod(identity(), "IJsonValueStatics2::CreateNullValue", {},
                          [&] { return giveJson(std::make_shared<JsonNode>(), value); });
    }
};

}  // namespace

IActivationFactory* makeJsonObjectFactory() {
    return makeObject<JsonObjectFactory>();
}

IActivationFactory* makeJsonArrayFactory() {
    return makeObject<JsonArrayFactory>();
}

IActivationFactory* makeJsonValueFactory() {
    return makeObject<JsonValueFactory>();
}

}  // namespace standin
