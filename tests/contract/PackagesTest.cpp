#include "support/MachineTest.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr GUID kPackageManager = {
    0x9a7d4b65, 0x5e8f, 0x4fc7, {0xa2, 0xe5, 0x7f, 0x69, 0x25, 0xcb, 0x8b, 0x53}};
constexpr GUID kStorageItem = {
    0x4207a996, 0xca2f, 0x42f7, {0xbd, 0xe8, 0x8b, 0x10, 0x45, 0x7a, 0x7f, 0x30}};

// Calls a method by its place in the table of the interface.
template <size_t Slot, typename... A>
HRESULT callSlot(void* object, A... arguments) {
    using Method = HRESULT(STDMETHODCALLTYPE*)(void*, A...);
    return reinterpret_cast<Method>((*static_cast<void***>(object))[Slot])(object, arguments...);
}

void release(void* object) {
    static_cast<IUnknown*>(object)->Release();
}

class Text {
public:
    explicit Text(std::wstring_view text) {
        ::WindowsCreateString(text.data(), static_cast<UINT32>(text.size()), &m_text);
    }
    ~Text() { ::WindowsDeleteString(m_text); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;
    HSTRING get() const { return m_text; }

private:
    HSTRING m_text = nullptr;
};

template <size_t Slot>
std::wstring textAt(void* object) {
    HSTRING text = nullptr;
    if (FAILED(callSlot<Slot>(object, &text))) return L"failed";
    std::wstring wide = ::WindowsGetStringRawBuffer(text, nullptr);
    ::WindowsDeleteString(text);
    return wide;
}

class PackagesTest : public MachineTest {
protected:
    PackagesTest() {
        ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
        add(L"Maker.App", {1, 2, 3, 4}, {L"S-1-5-21-1"});
    }
    ~PackagesTest() override { ::CoUninitialize(); }

    void add(const std::wstring& name, standin::PackageVersionNumbers version,
             std::vector<std::wstring> users) {
        machine.state.packages.push_back({.name = name,
                                          .publisher = L"CN=Maker",
                                          .version = version,
                                          .fullName = name + L"_full",
                                          .familyName = name + L"_family",
                                          .installPath = scratch.path(),
                                          .users = std::move(users),
                                          .isProvisioned = false,
                                          .removal = {}});
    }

    // The package manager's default interface.
    void* activate() {
        const Text name(L"Windows.Management.Deployment.PackageManager");
        IActivationFactory* factory = nullptr;
        IInspectable* instance = nullptr;
        EXPECT_EQ(::RoGetActivationFactory(name.get(), __uuidof(IActivationFactory),
                                           reinterpret_cast<void**>(&factory)),
                  S_OK);
        EXPECT_EQ(factory->ActivateInstance(&instance), S_OK);
        factory->Release();
        void* manager = nullptr;
        EXPECT_EQ(instance->QueryInterface(kPackageManager, &manager), S_OK);
        instance->Release();
        return manager;
    }

    // The names of the packages in a collection, which is released.
    static std::vector<std::wstring> namesIn(void* packages) {
        std::vector<std::wstring> names;
        void* iterator = nullptr;
        EXPECT_EQ(callSlot<6>(packages, &iterator), S_OK);
        boolean hasCurrent = 0;
        EXPECT_EQ(callSlot<7>(iterator, &hasCurrent), S_OK);
        while (hasCurrent != 0) {
            void* package = nullptr;
            void* id = nullptr;
            EXPECT_EQ(callSlot<6>(iterator, &package), S_OK);
            EXPECT_EQ(callSlot<6>(package, &id), S_OK);
            names.push_back(textAt<6>(id));
            release(id);
            release(package);
            EXPECT_EQ(callSlot<8>(iterator, &hasCurrent), S_OK);
        }
        release(iterator);
        release(packages);
        return names;
    }

