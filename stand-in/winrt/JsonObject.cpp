#include "JsonBase.h"

namespace standin {

namespace {

JsonMembers& membersOf(const JsonNodePointer& object) {
    return std::get<JsonMembers>(object->content);
}

template <typename Result>
HRESULT giveMember(const JsonNodePointer& object, HSTRING name, Result* result, HRESULT missing) {
    if (result == nullptr) return E_POINTER;
    const JsonNodePointer member = membersOf(object).find(textOf(name));
    return member == nullptr ? missing : giveJson(member, result);
}

HRESULT giveSize(const JsonNodePointer& object, UINT32* size) {
    if (size == nullptr) return E_POINTER;
    *size = static_cast<UINT32>(membersOf(object).all().size());
    return S_OK;
}

HRESULT giveIsThere(const JsonNodePointer& object, HSTRING name, boolean* found) {
    if (found == nullptr) return E_POINTER;
    *found = membersOf(object).find(textOf(name)) == nullptr ? 0 : 1;
    return S_OK;
}

// Shows the members as they are at each call.
class MapView : public RuntimeObject<abi::JsonMapView> {
public:
    explicit MapView(JsonNodePointer object)
        : RuntimeObject("JsonMapView"), m_object(std::move(object)) {}

    HRESULT STDMETHODCALLTYPE Lookup(HSTRING name, abi::IJsonValue** value) override {
        return callMethod(identity(), "IMapView::Lookup", {hstringText(name)},
                          [&] { return giveMember(m_object, name, value, E_BOUNDS); });
    }
    HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) override {
        return callMethod(identity(), "IMapView::get_Size", {},
                          [&] { return giveSize(m_object, size); });
    }
    HRESULT STDMETHODCALLTYPE HasKey(HSTRING name, boolean* found) override {
        return callMethod(identity(), "IMapView::HasKey", {hstringText(name)},
                          [&] { return giveIsThere(m_object, name, found); });
    }
    HRESULT STDMETHODCALLTYPE Split(abi::JsonMapView**, abi::JsonMapView**) override {
        return E_NOTIMPL;
    }

private:
    const JsonNodePointer m_object;
};

class JsonObject : public JsonBase<abi::IJsonObject, abi::IJsonValue, abi::JsonMap, abi::JsonPairs,
                                   abi::IJsonObjectWithDefaultValues, abi::IStringable> {
public:
    explicit JsonObject(JsonNodePointer value) : JsonBase("JsonObject", std::move(value)) {}

    HRESULT STDMETHODCALLTYPE GetNamedValue(HSTRING name, abi::IJsonValue** value) override {
        return getNamed("IJsonObject::GetNamedValue", name, value);
    }
    HRESULT STDMETHODCALLTYPE GetNamedObject(HSTRING name, abi::IJsonObject** value) override {
        return getNamed("IJsonObject::GetNamedObject", name, value);
    }
    HRESULT STDMETHODCALLTYPE GetNamedArray(HSTRING name, abi::IJsonArray** value) override {
        return getNamed("IJsonObject::GetNamedArray", name, value);
    }
    HRESULT STDMETHODCALLTYPE GetNamedString(HSTRING name, HSTRING* value) override {
        return getNamed("IJsonObject::GetNamedString", name, value);
    }
    HRESULT STDMETHODCALLTYPE GetNamedNumber(HSTRING name, DOUBLE* value) override {
        return getNamed("IJsonObject::GetNamedNumber", name, value);
    }
    HRESULT STDMETHODCALLTYPE GetNamedBoolean(HSTRING name, boolean* value) override {
        return getNamed("IJsonObject::GetNamedBoolean", name, value);
    }
    HRESULT STDMETHODCALLTYPE SetNamedValue(HSTRING name, abi::IJsonValue* value) override {
        return call("IJsonObject::SetNamedValue", {hstringText(name), jsonText(value)}, [&] {
            boolean replaced = 0;
            return insert(name, value, &replaced);
        });
    }

    HRESULT STDMETHODCALLTYPE Lookup(HSTRING name, abi::IJsonValue** value) override {
        return call("IMap::Lookup", {hstringText(name)},
                    [&] { return giveMember(m_node, name, value, E_BOUNDS); });
    }
    HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) override {
        return call("IMap::get_Size", {}, [&] { return giveSize(m_node, size); });
    }
    HRESULT STDMETHODCALLTYPE HasKey(HSTRING name, boolean* found) override {
        return call("IMap::HasKey", {hstringText(name)},
                    [&] { return giveIsThere(m_node, name, found); });
    }
    HRESULT STDMETHODCALLTYPE GetView(abi::JsonMapView** view) override {
        return call("IMap::GetView", {}, [&] {
            if (view == nullptr) return E_POINTER;
            *view = makeObject<MapView>(m_node);
            return S_OK;
        });
    }
    HRESULT STDMETHODCALLTYPE Insert(HSTRING name, abi::IJsonValue* value,
                                     boolean* replaced) override {
        return call("IMap::Insert", {hstringText(name), jsonText(value)},
                    [&] { return insert(name, value, replaced); });
    }
    HRESULT STDMETHODCALLTYPE Remove(HSTRING name) override {
        return call("IMap::Remove", {hstringText(name)},
                    [&] { return membersOf(m_node).remove(textOf(name)) ? S_OK : E_BOUNDS; });
    }
    HRESULT STDMETHODCALLTYPE Clear() override {
        return call("IMap::Clear", {}, [&] {
            membersOf(m_node).clear();
            return S_OK;
        });
    }

    HRESULT STDMETHODCALLTYPE First(abi::IIterator<abi::JsonPair*>**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNamedValueOrDefault(HSTRING, abi::IJsonValue*,
                                                     abi::IJsonValue**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNamedObjectOrDefault(HSTRING, abi::IJsonObject*,
                                                      abi::IJsonObject**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNamedStringOrDefault(HSTRING, HSTRING, HSTRING*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNamedArrayOrDefault(HSTRING, abi::IJsonArray*,
                                                     abi::IJsonArray**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNamedNumberOrDefault(HSTRING, DOUBLE, DOUBLE*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNamedBooleanOrDefault(HSTRING, boolean, boolean*) override {
        return E_NOTIMPL;
    }

private:
    template <typename Result>
    HRESULT getNamed(const char* method, HSTRING name, Result* result) {
        return call(method, {hstringText(name)},
                    [&] { return giveMember(m_node, name, result, WEB_E_JSON_VALUE_NOT_FOUND); });
    }

    HRESULT insert(HSTRING name, abi::IJsonValue* value, boolean* replaced) {
        const JsonNodePointer member = nodeOf(value);
        if (member == nullptr || replaced == nullptr) return E_POINTER;
        *replaced = membersOf(m_node).set(textOf(name), member) ? 1 : 0;
        return S_OK;
    }
};

}  // namespace

abi::IJsonObject* makeJsonObject(JsonNodePointer node) {
    return makeObject<JsonObject>(std::move(node));
}

}  // namespace standin
