#pragma once

// What test programs may call of stand-in.dll.
#ifdef STANDIN_BUILD
#define STANDIN_API __declspec(dllexport)
#else
#define STANDIN_API __declspec(dllimport)
#endif
