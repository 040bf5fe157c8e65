#pragma once

#include <array>
#include <cerrno>
#include <optional>
#include <tuple>
#include <utility>

#include "CallFormats.h"
#include "Format.h"
#include "Machine.h"
#include "PendingCall.h"
#include "PlatformCalls.h"
#include "RuntimeCalls.h"
#include "Tears.h"

namespace standin {

template <Failure Kind, typename Result>
bool isFailure(Result result) {
    if constexpr (Kind == Failure::LastError) return result == Result{};
    if constexpr (Kind == Failure::InvalidHandle) return result == INVALID_HANDLE_VALUE;
    if constexpr (Kind == Failure::AllBitsSet) return result == static_cast<Result>(-1);
    if constexpr (Kind == Failure::Status) return result != 0;
    if constexpr (Kind == Failure::Hresult) return result < 0;
    if constexpr (Kind == Failure::ReturnsArgument) return result != nullptr;
    if constexpr (Kind == Failure::Errno) {
        if constexpr (std::is_pointer_v<Result>) return result == nullptr;
        if constexpr (!std::is_pointer_v<Result>) return result == -1;
    }
    return false;
}

// What a failed call gives back, after setting last error or errno.
template <Failure Kind, typename Result, typename... A>
Result failedResult(DWORD error, A... arguments) {
    if constexpr (Kind == Failure::Status || Kind == Failure::Hresult) {
        return static_cast<Result>(error);
    } else if constexpr (Kind == Failure::Errno) {
        errno = static_cast<int>(error);
        if constexpr (std::is_pointer_v<Result>) {
            return nullptr;
        } else {
            return -1;
        }
    } else {
        ::SetLastError(error);
        if constexpr (Kind == Failure::InvalidHandle) {
            return INVALID_HANDLE_VALUE;
        } else if constexpr (Kind == Failure::AllBitsSet) {
            return static_cast<Result>(-1);
        } else if constexpr (Kind == Failure::ReturnsArgument) {
            return std::get<0>(std::tuple(arguments...));
        } else {
            return Result{};
        }
    }
}

template <Failure Kind, typename Result>
std::string resultText(Result result) {
    if constexpr (Kind == Failure::Hresult) {
        return hresultText(result);
    } else if constexpr (Kind == Failure::InvalidHandle || Kind == Failure::ReturnsArgument) {
        return handleText(result);
    } else if constexpr (std::is_same_v<Result, HANDLE> || std::is_same_v<Result, HMODULE>) {
        return handleText(result);
    } else if constexpr (std::is_pointer_v<Result> && !std::is_same_v<Result, const wchar_t*>) {
        return result == nullptr ? "null" : "given";
    } else if constexpr (Kind == Failure::AllBitsSet) {
        return hexText(result);
    } else {
        return input('.', result);
    }
}

template <PlatformCall C, typename Function = typename CallTraits<C>::Function>
struct Hook;

// The function that stands in a mounted import slot: it notes the call, lets a fault decide, else hands on to the
// machine's service, else to Windows. The caller finds last error and errno as the call left them.
template <PlatformCall C, typename Result, typename... A>
struct Hook<C, Result (*)(A...)> {
    using Traits = CallTraits<C>;
    static constexpr Failure kFailure = Traits::failure;
    static constexpr bool kCanFail = kFailure != Failure::Never && kFailure != Failure::DoesNotReturn;

    static inline Result (*s_service)(A...) = nullptr;

