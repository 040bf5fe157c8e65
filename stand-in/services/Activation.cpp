#include "../Hook.h"
#include "../winrt/JsonFactories.h"
#include "../winrt/Object.h"
#include "../winrt/PackageManager.h"
#include "Com.h"
#include "Services.h"

namespace standin {

namespace {

// The factory of a class without static methods.
template <IInspectable* (*Make)()>
class ActivationFactory : public RuntimeObject<IActivationFactory> {
public:
    ActivationFactory() : RuntimeObject("ActivationFactory") {}

    HRESULT STDMETHODCALLTYPE ActivateInstance(IInspectable** instance) override {
        return callMethod(identity(), "IActivationFactory::ActivateInstance", {}, [&] {
            if (instance == nullptr) return E_POINTER;
            *instance = Make();
            return S_OK;
        });
    }
};

template <IInspectable* (*Make)()>
IActivationFactory* makeFactory() {
    return makeObject<ActivationFactory<Make>>();
}

// A class that can be activated: its name, and what makes its factory.
struct ActivatableClass {
    const wchar_t* name;
    IActivationFactory* (*makeFactory)();
};

constexpr ActivatableClass kClasses[] = {
    {kPackageManagerClass, &makeFactory<&makePackageManager>},
    {kJsonObjectClass, &makeJsonObjectFactory},
    {kJsonArrayClass, &makeJsonArrayFactory},
    {kJsonValueClass, &makeJsonValueFactory},
};

const ActivatableClass* findClass(HSTRING name) {
    const std::wstring_view wanted = ::WindowsGetStringRawBuffer(name, nullptr);
    for (const ActivatableClass& one : kClasses) {
        if (one.name == wanted) return &one;
    }
    return nullptr;
}

HRESULT WINAPI getActivationFactory(HSTRING className, REFIID iid, void** factory) {
    if (factory == nullptr) return E_POINTER;
    if (!isComStarted()) return CO_E_NOTINITIALIZED;
    const ActivatableClass* const wanted = findClass(className);
    if (wanted == nullptr) return REGDB_E_CLASSNOTREG;
    IActivationFactory* const made = wanted->makeFactory();
    const HRESULT result = made->QueryInterface(iid, factory);
    made->Release();
    return result;
}

HRESULT WINAPI activateInstance(HSTRING className, IInspectable** instance) {
    if (instance == nullptr) return E_POINTER;
    if (!isComStarted()) return CO_E_NOTINITIALIZED;
    const ActivatableClass* const wanted = findClass(className);
    if (wanted == nullptr) return REGDB_E_CLASSNOTREG;
    IActivationFactory* const factory = wanted->makeFactory();
    const HRESULT result = factory->ActivateInstance(instance);
    factory->Release();
    return result;
}

}  // namespace

void serveActivation() {
    serve<PlatformCall::RoGetActivationFactory>(&getActivationFactory);
    serve<PlatformCall::RoActivateInstance>(&activateInstance);
}

}  // namespace standin
