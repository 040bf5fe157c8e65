#pragma once

#include "platform/Windows.h"

// Codes of the Windows Runtime that the compiler's headers lack, under their Windows names.
#ifndef E_BOUNDS
constexpr HRESULT E_BOUNDS = static_cast<HRESULT>(0x8000000B);
#endif
#ifndef E_CHANGED_STATE
constexpr HRESULT E_CHANGED_STATE = static_cast<HRESULT>(0x8000000C);
#endif
#ifndef RO_E_CLOSED
constexpr HRESULT RO_E_CLOSED = static_cast<HRESULT>(0x80000013);
#endif
