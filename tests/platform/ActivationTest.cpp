#include "platform/Activation.h"

#include <objbase.h>

#include "platform/PackageManager.h"
#include "support/MachineTest.h"

namespace {

using Platform::activate;
using Platform::activationFactory;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

void startCom() {
    const standin::Untraced untraced;
    ::CoInitializeEx(nullptr, COINIT_MULTITHREADED);
}

// Objects and strings that are not given back are found by the machine's ledger.
class Activation : public MachineTest {
protected:
    Activation() { startCom(); }
};

TEST_F(Activation, FactoryIsAskedForByNameAndInterface) {
    const auto factory = activationFactory<IActivationFactory>(kPackageManagerClass);

    EXPECT_TRUE(factory);
    EXPECT_THAT(machine.calls({"RoGetActivationFactory"}),
                ElementsAre("RoGetActivationFactory(\"Windows.Management.Deployment.PackageManager\", "
                            "{00000035-0000-0000-C000-000000000046}, ActivationFactory#1) = 0"));
}

TEST_F(Activation, UnknownClassIsNotRegistered) {
    EXPECT_THROW(activationFactory<IActivationFactory>(L"Windows.No.Such.Class"),
                 Platform::ClassNotRegisteredException);
}

TEST_F(Activation, FactoryWithoutTheInterfaceThrows) {
    EXPECT_THROW(activationFactory<IPackageManager>(kPackageManagerClass),
                 Platform::InvalidCastException);
}

TEST_F(Activation, ActivateGivesANewObjectSeenThroughTheInterface) {
    const auto manager = activate<IPackageManager>(kPackageManagerClass);

    EXPECT_TRUE(manager);
    EXPECT_THAT(machine.ledger.leaks(), ElementsAre("PackageManager#1"));
}

TEST_F(Activation, FailedActivationThrows) {
    machine.failNext("IActivationFactory::ActivateInstance", 0x80070005);

    EXPECT_THROW(activate<IPackageManager>(kPackageManagerClass), Platform::AccessDeniedException);

    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

TEST_F(Activation, ActivatedObjectWithoutTheInterfaceThrows) {
    EXPECT_THROW(activate<IPackageIterable>(kPackageManagerClass), Platform::InvalidCastException);

    EXPECT_THAT(machine.ledger.leaks(), IsEmpty());
}

TEST_F(Activation, FailedNameThrowsBeforeTheSystemIsAsked) {
    machine.failNext("WindowsCreateStringReference", 0x8007000E);

    EXPECT_THROW(activate<IPackageManager>(kPackageManagerClass), Platform::OutOfMemoryException);

    EXPECT_EQ(machine.trace.count("RoGetActivationFactory"), 0U);
}

TEST(ActivationWithoutCom, Throws) {
    MountedMachine mounted;

    try {
        activate<IPackageManager>(kPackageManagerClass);
        FAIL() << "nothing was thrown";
    } catch (const Platform::COMException& exception) {
        EXPECT_EQ(exception.hresult(), CO_E_NOTINITIALIZED);
    }
}

}  // namespace
