#pragma once

#include "platform/ComPointer.h"
#include "platform/PackageManager.h"
#include "platform/StandardExceptions.h"

// Waiting for a deployment operation, in the manner of the tasks that the language extension for
// the Windows Runtime brings along.
namespace Concurrency {

// Thrown for an operation that was cancelled. It has no message.
class task_canceled : public UnknownException {};

// The outcome of one operation, once it has ended; filled by the completion handler on another thread.
class DeploymentOutcome;

class task {
public:
    // Attaches the completion handler. Throws a platform exception if the operation refuses it.
    explicit task(const ComPointer<IDeploymentOperation>& operation);

    task(const task&) = delete;
    task& operator=(const task&) = delete;
    ~task();

    // Blocks, with no time limit, until the operation has ended. Throws the failure of the
    // operation, or of fetching its result, as a platform exception; returns for a cancelled one.
    // The thread must be in the multi-threaded apartment.
    void wait() const;

    // Waits like `wait`, then gives the result. Throws task_canceled for a cancelled operation.
    ComPointer<IDeploymentResult> get() const;

private:
    ComPointer<DeploymentOutcome> m_outcome;
};

inline task create_task(const ComPointer<IDeploymentOperation>& operation) {
    return task(operation);
}

}  // namespace Concurrency
