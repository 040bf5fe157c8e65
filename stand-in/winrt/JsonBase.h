#pragma once

#include "../ErrorCodes.h"
#include "JsonObjects.h"
#include "Object.h"

namespace standin {

// Who stands for a JSON value, whatever its interfaces.
class JsonHolder {
public:
    explicit JsonHolder(JsonNodePointer node) : m_node(std::move(node)) {}
    virtual ~JsonHolder() = default;

    const JsonNodePointer& node() const { return m_node; }

protected:
    const JsonNodePointer m_node;
};

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// What every JSON value answers. IJsonValue and IStringable are among its interfaces.
template <typename... Interfaces>
class JsonBase : public RuntimeObject<Interfaces...>, public JsonHolder {
public:
    JsonBase(std::string className, JsonNodePointer value)
        : RuntimeObject<Interfaces...>(std::move(className)), JsonHolder(std::move(value)) {}

    HRESULT STDMETHODCALLTYPE get_ValueType(abi::JsonValueType* type) override {
        return call("IJsonValue::get_ValueType", {}, [&] {
            if (type == nullptr) return E_POINTER;
            *type = m_node->type();
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Stringify(HSTRING* text) override {
        return call("IJsonValue::Stringify", {},
                    [&] { return giveString(stringifyJson(*m_node), text); });
    }
    HRESULT STDMETHODCALLTYPE GetString(HSTRING* value) override {
        return call("IJsonValue::GetString", {}, [&] { return giveJson(m_node, value); });
    }
    HRESULT STDMETHODCALLTYPE GetNumber(DOUBLE* value) override {
        return call("IJsonValue::GetNumber", {}, [&] { return giveJson(m_node, value); });
    }
    HRESULT STDMETHODCALLTYPE GetBoolean(boolean* value) override {
        return call("IJsonValue::GetBoolean", {}, [&] { return giveJson(m_node, value); });
    }
    HRESULT STDMETHODCALLTYPE GetArray(abi::IJsonArray** value) override {
        return call("IJsonValue::GetArray", {}, [&] { return giveJson(m_node, value); });
    }
    HRESULT STDMETHODCALLTYPE GetObject(abi::IJsonObject** value) override {
        return call("IJsonValue::GetObject", {}, [&] { return giveJson(m_node, value); });
    }
    HRESULT STDMETHODCALLTYPE ToString(HSTRING* text) override {
        return call("IStringable::ToString", {},
                    [&] { return giveString(stringifyJson(*m_node), text); });
    }

protected:
    template <typename Body>
    HRESULT call(const char* method, std::initializer_list<std::string> inputs, Body body) {
        return callMethod(this->identity(), method, inputs, body);
    }
};

#pragma GCC diagnostic pop

}  // namespace standin
