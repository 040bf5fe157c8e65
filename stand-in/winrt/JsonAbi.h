#pragma once

#include "Abi.h"

// A macro of the graphics headers takes this name.
#undef GetObject

// Windows.Data.Json and the collections that its classes offer, slot by slot.

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace standin::abi {

enum class JsonValueType : INT32 { Null, Boolean, Number, String, Array, Object };

struct IStringable : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE ToString(HSTRING* text) = 0;
};

template <typename T>
struct IVectorView : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE GetAt(UINT32 index, T* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE IndexOf(T value, UINT32* index, boolean* found) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMany(UINT32 start, UINT32 capacity, T* items,
                                              UINT32* actual) = 0;
};

template <typename T>
struct IVector : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE GetAt(UINT32 index, T* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetView(IVectorView<T>** view) = 0;
    virtual HRESULT STDMETHODCALLTYPE IndexOf(T value, UINT32* index, boolean* found) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetAt(UINT32 index, T value) = 0;
    virtual HRESULT STDMETHODCALLTYPE InsertAt(UINT32 index, T value) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveAt(UINT32 index) = 0;
    virtual HRESULT STDMETHODCALLTYPE Append(T value) = 0;
    virtual HRESULT STDMETHODCALLTYPE RemoveAtEnd() = 0;
    virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetMany(UINT32 start, UINT32 capacity, T* items,
                                              UINT32* actual) = 0;
    virtual HRESULT STDMETHODCALLTYPE ReplaceAll(UINT32 count, T* items) = 0;
};

template <typename K, typename V>
struct IMapView : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE Lookup(K key, V* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE HasKey(K key, boolean* found) = 0;
    virtual HRESULT STDMETHODCALLTYPE Split(IMapView** first, IMapView** second) = 0;
};

template <typename K, typename V>
struct IMap : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE Lookup(K key, V* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Size(UINT32* size) = 0;
    virtual HRESULT STDMETHODCALLTYPE HasKey(K key, boolean* found) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetView(IMapView<K, V>** view) = 0;
    virtual HRESULT STDMETHODCALLTYPE Insert(K key, V value, boolean* replaced) = 0;
    virtual HRESULT STDMETHODCALLTYPE Remove(K key) = 0;
    virtual HRESULT STDMETHODCALLTYPE Clear() = 0;
};

template <typename K, typename V>
struct IKeyValuePair : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_Key(K* key) = 0;
    virtual HRESULT STDMETHODCALLTYPE get_Value(V* value) = 0;
};

struct IJsonArray;
struct IJsonObject;

