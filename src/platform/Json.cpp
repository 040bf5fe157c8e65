#include "platform/Json.h"

#include "platform/Activation.h"
#include "platform/PlatformException.h"

namespace Platform::Json {

namespace {

constexpr wchar_t kObjectClass[] = L"Windows.Data.Json.JsonObject";
constexpr wchar_t kArrayClass[] = L"Windows.Data.Json.JsonArray";
constexpr wchar_t kValueClass[] = L"Windows.Data.Json.JsonValue";

}  // namespace

bool tryParseObject(const String& text, Object& object) {
    boolean succeeded = 0;
    ThrowForHResult(activationFactory<IJsonObjectStatics>(kObjectClass)
                        ->TryParse(text.get(), object.put(), &succeeded));
    return succeeded != 0;
}

Object createObject() {
    return activate<IJsonObject>(kObjectClass);
}

Array createArray() {
    return activate<IJsonArray>(kArrayClass);
}

Value createStringValue(const String& text) {
    Value value;
    ThrowForHResult(
        activationFactory<IJsonValueStatics>(kValueClass)->CreateStringValue(text.get(), value.put()));
    return value;
}

Value createNumberValue(double number) {
    Value value;
    ThrowForHResult(
        activationFactory<IJsonValueStatics>(kValueClass)->CreateNumberValue(number, value.put()));
    return value;
}

bool hasKey(const Object& object, const String& name) {
    ComPointer<IJsonMapView> view;
    ThrowForHResult(castTo<IJsonMap>(object)->GetView(view.put()));
    boolean found = 0;
    ThrowForHResult(view->HasKey(name.get(), &found));
    return found != 0;
}

Object getNamedObject(const Object& object, const String& name) {
    Object value;
    ThrowForHResult(object->GetNamedObject(name.get(), value.put()));
    return value;
}

String getNamedString(const Object& object, const String& name) {
    String value;
    ThrowForHResult(object->GetNamedString(name.get(), value.put()));
    return value;
}

double getNamedNumber(const Object& object, const String& name) {
    double value = 0;
    ThrowForHResult(object->GetNamedNumber(name.get(), &value));
    return value;
}

void setNamedValue(const Object& object, const String& name, const Value& value) {
    ThrowForHResult(object->SetNamedValue(name.get(), value.get()));
}

void append(const Array& array, const Value& value) {
    ThrowForHResult(castTo<IJsonVector>(array)->Append(value.get()));
}

String stringify(const Object& object) {
    String text;
    ThrowForHResult(castTo<IJsonValue>(object)->Stringify(text.put()));
    return text;
}

}  // namespace Platform::Json
