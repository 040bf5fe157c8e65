#pragma once

namespace standin {

// Whether this thread has entered COM.
bool isComStarted();

}  // namespace standin
