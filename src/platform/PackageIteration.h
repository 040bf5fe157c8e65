#pragma once

#include "platform/PackageManager.h"
#include "platform/PlatformException.h"
#include "platform/PlatformString.h"

namespace Platform {

// Calls `step` with each package of the collection, in its order. Throws a platform exception when
// the walk fails; what `step` throws passes through.
template <typename Step>
void forEachPackage(const ComPointer<IPackageIterable>& packages, Step step) {
    ComPointer<IPackageIterator> iterator;
    ThrowForHResult(packages->First(iterator.put()));
    boolean hasCurrent = 0;
    ThrowForHResult(iterator->get_HasCurrent(&hasCurrent));
    while (hasCurrent) {
        ComPointer<IPackage> package;
        ThrowForHResult(iterator->get_Current(package.put()));
        step(package);
        ThrowForHResult(iterator->MoveNext(&hasCurrent));
    }
}

// The package's identity, asked anew on each call. Throws a platform exception.
inline ComPointer<IPackageId> idOf(const ComPointer<IPackage>& package) {
    ComPointer<IPackageId> id;
    ThrowForHResult(package->get_Id(id.put()));
    return id;
}

// A text property of a runtime object. Throws a platform exception.
template <typename Object, typename Interface>
String textOf(const ComPointer<Object>& object,
              HRESULT (STDMETHODCALLTYPE Interface::*getter)(HSTRING*)) {
    String text;
    ThrowForHResult((object.operator->()->*getter)(text.put()));
    return text;
}

}  // namespace Platform
