#pragma once

#include <activation.h>
#include <roapi.h>

#include "platform/ComPointer.h"
#include "platform/PlatformException.h"
#include "platform/PlatformString.h"

namespace Platform {

// The `Interface` of the activation factory of a runtime class. Throws a platform exception.
template <typename Interface>
ComPointer<Interface> activationFactory(const wchar_t* className) {
    const String name(className);
    ComPointer<Interface> factory;
    ThrowForHResult(::RoGetActivationFactory(name.get(), interfaceId<Interface>(), factory.putVoid()));
    return factory;
}

// A new object of a runtime class with a constructor that takes nothing. Throws a platform exception.
template <typename Interface>
ComPointer<Interface> activate(const wchar_t* className) {
    ComPointer<IInspectable> instance;
    ThrowForHResult(
        activationFactory<IActivationFactory>(className)->ActivateInstance(instance.put()));
    return castTo<Interface>(instance);
}

}  // namespace Platform