    static Result call(A... arguments) {
        const DWORD lastError = ::GetLastError();
        if (Untraced::isActive() || isRuntimesOwn<C>(arguments...)) {
            ::SetLastError(lastError);
            return Traits::real()(arguments...);
        }
        PendingCall pending(Traits::name, kCanFail, Tear<C>::isPossible);
        describeInputs(pending, std::index_sequence_for<A...>(), arguments...);
        if constexpr (kFailure == Failure::DoesNotReturn) PendingCall::finishForEver();
        ::SetLastError(lastError);
        return finish(pending, lastError, arguments...);
    }

private:
    static Result finish(PendingCall& pending, DWORD, A... arguments) {
        if constexpr (Tear<C>::isPossible) {
            if (pending.mustTear()) {
                Tear<C>::performHalf(arguments...);
                Machine::get().endProcess(kEndedByFault);
            }
        }
        if constexpr (std::is_void_v<Result>) {
            perform(arguments...);
            Machine::get().runCallbacks(Traits::name);
            const DWORD after = ::GetLastError();
            if constexpr (kFailure != Failure::DoesNotReturn) {
                describeOutputs(pending, true, std::index_sequence_for<A...>(), arguments...);
                pending.finish("void", false);
            }
            ::SetLastError(after);
        } else {
            const Result result = pending.mustFail() ? failed(pending, arguments...)
                                                     : perform(arguments...);
            const int errorNumber = errno;
            const DWORD leftByCall = ::GetLastError();
            const bool hasFailed = isFailure<kFailure>(result);
            describeOutputs(pending, !hasFailed, std::index_sequence_for<A...>(), arguments...);
            if constexpr (kFailure == Failure::Status || kFailure == Failure::Hresult) {
                pending.finish(resultText<kFailure>(result), hasFailed);
            } else if constexpr (kFailure == Failure::Errno) {
                pending.finish(resultText<kFailure>(result), hasFailed,
                               static_cast<DWORD>(errorNumber));
            } else {
                pending.finish(resultText<kFailure>(result), hasFailed, leftByCall);
            }
            ::SetLastError(leftByCall);
            Machine::get().runCallbacks(Traits::name);
            errno = errorNumber;
            return result;
        }
    }

    static Result perform(A... arguments) {
        return s_service != nullptr ? s_service(arguments...) : Traits::real()(arguments...);
    }

    static Result failed(const PendingCall& pending, A... arguments) {
        if constexpr (kCanFail) {
            return failedResult<kFailure, Result>(pending.injectedError(), arguments...);
        } else {
            return perform(arguments...);
        }
    }

    template <size_t... I>
    static void describeInputs(PendingCall& pending, std::index_sequence<I...>, A... arguments) {
        if constexpr (CallFormat<C>::isSpecial) {
            pending.arguments() = CallFormat<C>::arguments(arguments...);
        } else {
            (pending.arguments().push_back(describeInput<A>(Traits::argumentKinds[I], arguments)),
             ...);
        }
        (noteReleased(pending, arguments), ...);
    }

    template <typename T>
    static std::string describeInput(char letter, T value) {
        if (!isOutput<T>(letter)) return input(letter, value);
        if constexpr (std::is_same_v<T, DWORD*>) {
            if (letter == 'i' && value != nullptr) return std::to_string(*value);
        }
        if constexpr (std::is_pointer_v<T>) {
            if (value == nullptr) return "null";
        }
        return "out";
    }

    template <size_t... I>
    static void describeOutputs(PendingCall& pending, bool succeeded, std::index_sequence<I...>,
                                A... arguments) {
        if constexpr (!CallFormat<C>::isSpecial) {
            if (succeeded) {
                (describeOutput<A>(Traits::argumentKinds[I], pending.arguments()[I], arguments), ...);
            }
        }
    }

    template <typename T>
    static void describeOutput(char letter, std::string& text, T value) {
        if constexpr (isOutput<T>('.')) {
            if (value == nullptr || !isOutput<T>(letter)) return;
            text = letter == 'i' ? text + "->" + output(value) : output(value);
        }
    }

    template <typename T>
    static void noteReleased(PendingCall& pending, T value) {
        Ledger& ledger = Machine::get().ledger;
        if constexpr (std::is_same_v<T, void*> || std::is_same_v<T, HKEY>) {
            if (ledger.wasOut(value)) pending.noteUseAfterRelease(ledger.nameOf(value));
        }
        // A released string does no harm as long as its memory happens to be readable: the call may well succeed.
        if constexpr (std::is_same_v<T, HSTRING> && C != PlatformCall::WindowsDeleteString) {
            if (ledger.wasOut(value)) {
                ledger.noteMisuse(std::string(Traits::name) + " with " + ledger.nameOf(value) +
                                  ", which was released");
            }
        }
    }
};

// Makes `service` answer for the call.
template <PlatformCall C>
void serve(typename CallTraits<C>::Function service) {
    Hook<C>::s_service = service;
}

}  // namespace standin
