#pragma once

#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

#include "../Format.h"
#include "../Machine.h"
#include "../PendingCall.h"
#include "Abi.h"

namespace standin {

// An object of the machine that the program holds references to. The ledger counts them. An object
// without references is kept, so that a late use of it is noticed and harms nothing; it goes when
// the machine is emptied.
class KeptObject {
public:
    virtual ~KeptObject() = default;
};

void keepObject(std::unique_ptr<KeptObject> object);
void buryObjects();

// One call of a method: noted, and failed if a fault says so. A failing method leaves its results untouched.
template <typename Body>
HRESULT callMethod(const void* self, std::string_view name,
                   std::initializer_list<std::string> inputs, Body body) {
    PendingCall pending(name, true);
    pending.arguments().push_back(handleText(self));
    pending.arguments().insert(pending.arguments().end(), inputs);
    Machine& machine = Machine::get();
    if (machine.ledger.wasOut(self)) {
        machine.ledger.noteMisuse(std::string(name) + " on " + handleText(self) +
                                  ", which was released");
    }
    const HRESULT result = pending.mustFail() ? static_cast<HRESULT>(pending.injectedError())
                                              : static_cast<HRESULT>(body());
    pending.finish(hresultText(result), result < 0);
    machine.runCallbacks(std::string(name));
    return result;
}

// The text of a string that came as an argument; one that was released is noted.
std::wstring textOf(HSTRING text);

// Gives out a new string that the caller owns.
HRESULT giveString(const std::wstring& text, HSTRING* value);

// Objects end through KeptObject; the interfaces that they derive from have no virtual destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// IUnknown and IInspectable for an object of one or several interfaces; the first is its identity.
template <typename First, typename... Rest>
class Object : public KeptObject, public First, public Rest... {
public:
    explicit Object(std::string className) : m_className(std::move(className)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
        return callMethod(identity(), m_className + "::QueryInterface", {guidText(iid)}, [&] {
            if (object == nullptr) return E_POINTER;
            *object = find(iid);
            if (*object == nullptr) return E_NOINTERFACE;
            AddRef();
            return S_OK;
        });
    }

    ULONG STDMETHODCALLTYPE AddRef() override {
        Ledger& ledger = Machine::get().ledger;
        if (ledger.wasOut(identity())) {
            ledger.noteMisuse("AddRef on " + handleText(identity()) + ", which was released");
        }
        ledger.handOut(m_className, identity());
        return static_cast<ULONG>(ledger.timesOut(identity()));
    }

    ULONG STDMETHODCALLTYPE Release() override {
        Ledger& ledger = Machine::get().ledger;
        ledger.giveBack(identity());
        return static_cast<ULONG>(ledger.timesOut(identity()));
    }

    const void* identity() const { return static_cast<const First*>(this); }

private:
    void* find(REFIID iid) {
        if (!offers(iid)) return nullptr;
        if (IsEqualIID(iid, abi::kIid<IUnknown>)) return static_cast<First*>(this);
        if constexpr (std::is_base_of_v<IInspectable, First>) {
            if (IsEqualIID(iid, abi::kIid<IInspectable>)) return static_cast<First*>(this);
            if (IsEqualIID(iid, abi::kIid<IAgileObject>)) return static_cast<First*>(this);
        }
        void* found = IsEqualIID(iid, abi::kIid<First>) ? static_cast<First*>(this) : nullptr;
        ((found = IsEqualIID(iid, abi::kIid<Rest>) ? static_cast<Rest*>(this) : found), ...);
        return found;
    }

protected:
    // Whether the object answers for an interface that it has; older systems lack some.
    virtual bool offers(REFIID) const { return true; }

    const std::string m_className;
};

// The same for interfaces of the Windows Runtime.
template <typename First, typename... Rest>
class RuntimeObject : public Object<First, Rest...> {
public:
    using Object<First, Rest...>::Object;

    HRESULT STDMETHODCALLTYPE GetIids(ULONG* count, IID** iids) override {
        if (count == nullptr || iids == nullptr) return E_POINTER;
        constexpr ULONG size = 1 + sizeof...(Rest);
        auto* const list = static_cast<IID*>(::CoTaskMemAlloc(size * sizeof(IID)));
        if (list == nullptr) return E_OUTOFMEMORY;
        ULONG next = 0;
        list[next++] = abi::kIid<First>;
        ((list[next++] = abi::kIid<Rest>), ...);
        *count = size;
        *iids = list;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetRuntimeClassName(HSTRING* name) override {
        return giveString(std::wstring(this->m_className.begin(), this->m_className.end()), name);
    }
    HRESULT STDMETHODCALLTYPE GetTrustLevel(TrustLevel* level) override {
        if (level == nullptr) return E_POINTER;
        *level = BaseTrust;
        return S_OK;
    }
};

#pragma GCC diagnostic pop

// A new object with one reference, which the caller owns.
template <typename T, typename... A>
T* makeObject(A&&... arguments) {
    auto object = std::make_unique<T>(std::forward<A>(arguments)...);
    T* const made = object.get();
    keepObject(std::move(object));
    made->AddRef();
    return made;
}

}  // namespace standin