    std::vector<std::wstring> find(std::wstring_view name, std::wstring_view publisher) {
        void* const manager = activate();
        const Text nameText(name);
        const Text publisherText(publisher);
        void* packages = nullptr;
        EXPECT_EQ(callSlot<13>(manager, nameText.get(), publisherText.get(), &packages), S_OK);
        release(manager);
        return namesIn(packages);
    }

    std::vector<std::wstring> findFor(std::wstring_view user, std::wstring_view name) {
        void* const manager = activate();
        const Text userText(user);
        const Text nameText(name);
        const Text publisherText(L"CN=Maker");
        void* packages = nullptr;
        EXPECT_EQ(
            callSlot<14>(manager, userText.get(), nameText.get(), publisherText.get(), &packages),
            S_OK);
        release(manager);
        return namesIn(packages);
    }

    // The first package of the machine, as an object.
    void* firstPackage() {
        void* const manager = activate();
        const Text name(L"Maker.App");
        const Text publisher(L"CN=Maker");
        void* packages = nullptr;
        void* iterator = nullptr;
        void* package = nullptr;
        callSlot<13>(manager, name.get(), publisher.get(), &packages);
        callSlot<6>(packages, &iterator);
        callSlot<6>(iterator, &package);
        release(iterator);
        release(packages);
        release(manager);
        return package;
    }
};

TEST_F(PackagesTest, PackagesAreFoundByNameAndPublisher) {
    add(L"Maker.Other", {1, 0, 0, 0}, {});
    add(L"MAKER.APP", {2, 0, 0, 0}, {});

    EXPECT_THAT(find(L"maker.app", L"CN=Maker"), ElementsAre(L"Maker.App", L"MAKER.APP"));
    EXPECT_THAT(find(L"Maker.App", L"cn=maker"), IsEmpty());
    EXPECT_THAT(find(L"Maker", L"CN=Maker"), IsEmpty());
}

TEST_F(PackagesTest, PackagesOfAUserAreThoseInstalledForHim) {
    add(L"Maker.App", {2, 0, 0, 0}, {L"S-1-5-21-2"});
    machine.state.tokenUser = L"S-1-5-21-2";

    EXPECT_EQ(findFor(L"S-1-5-21-1", L"Maker.App").size(), 1u);
    EXPECT_EQ(findFor(L"S-1-5-21-3", L"Maker.App").size(), 0u);
    EXPECT_EQ(findFor(L"", L"Maker.App").size(), 1u);
}

TEST_F(PackagesTest, APackageTellsItsIdentityAndPlace) {
    void* const package = firstPackage();
    void* id = nullptr;
    void* folder = nullptr;
    void* item = nullptr;
    UINT16 version[4] = {};
    ASSERT_EQ(callSlot<6>(package, &id), S_OK);
    ASSERT_EQ(callSlot<7>(package, &folder), S_OK);
    ASSERT_EQ(callSlot<0>(folder, &kStorageItem, &item), S_OK);

    EXPECT_EQ(callSlot<7>(id, version), S_OK);
    EXPECT_THAT(version, ElementsAre(1, 2, 3, 4));
    EXPECT_EQ(textAt<6>(id), L"Maker.App");
    EXPECT_EQ(textAt<10>(id), L"CN=Maker");
    EXPECT_EQ(textAt<12>(id), L"Maker.App_full");
    EXPECT_EQ(textAt<13>(id), L"Maker.App_family");
    EXPECT_EQ(textAt<12>(item), scratch.path());
    for (void* const object : {item, folder, id, package})
        release(object);
}

TEST_F(PackagesTest, AnInstallPlaceThatIsGoneIsNotFound) {
    machine.state.packages[0].installPath = scratch / L"gone";
    void* const package = firstPackage();
    void* folder = nullptr;

    EXPECT_EQ(callSlot<7>(package, &folder), HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND));
    release(package);
}

TEST_F(PackagesTest, AWrongInterfaceIsRefusedWithANullPointer) {
    void* const package = firstPackage();
    void* wrong = package;

    EXPECT_EQ(callSlot<0>(package, &kPackageManager, &wrong), E_NOINTERFACE);
    EXPECT_EQ(wrong, nullptr);
    release(package);
}

