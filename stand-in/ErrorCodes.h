#pragma once

#include "Windows.h"

namespace standin {

// HRESULTs that the compiler's headers lack, under their Windows names.
constexpr HRESULT E_BOUNDS = static_cast<HRESULT>(0x8000000B);
constexpr HRESULT E_ILLEGAL_METHOD_CALL = static_cast<HRESULT>(0x8000000E);
constexpr HRESULT E_ILLEGAL_DELEGATE_ASSIGNMENT = static_cast<HRESULT>(0x80000018);
constexpr HRESULT WEB_E_INVALID_JSON_STRING = static_cast<HRESULT>(0x83750007);
constexpr HRESULT WEB_E_INVALID_JSON_NUMBER = static_cast<HRESULT>(0x83750008);
constexpr HRESULT WEB_E_JSON_VALUE_NOT_FOUND = static_cast<HRESULT>(0x83750009);

}  // namespace standin
