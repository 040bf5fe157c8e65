#include "LastErrorModel.h"

namespace {

// Their number is the C library's own.
bool hasLastError(const standin::Call& call) {
    return call.hasError && call.name != "_wfopen" && call.name != "_write" && call.name != "_close";
}

}  // namespace

std::string lastError(TraceReader& trace) {
    trace.atEnd();  // for the calls that are passed over
    for (size_t i = trace.position(); i-- > 0;) {
        const standin::Call& call = trace.calls()[i];
        if (hasLastError(call)) return std::to_string(call.error);
        // The only one whose success the program may ask about, and which therefore sets it.
        if (call.name == "AdjustTokenPrivileges") return "0";
    }
    return "0";
}
