#include "JsonBase.h"

namespace standin {

namespace {

JsonNode::Items& itemsOf(const JsonNodePointer& array) {
    return std::get<JsonNode::Items>(array->content);
}

template <typename Result>
HRESULT giveItem(const JsonNodePointer& array, UINT32 index, Result* result) {
    if (result == nullptr) return E_POINTER;
    const JsonNode::Items& items = itemsOf(array);
    return index < items.size() ? giveJson(items[index], result) : E_BOUNDS;
}

HRESULT giveSize(const JsonNodePointer& array, UINT32* size) {
    if (size == nullptr) return E_POINTER;
    *size = static_cast<UINT32>(itemsOf(array).size());
    return S_OK;
}

// Shows the items as they are at each call.
class VectorView : public RuntimeObject<abi::JsonVectorView> {
public:
    explicit VectorView(JsonNodePointer array)
        : RuntimeObject("JsonVectorView"), m_array(std::move(array)) {}

    HRESULT STDMETHODCALLTYPE GetAt(UINT32 index, abi::IJsonValue** value) override {
        return callMethod(identity(), "IVectorView::GetAt", {std::to_string(index)},
                          [&] { return giveItem(m_array, index, value); });
    }
    HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) override {
        return callMethod(identity(), "IVectorView::get_Size", {},
                          [&] { return giveSize(m_array, size); });
    }
    HRESULT STDMETHODCALLTYPE IndexOf(abi::IJsonValue*, UINT32*, boolean*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetMany(UINT32, UINT32, abi::IJsonValue**, UINT32*) override {
        return E_NOTIMPL;
    }

private:
    const JsonNodePointer m_array;
};

class JsonArray
    : public JsonBase<abi::IJsonArray, abi::IJsonValue, abi::JsonVector, abi::JsonValues, abi::IStringable> {
public:
    explicit JsonArray(JsonNodePointer value) : JsonBase("JsonArray", std::move(value)) {}

    HRESULT STDMETHODCALLTYPE GetObjectAt(UINT32 index, abi::IJsonObject** value) override {
        return getAt("IJsonArray::GetObjectAt", index, value);
    }
    HRESULT STDMETHODCALLTYPE GetArrayAt(UINT32 index, abi::IJsonArray** value) override {
        return getAt("IJsonArray::GetArrayAt", index, value);
    }
    HRESULT STDMETHODCALLTYPE GetStringAt(UINT32 index, HSTRING* value) override {
        return getAt("IJsonArray::GetStringAt", index, value);
    }
    HRESULT STDMETHODCALLTYPE GetNumberAt(UINT32 index, DOUBLE* value) override {
        return getAt("IJsonArray::GetNumberAt", index, value);
    }
    HRESULT STDMETHODCALLTYPE GetBooleanAt(UINT32 index, boolean* value) override {
        return getAt("IJsonArray::GetBooleanAt", index, value);
    }

    HRESULT STDMETHODCALLTYPE GetAt(UINT32 index, abi::IJsonValue** value) override {
        return getAt("IVector::GetAt", index, value);
    }
    HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) override {
        return call("IVector::get_Size", {}, [&] { return giveSize(m_node, size); });
    }
    HRESULT STDMETHODCALLTYPE GetView(abi::JsonVectorView** view) override {
        return call("IVector::GetView", {}, [&] {
            if (view == nullptr) return E_POINTER;
            *view = makeObject<VectorView>(m_node);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Append(abi::IJsonValue* value) override {
        return call("IVector::Append", {jsonText(value)}, [&] {
            const JsonNodePointer item = nodeOf(value);
            if (item == nullptr) return E_POINTER;
            itemsOf(m_node).push_back(item);
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE IndexOf(abi::IJsonValue*, UINT32*, boolean*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE SetAt(UINT32, abi::IJsonValue*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE InsertAt(UINT32, abi::IJsonValue*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RemoveAt(UINT32) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE RemoveAtEnd() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Clear() override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMany(UINT32, UINT32, abi::IJsonValue**, UINT32*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE ReplaceAll(UINT32, abi::IJsonValue**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE First(abi::IIterator<abi::IJsonValue*>**) override {
        return E_NOTIMPL;
    }

private:
    template <typename Result>
    HRESULT getAt(const char* method, UINT32 index, Result* result) {
        return call(method, {std::to_string(index)}, [&] { return giveItem(m_node, index, result); });
    }
};

}  // namespace

abi::IJsonArray* makeJsonArray(JsonNodePointer node) {
    return makeObject<JsonArray>(std::move(node));
}

}  // namespace standin
