#include "platform/AsyncWait.h"

#include <thread>

#include "OlderPackagesFixture.h"
#include "platform/Activation.h"

namespace {

using Concurrency::create_task;
using standin::RemovalOutcome;
using ::testing::ElementsAre;

constexpr auto kFailureCode = static_cast<int32_t>(kFailure);

// Waits for removals as the machine does them.
class AsyncWaitTest : public OlderPackagesFixture, public ::testing::WithParamInterface<bool> {
protected:
    AsyncWaitTest() { addOlder(1); }

    // The removal of the package, which ends so.
    ComPointer<IDeploymentOperation> remove(RemovalOutcome outcome = {}) {
        outcome.endsAtOnce = GetParam();
        machine.state.packages[0].removal = outcome;
        const auto manager = Platform::activate<IPackageManager2>(kPackageManagerClass);
        const Platform::String name(machine.state.packages[0].fullName);
        ComPointer<IDeploymentOperation> operation;
        Platform::ThrowForHResult(manager->RemovePackageWithOptionsAsync(
            name.get(), RemovalOptions::None, operation.put()));
        machine.trace.clear();
        return operation;
    }

    // The thread that runs when a method of that name is called.
    void watchThread(std::string_view method) {
        machine.onCall(method, [this] { m_thread = ::GetCurrentThreadId(); });
    }

