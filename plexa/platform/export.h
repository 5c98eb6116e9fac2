// PLEXA_API marks what the shared library exports. The library is built with hidden
// visibility, so a class or free function that hosts may call carries PLEXA_API and nothing
// else is visible outside libplexa. Header-only templates and inline functions need no mark.
#pragma once

#if defined(PLEXA_STATIC)
#define PLEXA_API
#elif defined(_WIN32)
#if defined(PLEXA_BUILDING)
#define PLEXA_API __declspec(dllexport)
#else
#define PLEXA_API __declspec(dllimport)
#endif
#else
#define PLEXA_API __attribute__((visibility("default")))
#endif
