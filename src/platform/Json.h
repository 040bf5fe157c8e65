#pragma once

#include <inspectable.h>

#include "platform/ComPointer.h"
#include "platform/PlatformString.h"

// Windows.Data.Json as the system lays it out, as far as the program calls it: a method's place
// decides. Unused methods stand as `UnusedN`, N being their place in the table.

#ifdef __GNUC__
#pragma GCC diagnostic push
// A COM interface must not have a virtual destructor: it would take places in the table.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

struct IJsonValue : IInspectable {
    static constexpr IID kId{
        0xa3219ecb, 0xf0b3, 0x4dcd, {0xbe, 0xee, 0x19, 0xd4, 0x8c, 0xd3, 0xed, 0x1e}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Stringify(HSTRING* text) = 0;
};

struct IJsonValueStatics : IInspectable {
    static constexpr IID kId{
        0x5f6b544a, 0x2f53, 0x48e1, {0x91, 0xa3, 0xf7, 0x8b, 0x50, 0xa6, 0x34, 0x5c}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateNumberValue(double input, IJsonValue** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE CreateStringValue(HSTRING input, IJsonValue** value) = 0;
};

struct IJsonObject : IInspectable {
    static constexpr IID kId{
        0x064e24dd, 0x29c2, 0x4f83, {0x9a, 0xc1, 0x9e, 0xe1, 0x15, 0x78, 0xbe, 0xb3}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE SetNamedValue(HSTRING name, IJsonValue* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedObject(HSTRING name, IJsonObject** value) = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedString(HSTRING name, HSTRING* value) = 0;
    virtual HRESULT STDMETHODCALLTYPE GetNamedNumber(HSTRING name, double* value) = 0;
};

struct IJsonObjectStatics : IInspectable {
    static constexpr IID kId{
        0x2289f159, 0x54de, 0x45d8, {0xab, 0xcc, 0x22, 0x60, 0x3f, 0xa0, 0x66, 0xa0}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE TryParse(HSTRING input, IJsonObject** result,
                                               boolean* succeeded) = 0;
};

// Only made and cast, so its own methods are left out.
struct IJsonArray : IInspectable {
    static constexpr IID kId{
        0x08c1ddb6, 0x0cbd, 0x4a9a, {0xb5, 0xd3, 0x2f, 0x85, 0x2d, 0xc3, 0x7e, 0x81}};
};

struct IJsonVector : IInspectable {
    static constexpr IID kId{
        0xd44662bc, 0xdce3, 0x59a8, {0x92, 0x72, 0x4b, 0x21, 0x0f, 0x33, 0x90, 0x8b}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused9() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused10() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused11() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused12() = 0;
    virtual HRESULT STDMETHODCALLTYPE Append(IJsonValue* value) = 0;
};

struct IJsonMapView : IInspectable {
    static constexpr IID kId{
        0xeecd690c, 0x1ff3, 0x529f, {0x92, 0x3f, 0x9b, 0x1c, 0x31, 0xfd, 0x3d, 0x0f}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE HasKey(HSTRING key, boolean* found) = 0;
};

struct IJsonMap : IInspectable {
    static constexpr IID kId{
        0xc9d9a725, 0x786b, 0x5113, {0xb4, 0xb7, 0x9b, 0x61, 0x76, 0x4c, 0x22, 0x0b}};

    virtual HRESULT STDMETHODCALLTYPE Unused6() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused7() = 0;
    virtual HRESULT STDMETHODCALLTYPE Unused8() = 0;
    virtual HRESULT STDMETHODCALLTYPE GetView(IJsonMapView** view) = 0;
};

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif

// JSON in the words of the logic. Every failed call throws a platform exception, a missing name and
// a value of another type among them.
namespace Platform::Json {

using Object = ComPointer<IJsonObject>;
using Array = ComPointer<IJsonArray>;
using Value = ComPointer<IJsonValue>;

// False: the text is no JSON object, and what stands in `object` is the system's business.
bool tryParseObject(const String& text, Object& object);
Object createObject();
Array createArray();
Value createStringValue(const String& text);
Value createNumberValue(double number);

bool hasKey(const Object& object, const String& name);
Object getNamedObject(const Object& object, const String& name);
String getNamedString(const Object& object, const String& name);
double getNamedNumber(const Object& object, const String& name);
// Replaces a value of that name.
void setNamedValue(const Object& object, const String& name, const Value& value);
void append(const Array& array, const Value& value);

String stringify(const Object& object);

}  // namespace Platform::Json
