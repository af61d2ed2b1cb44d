// The macros that Apple's headers are written with.
#pragma once

#include <TargetConditionals.h>
#include <os/availability.h>

#ifdef __cplusplus
#define CF_EXPORT extern "C"
#define CF_EXTERN_C_BEGIN extern "C" {
#define CF_EXTERN_C_END }
#else
#define CF_EXPORT extern
#define CF_EXTERN_C_BEGIN
#define CF_EXTERN_C_END
#endif

#define CF_ASSUME_NONNULL_BEGIN _Pragma("clang assume_nonnull begin")
#define CF_ASSUME_NONNULL_END _Pragma("clang assume_nonnull end")
#define CF_BRIDGED_TYPE(class) __attribute__((objc_bridge(class)))
#define CF_RETURNS_RETAINED __attribute__((cf_returns_retained))

#define CF_ENUM_WITHOUT_NAME(type) enum : type
#define CF_ENUM_WITH_NAME(type, name)                                                                        \
    enum name : type name;                                                                                   \
    enum __attribute__((enum_extensibility(open))) name : type
#define CF_THIRD_OF(first, second, third, ...) third
#define CF_ENUM(...) CF_THIRD_OF(__VA_ARGS__, CF_ENUM_WITH_NAME, CF_ENUM_WITHOUT_NAME, )(__VA_ARGS__)
// So that they can be joined by "|" in C++ too.
#define CF_OPTIONS(type, name)                                                                               \
    type name;                                                                                               \
    enum __attribute__((flag_enum, enum_extensibility(open))) : name
