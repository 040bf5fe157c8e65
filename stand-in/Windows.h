#pragma once

// The Windows headers as the stand-in machine uses them.
#ifndef UNICODE
#define UNICODE
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <aclapi.h>
#include <activation.h>
#include <combaseapi.h>
#include <hstring.h>
#include <inspectable.h>
#include <oleauto.h>
#include <roapi.h>
#include <sddl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <shlwapi.h>
#include <winstring.h>