struct IJsonValue : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE get_ValueType(JsonValueType* type) = 0;
    virtual HRESULT STDMETHODCALLTYPE Stringify(HSTRING* text) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetString(HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNumber(DOUBLE* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBoolean(boolean* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetArray(IJsonArray** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetObject(IJsonObject** value) = 0;
};

struct IJsonObject : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE GetNamedValue(HSTRING name, IJsonValue** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE SetNamedValue(HSTRING name, IJsonValue* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedObject(HSTRING name, IJsonObject** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedArray(HSTRING name, IJsonArray** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedString(HSTRING name, HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedNumber(HSTRING name, DOUBLE* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedBoolean(HSTRING name, boolean* value) = 0;
};

struct IJsonObjectWithDefaultValues : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE GetNamedValueOrDefault(HSTRING, IJsonValue*, IJsonValue**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedObjectOrDefault(HSTRING, IJsonObject*,
                                                              IJsonObject**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedStringOrDefault(HSTRING, HSTRING, HSTRING*) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedArrayOrDefault(HSTRING, IJsonArray*, IJsonArray**) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedNumberOrDefault(HSTRING, DOUBLE, DOUBLE*) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedBooleanOrDefault(HSTRING, boolean, boolean*) = 0;
};

struct IJsonArray : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE GetObjectAt(UINT32 index, IJsonObject** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetArrayAt(UINT32 index, IJsonArray** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetStringAt(UINT32 index, HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNumberAt(UINT32 index, DOUBLE* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetBooleanAt(UINT32 index, boolean* value) = 0;
};

struct IJsonObjectStatics : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE Parse(HSTRING input, IJsonObject** object) = 0;
    virtual HRESULT STDMETHODCALLTYPE TryParse(HSTRING input, IJsonObject** result,
                                               boolean* succeeded) = 0;
};

struct IJsonArrayStatics : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE Parse(HSTRING input, IJsonArray** array) = 0;
    virtual HRESULT STDMETHODCALLTYPE TryParse(HSTRING input, IJsonArray** result,
                                               boolean* succeeded) = 0;
};

struct IJsonValueStatics : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE Parse(HSTRING input, IJsonValue** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE TryParse(HSTRING input, IJsonValue** result,
                                               boolean* succeeded) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateBooleanValue(boolean input, IJsonValue** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateNumberValue(DOUBLE input, IJsonValue** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateStringValue(HSTRING input, IJsonValue** value) = 0;
};

struct IJsonValueStatics2 : IInspectable {
    virtual HRESULT STDMETHODCALLTYPE CreateNullValue(IJsonValue** value) = 0;
};

using JsonVector = IVector<IJsonValue*>;
using JsonVectorView = IVectorView<IJsonValue*>;
using JsonValues = IIterable<IJsonValue*>;
using JsonMap = IMap<HSTRING, IJsonValue*>;
using JsonMapView = IMapView<HSTRING, IJsonValue*>;
using JsonPair = IKeyValuePair<HSTRING, IJsonValue*>;
using JsonPairs = IIterable<JsonPair*>;

template <>
inline constexpr GUID kIid<IStringable>{
    0x96369f54, 0x8eb6, 0x48f0, {0xab, 0xce, 0xc1, 0xb2, 0x11, 0xe6, 0x27, 0xc3}};
template <>
inline constexpr GUID kIid<IJsonValue>{
    0xa3219ecb, 0xf0b3, 0x4dcd, {0xbe, 0xee, 0x19, 0xd4, 0x8c, 0xd3, 0xed, 0x1e}};
template <>
inline constexpr GUID kIid<IJsonObject>{
    0x064e24dd, 0x29c2, 0x4f83, {0x9a, 0xc1, 0x9e, 0xe1, 0x15, 0x78, 0xbe, 0xb3}};
template <>
inline constexpr GUID kIid<IJsonObjectWithDefaultValues>{
    0xd960d2a2, 0xb7f0, 0x4f00, {0x8e, 0x44, 0xd8, 0x2c, 0xf4, 0x15, 0xea, 0x13}};
template <>
inline constexpr GUID kIid<IJsonArray>{
    0x08c1ddb6, 0x0cbd, 0x4a9a, {0xb5, 0xd3, 0x2f, 0x85, 0x2d, 0xc3, 0x7e, 0x81}};
template <>
inline constexpr GUID kIid<IJsonObjectStatics>{
    0x2289f159, 0x54de, 0x45d8, {0xab, 0xcc, 0x22, 0x60, 0x3f, 0xa0, 0x66, 0xa0}};
template <>
inline constexpr GUID kIid<IJsonArrayStatics>{
    0xdb1434a9, 0xe164, 0x499f, {0x93, 0xe2, 0x8a, 0x8f, 0x49, 0xbb, 0x90, 0xba}};
template <>
inline constexpr GUID kIid<IJsonValueStatics>{
    0x5f6b544a, 0x2f53, 0x48e1, {0x91, 0xa3, 0xf7, 0x8b, 0x50, 0xa6, 0x34, 0x5c}};
template <>
inline constexpr GUID kIid<IJsonValueStatics2>{
    0x1d9ecbe4, 0x3fe8, 0x4335, {0x83, 0x92, 0x93, 0xd8, 0xe3, 0x68, 0x65, 0xf0}};
template <>
inline constexpr GUID kIid<JsonVector>{
    0xd44662bc, 0xdce3, 0x59a8, {0x92, 0x72, 0x4b, 0x21, 0x0f, 0x33, 0x90, 0x8b}};
template <>
inline constexpr GUID kIid<JsonVectorView>{
    0xcffabb0f, 0x6bc4, 0x5ff6, {0x9b, 0x9e, 0x7a, 0x9d, 0xf6, 0xc6, 0x87, 0xc8}};
template <>
inline constexpr GUID kIid<JsonValues>{
    0xcb0492b6, 0x4113, 0x55cf, {0xb2, 0xc5, 0x99, 0xeb, 0x42, 0x8b, 0xa4, 0x93}};
template <>
inline constexpr GUID kIid<JsonMap>{
    0xc9d9a725, 0x786b, 0x5113, {0xb4, 0xb7, 0x9b, 0x61, 0x76, 0x4c, 0x22, 0x0b}};
template <>
inline constexpr GUID kIid<JsonMapView>{
    0xeecd690c, 0x1ff3, 0x529f, {0x92, 0x3f, 0x9b, 0x1c, 0x31, 0xfd, 0x3d, 0x0f}};
template <>
inline constexpr GUID kIid<JsonPairs>{
    0xdfabb6e1, 0x0411, 0x5a8f, {0xaa, 0x87, 0x35, 0x4e, 0x71, 0x10, 0xf0, 0x99}};

}  // namespace standin::abi

#pragma GCC diagnostic pop
