#pragma once

#include <inspectable.h>

#include "platform/ComPointer.h"

#ifdef __GNUC__
#pragma GCC diagnostic push
// A COM interface must not have a virtual destructor: it would take places in the table.
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// Windows.Data.Json as the system lays it out: a method's place decides. Unused methods stand as
// `UnusedN`, N being their place in the table.

struct IJsonObject : IInspectable {
    static constexpr IID kId{
        0x064e24dd, 0x29c2, 0x4f83, {0x9a, 0xc1, 0x9e, 0xe1, 0x15, 0x78, 0xbe, 0xb3}};
};

#ifdef __GNUC__
#pragma GCC diagnostic pop
#endif
