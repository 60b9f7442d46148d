/// What the library exports, for the compiler: of no interest to programs.
#pragma once

#if __cplusplus <= 201703L
#error "zwmgmt needs C++20: compile with -std=c++20 or later"
#endif

/// ZWMGMT_API marks what the library exports. Programs define nothing for the shared library; the
/// static one sets ZWMGMT_STATIC through its build target.
#if defined(ZWMGMT_STATIC)
#define ZWMGMT_API
#elif defined(_WIN32) && defined(ZWMGMT_BUILDING)
#define ZWMGMT_API __declspec(dllexport)
#elif defined(_WIN32)
#define ZWMGMT_API __declspec(dllimport)
#else
#define ZWMGMT_API __attribute__((visibility("default")))
#endif

/// ZWMGMT_LOCAL marks what is declared within an exported class and yet not exported.
#if defined(ZWMGMT_STATIC) || defined(_WIN32)
#define ZWMGMT_LOCAL
#else
#define ZWMGMT_LOCAL __attribute__((visibility("hidden")))
#endif

/// Lets the compiler check the arguments of a printf-like member (positions count from 1, `this`
/// included).
#if defined(__GNUC__)
#define ZWMGMT_PRINTF_LIKE(format_at, arguments_at) \
    __attribute__((format(printf, format_at, arguments_at)))
#else
#define ZWMGMT_PRINTF_LIKE(format_at, arguments_at)
#endif
