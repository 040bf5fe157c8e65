#include "platform/ComPointer.h"

#include <inspectable.h>

#include <optional>

#include "platform/PackageManager.h"
#include "platform/PlatformException.h"
#include "support/MachineTest.h"

namespace {

#pragma GCC diagnostic push
// A COM interface must not have a virtual destructor: it would take places in the table.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

// An object that counts its references, lives on the test's stack and knows IUnknown alone.
struct Counted final : IUnknown {
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (id != __uuidof(IUnknown)) return E_NOINTERFACE;
        AddRef();
        *object = static_cast<IUnknown*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(++references); }
    ULONG STDMETHODCALLTYPE Release() override { return static_cast<ULONG>(--references); }

    int references = 1;
};

#pragma GCC diagnostic pop

using Pointer = ComPointer<Counted>;

// The platform exception asks the machine for error information.
class ComPointerTest : public MachineTest {};

TEST_F(ComPointerTest, DefaultIsEmpty) {
    const Pointer pointer;

    EXPECT_FALSE(pointer);
    EXPECT_EQ(pointer.get(), nullptr);
}

TEST_F(ComPointerTest, AdoptTakesTheCallersReferenceOver) {
    Counted object;
    {
        const Pointer pointer = Pointer::adopt(&object);

        EXPECT_TRUE(pointer);
        EXPECT_EQ(pointer.get(), &object);
        EXPECT_EQ(object.references, 1);
    }
    EXPECT_EQ(object.references, 0);
}

TEST_F(ComPointerTest, CopyHasAReferenceOfItsOwn) {
    Counted object;
    std::optional<Pointer> original(Pointer::adopt(&object));
    const Pointer copy(*original);
    EXPECT_EQ(object.references, 2);

    original.reset();

    EXPECT_EQ(object.references, 1);
    EXPECT_EQ(copy.get(), &object);
}

TEST_F(ComPointerTest, MoveHandsTheReferenceOn) {
    Counted object;
    Pointer original = Pointer::adopt(&object);

    const Pointer moved(std::move(original));

    EXPECT_EQ(object.references, 1);
    EXPECT_EQ(moved.get(), &object);
    EXPECT_FALSE(original);  // NOLINT(bugprone-use-after-move)
}

TEST_F(ComPointerTest, AssignmentReleasesWhatWasHeld) {
    Counted held;
    Counted other;
    Pointer target = Pointer::adopt(&held);
    const Pointer source = Pointer::adopt(&other);

    target = source;

    EXPECT_EQ(held.references, 0);
    EXPECT_EQ(other.references, 2);
    EXPECT_EQ(target.get(), &other);
}

TEST_F(ComPointerTest, AssignmentToItselfKeepsTheObject) {
    Counted object;
    Pointer pointer = Pointer::adopt(&object);
    const Pointer& same = pointer;

    pointer = same;

    EXPECT_EQ(pointer.get(), &object);
    EXPECT_EQ(object.references, 1);
}

TEST_F(ComPointerTest, ResetReleasesOnce) {
    Counted object;
    Pointer pointer = Pointer::adopt(&object);

    pointer.reset();
    pointer.reset();

    EXPECT_EQ(object.references, 0);
    EXPECT_FALSE(pointer);
}

TEST_F(ComPointerTest, PutReleasesWhatWasHeldAndGivesAnEmptyPlace) {
    Counted object;
    Pointer pointer = Pointer::adopt(&object);

    Counted** const place = pointer.put();

    EXPECT_EQ(object.references, 0);
    EXPECT_EQ(*place, nullptr);
}

TEST_F(ComPointerTest, WhatIsPutInIsOwned) {
    Counted object;
    {
        Pointer pointer;

        *pointer.put() = &object;

        EXPECT_EQ(pointer.get(), &object);
    }
    EXPECT_EQ(object.references, 0);
}

TEST_F(ComPointerTest, UsingAnEmptyOneThrowsANullReference) {
    const Pointer pointer;

    try {
        pointer->AddRef();
        FAIL() << "nothing was thrown";
    } catch (const Platform::NullReferenceException& exception) {
        EXPECT_EQ(exception.hresult(), E_POINTER);
        EXPECT_EQ(exception.restrictedErrorInfo(), nullptr);
    }
}

TEST_F(ComPointerTest, QueryGivesAReferenceOfItsOwn) {
    Counted object;
    const Pointer pointer = Pointer::adopt(&object);
    ComPointer<IUnknown> unknown;

    const HRESULT result = pointer.query(unknown);

    EXPECT_EQ(result, S_OK);
    EXPECT_EQ(unknown.get(), &object);
    EXPECT_EQ(object.references, 2);
}

TEST_F(ComPointerTest, QueryForAnInterfaceThatIsNotThereLeavesItEmpty) {
    Counted object;
    const Pointer pointer = Pointer::adopt(&object);
    ComPointer<IInspectable> inspectable;

    const HRESULT result = pointer.query(inspectable);

    EXPECT_EQ(result, E_NOINTERFACE);
    EXPECT_FALSE(inspectable);
}

TEST_F(ComPointerTest, CastGivesTheOtherInterface) {
    Counted object;
    const Pointer pointer = Pointer::adopt(&object);

    EXPECT_EQ(Platform::castTo<IUnknown>(pointer).get(), &object);

    EXPECT_EQ(object.references, 1);
}

TEST_F(ComPointerTest, CastToAnInterfaceThatIsNotThereThrows) {
    Counted object;
    const Pointer pointer = Pointer::adopt(&object);

    EXPECT_THROW(Platform::castTo<IInspectable>(pointer), Platform::InvalidCastException);
}

TEST_F(ComPointerTest, CastOfAnEmptyOneThrowsANullReference) {
    EXPECT_THROW(Platform::castTo<IUnknown>(Pointer()), Platform::NullReferenceException);
}

TEST_F(ComPointerTest, InterfaceIdIsTheOneOfTheHeadersOrTheInterfacesOwn) {
    EXPECT_EQ(interfaceId<IUnknown>(), __uuidof(IUnknown));
    EXPECT_EQ(interfaceId<IPackageManager>(), IPackageManager::kId);
}

}  // namespace