TEST_F(PackagesTest, AWrongFactoryInterfaceIsRefused) {
    const Text name(L"Windows.Management.Deployment.PackageManager");
    void* factory = &factory;

    EXPECT_EQ(::RoGetActivationFactory(name.get(), kPackageManager, &factory), E_NOINTERFACE);
    EXPECT_EQ(factory, nullptr);
}

TEST_F(PackagesTest, NullResultPointersAreRefused) {
    void* const manager = activate();
    void* const package = firstPackage();
    const Text text(L"x");
    void** const none = nullptr;

    EXPECT_EQ(callSlot<0>(manager, &kPackageManager, none), E_POINTER);
    EXPECT_EQ(callSlot<13>(manager, text.get(), text.get(), none), E_POINTER);
    EXPECT_EQ(callSlot<6>(package, none), E_POINTER);
    EXPECT_EQ(callSlot<7>(package, none), E_POINTER);
    release(package);
    release(manager);
}

TEST_F(PackagesTest, WhatTheMachineDoesNotHaveIsNotImplemented) {
    void* const manager = activate();
    void* operation = nullptr;
    const Text text(L"x");

    EXPECT_EQ(callSlot<8>(manager, text.get(), &operation), E_NOTIMPL);
    EXPECT_EQ(callSlot<11>(manager, &operation), E_NOTIMPL);
    EXPECT_EQ(callSlot<21>(manager, text.get(), text.get(), &operation), E_NOTIMPL);
    release(manager);
}

TEST_F(PackagesTest, IdentityIsOnePointerForAllInterfaces) {
    void* const package = firstPackage();
    void* folder = nullptr;
    void* item = nullptr;
    void* ofFolder = nullptr;
    void* ofItem = nullptr;
    callSlot<7>(package, &folder);
    callSlot<0>(folder, &kStorageItem, &item);

    callSlot<0>(folder, &__uuidof(IUnknown), &ofFolder);
    callSlot<0>(item, &__uuidof(IUnknown), &ofItem);

    EXPECT_EQ(ofFolder, ofItem);
    for (void* const object : {ofItem, ofFolder, item, folder, package})
        release(object);
}

TEST_F(PackagesTest, PastTheEndThereIsNoCurrent) {
    void* const manager = activate();
    const Text none(L"none");
    void* packages = nullptr;
    void* iterator = nullptr;
    void* package = nullptr;
    boolean hasCurrent = 1;
    callSlot<13>(manager, none.get(), none.get(), &packages);
    callSlot<6>(packages, &iterator);

    EXPECT_EQ(callSlot<6>(iterator, &package), static_cast<HRESULT>(0x8000000B));
    EXPECT_EQ(callSlot<8>(iterator, &hasCurrent), S_OK);
    EXPECT_EQ(hasCurrent, 0);
    for (void* const object : {iterator, packages, manager})
        release(object);
}

TEST_F(PackagesTest, MethodsAreCallsThatCanFail) {
    void* const package = firstPackage();
    machine.trace.clear();
    machine.failNext("IPackage::get_Id", 0x80070005);
    auto* const untouched = &machine;
    void* id = untouched;

    const HRESULT result = callSlot<6>(package, &id);
    release(package);

    EXPECT_EQ(result, E_ACCESSDENIED);
    EXPECT_EQ(id, untouched);
    EXPECT_THAT(machine.calls(), ElementsAre("IPackage::get_Id(Package#1) = 0x80070005 (injected)"));
}

TEST_F(PackagesTest, AReferenceTooManyIsALeakAndOneTooFewIsNoted) {
    void* const kept = firstPackage();
    void* const overReleased = firstPackage();
    release(overReleased);
    release(overReleased);
    void* id = nullptr;
    callSlot<6>(overReleased, &id);
    release(id);

    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("Package#1"));
    mounted.expectDoubleReleases({"Package#2"});
    mounted.expectMisuse({"IPackage::get_Id on Package#2, which was released"});
    release(kept);
}

}  // namespace
