#pragma once

#include <functional>
#include <string>

#include "DeploymentAbi.h"

namespace standin {

// How a deployment operation ended.
struct DeploymentEnding {
    AsyncStatus status = Completed;
    HRESULT error = S_OK;         // the operation's own
    HRESULT resultsError = S_OK;  // why the result cannot be fetched
    HRESULT code = S_OK;          // in the result
    std::wstring text = {};       // in the result, and as the description of `error`
};

// A new operation; the caller owns the reference. It does its work once, on a thread of its own
// that begins when a handler is attached or its status is asked for, or at the latest when nobody
// holds it any more. With `hasEnded` the work is done before anyone sees the operation, and its
// handler is called before the attaching of it returns.
//
// As on Windows the handler is called on the operation's thread, and released there after the call.
// A release of the operation by anybody else waits for that, so that what follows it is the same in
// every run.
abi::IDeploymentOperation* makeDeploymentOperation(std::function<DeploymentEnding()> work,
                                                   bool hasEnded);

}  // namespace standin
