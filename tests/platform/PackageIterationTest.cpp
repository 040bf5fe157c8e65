#include "platform/PackageIteration.h"

#include <objbase.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Activation.h"
#include "support/MachineTest.h"

namespace {

using Platform::forEachPackage;
using Platform::idOf;
using Platform::String;
using Platform::ThrowForHResult;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr DWORD kFailure = 0x80004005;

void startCom() {
    const standin::Untraced untraced;
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}

// Packages of one name; what the walk leaves over is found by the machine's ledger.
class PackageIteration : public MachineTest {
protected:
    PackageIteration() { startCom(); }

    void install(std::initializer_list<const wchar_t*> fullNames) {
        for (const wchar_t* fullName : fullNames) {
            standin::InstalledPackage package;
            package.name = L"Velta.QK";
            package.publisher = L"CN=Velta";
            package.fullName = fullName;
            package.familyName = L"Velta.QK_kt83f9rd2xj6a";
            machine.state.packages.push_back(package);
        }
    }

    static ComPointer<IPackageIterable> findPackages() {
        const auto manager = Platform::activate<IPackageManager>(kPackageManagerClass);
        ComPointer<IPackageIterable> packages;
        ThrowForHResult(manager->FindPackagesByNamePublisher(
            String(L"Velta.QK").get(), String(L"CN=Velta").get(), packages.put()));
        return packages;
    }

    // Walks over all packages and notes the full names, up to a failure.
    void walk() {
        forEachPackage(findPackages(), [this](const ComPointer<IPackage>& package) {
            visited.push_back(Platform::textOf(idOf(package), &IPackageId::get_FullName).str());
        });
    }

    std::vector<std::wstring> visited;
};

TEST_F(PackageIteration, VisitsEachPackageInOrder) {
    install({L"first", L"second", L"third"});

    walk();

    EXPECT_THAT(visited, ElementsAre(L"first", L"second", L"third"));
}

TEST_F(PackageIteration, AnEmptyCollectionHasNoStep) {
    walk();

    EXPECT_THAT(visited, IsEmpty());
    EXPECT_EQ(machine.trace.count("IIterator<Package>::get_Current"), 0U);
}

TEST_F(PackageIteration, AFailureToBeginThrows) {
    install({L"first"});
    for (const char* call : {"IIterable<Package>::First", "IIterator<Package>::get_HasCurrent"}) {
        SCOPED_TRACE(call);
        machine.failNext(call, kFailure);

        EXPECT_THROW(walk(), Platform::FailureException);

        EXPECT_THAT(visited, IsEmpty());
    }
}

TEST_F(PackageIteration, AFailureAtAPackageComesBehindTheStepsBefore) {
    install({L"first", L"second", L"third"});
    machine.failNth("IIterator<Package>::get_Current", 2, kFailure);

    EXPECT_THROW(walk(), Platform::FailureException);

    EXPECT_THAT(visited, ElementsAre(L"first"));
}

TEST_F(PackageIteration, AFailureToMoveOnComesBehindTheStep) {
    install({L"first", L"second", L"third"});
    machine.failNth("IIterator<Package>::MoveNext", 2, 0x80070005);

    EXPECT_THROW(walk(), Platform::AccessDeniedException);

    EXPECT_THAT(visited, ElementsAre(L"first", L"second"));
}

TEST_F(PackageIteration, WhatAStepThrowsPassesThrough) {
    install({L"first", L"second"});
    int steps = 0;
    const auto step = [&steps](const ComPointer<IPackage>&) {
        ++steps;
        throw std::out_of_range("invalid string position");
    };

    EXPECT_THROW(forEachPackage(findPackages(), step), std::out_of_range);

    EXPECT_EQ(steps, 1);
    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

TEST_F(PackageIteration, NoCollectionIsANullReference) {
    EXPECT_THROW(forEachPackage({}, [](const ComPointer<IPackage>&) {}),
                 Platform::NullReferenceException);
}

TEST_F(PackageIteration, IdentityIsAskedForAnewEachTime) {
    install({L"first"});

    forEachPackage(findPackages(), [](const ComPointer<IPackage>& package) {
        EXPECT_EQ(Platform::textOf(idOf(package), &IPackageId::get_Name).str(), L"Velta.QK");
        EXPECT_EQ(Platform::textOf(idOf(package), &IPackageId::get_FamilyName).str(),
                  L"Velta.QK_kt83f9rd2xj6a");
    });

    EXPECT_EQ(machine.trace.count("IPackage::get_Id"), 2U);
}

TEST_F(PackageIteration, FailedIdentityThrows) {
    install({L"first"});
    machine.failNext("IPackage::get_Id", kFailure);

    EXPECT_THROW(walk(), Platform::FailureException);
}

TEST_F(PackageIteration, FailedTextPropertyThrows) {
    install({L"first"});
    machine.failNext("IPackageId::get_FullName", kFailure);

    EXPECT_THROW(walk(), Platform::FailureException);

    EXPECT_THAT(visited, IsEmpty());
}

}  // namespace