    DWORD m_thread = 0;
};

template <typename Action>
HRESULT thrownBy(Action action) {
    try {
        action();
        return S_OK;
    } catch (const Platform::Exception& exception) {
        return exception.hresult();
    }
}

TEST_P(AsyncWaitTest, ReturnsWhenTheOperationIsDone) {
    const auto operation = remove();

    const Concurrency::task task = create_task(operation);
    task.wait();

    EXPECT_THAT(leftPackages(), ElementsAre("Velta.LC.QK_1.0.0.0_x64: 1"));
}

TEST_P(AsyncWaitTest, GivesTheResultOfTheOperation) {
    const auto operation = remove({RemovalOutcome::Kind::DoneWithError, kFailureCode, L"text", false});

    const Concurrency::task task = create_task(operation);
    const ComPointer<IDeploymentResult> result = task.get();

    HRESULT code = S_OK;
    EXPECT_EQ(result->get_ExtendedErrorCode(&code), S_OK);
    EXPECT_EQ(code, kFailureCode);
}

TEST_P(AsyncWaitTest, TheResultIsFetchedOnceAndGivenAsOftenAsItIsAskedFor) {
    const auto operation = remove();
    const Concurrency::task task = create_task(operation);

    const ComPointer<IDeploymentResult> first = task.get();
    const ComPointer<IDeploymentResult> second = task.get();

    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(machine.trace.count("IAsyncOperationWithProgress::GetResults"), 1U);
}

TEST_P(AsyncWaitTest, AFailedOperationThrowsFromWaitAndFromGet) {
    const auto operation = remove({RemovalOutcome::Kind::Failed, kFailureCode, L"", false});
    const Concurrency::task task = create_task(operation);

    EXPECT_THROW(task.wait(), Platform::FailureException);
    EXPECT_THROW(task.wait(), Platform::FailureException);
    EXPECT_THROW(task.get(), Platform::FailureException);

    EXPECT_EQ(machine.trace.count("IAsyncInfo::get_ErrorCode"), 1U);
    EXPECT_EQ(machine.trace.count("IAsyncOperationWithProgress::GetResults"), 0U);
}

TEST_P(AsyncWaitTest, AFailureIsOfTheKindThatItsCodeSays) {
    const auto operation = remove(
        {RemovalOutcome::Kind::Failed, static_cast<int32_t>(kAccessDenied), L"", false});

    EXPECT_THROW(create_task(operation).wait(), Platform::AccessDeniedException);
}

TEST_P(AsyncWaitTest, AFailureWhoseCodeIsASuccessIsAFailureAllTheSame) {
    const auto operation = remove({RemovalOutcome::Kind::Failed, S_OK, L"", false});

    EXPECT_THROW(create_task(operation).wait(), Platform::FailureException);
}

TEST_P(AsyncWaitTest, TheDescriptionOfAFailureComesAlongFromItsThread) {
    const auto operation = remove(
        {RemovalOutcome::Kind::Failed, kFailureCode, L"it is broken", false});
    const Concurrency::task task = create_task(operation);

    try {
        task.wait();
        ADD_FAILURE() << "no exception";
    } catch (const Platform::Exception& exception) {
        EXPECT_EQ(exception.message(), L"it is broken");
    }
}

TEST_P(AsyncWaitTest, AFailureWithoutACodeIsAFailureAllTheSame) {
    const auto operation = remove({RemovalOutcome::Kind::Failed, 0, L"", false});

    EXPECT_THROW(create_task(operation).wait(), Platform::FailureException);
}

TEST_P(AsyncWaitTest, ACodeThatCannotBeReadIsTheFailure) {
    const auto operation = remove({RemovalOutcome::Kind::Failed, kFailureCode, L"", false});
    machine.failNext("IAsyncInfo::get_ErrorCode", 0x8007000E);

    EXPECT_THROW(create_task(operation).wait(), Platform::OutOfMemoryException);
}

TEST_P(AsyncWaitTest, AnOperationWithoutAsyncInfoIsAFailure) {
    const auto operation = remove({RemovalOutcome::Kind::Failed, kFailureCode, L"", false});
    machine.failNext("DeploymentOperation::QueryInterface", kNoInterface);

    EXPECT_THROW(create_task(operation).wait(), Platform::InvalidCastException);
}

// Required: waiting for a cancelled operation succeeds; only its result throws.
TEST_P(AsyncWaitTest, ACancelledOperationThrowsOnlyFromGet) {
    const auto operation = remove({RemovalOutcome::Kind::Canceled, 0, L"", false});
    const Concurrency::task task = create_task(operation);

    task.wait();

    try {
        task.get();
        ADD_FAILURE() << "no exception";
    } catch (const Concurrency::task_canceled& exception) {
        EXPECT_STREQ(exception.what(), "Unknown exception");
    }
    EXPECT_EQ(machine.trace.count("IAsyncOperationWithProgress::GetResults"), 0U);
}

TEST_P(AsyncWaitTest, AResultThatCannotBeFetchedThrowsFromWait) {
    const auto operation = remove({RemovalOutcome::Kind::ResultsLost, kFailureCode, L"", false});
    const Concurrency::task task = create_task(operation);

    EXPECT_THROW(task.wait(), Platform::FailureException);
    EXPECT_THROW(task.get(), Platform::FailureException);
}

TEST_P(AsyncWaitTest, AnOperationThatRefusesTheHandlerThrowsAtOnce) {
    const auto operation = remove();
    machine.failNext("IAsyncOperationWithProgress::put_Completed", 0x80000018);

    EXPECT_EQ(thrownBy([&] { create_task(operation); }), static_cast<HRESULT>(0x80000018));
}

TEST_P(AsyncWaitTest, ASecondTaskOfOneOperationIsRefused) {
    const auto operation = remove();
    const Concurrency::task first = create_task(operation);

    EXPECT_EQ(thrownBy([&] { create_task(operation); }), static_cast<HRESULT>(0x80000018));

    first.wait();
}

TEST_P(AsyncWaitTest, ATaskThatNobodyWaitsForMayGo) {
    const auto operation = remove();

    { const Concurrency::task task = create_task(operation); }

    AsyncStatus status = AsyncStatus::Started;
    ComPointer<IAsyncInfo> info;
    Platform::ThrowForHResult(operation.query(info));
    do {
        Platform::ThrowForHResult(info->get_Status(&status));
    } while (status == AsyncStatus::Started);
    EXPECT_EQ(status, AsyncStatus::Completed);
}

TEST_P(AsyncWaitTest, TheHandlerIsCalledOnTheOperationsThreadOrAtOnce) {
    const auto operation = remove();
    watchThread("IAsyncOperationWithProgress::GetResults");

    create_task(operation).wait();

    EXPECT_EQ(m_thread == ::GetCurrentThreadId(), GetParam());
}

INSTANTIATE_TEST_SUITE_P(Ending, AsyncWaitTest, ::testing::Bool(),
                         [](const auto& row) { return row.param ? "AtOnce" : "Later"; });

}  // namespace
