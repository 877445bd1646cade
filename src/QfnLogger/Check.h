#pragma once

#include <memory>

#include "QfnLogger/Log.h"

// The failure convention: a function body is a do { ... } while (false) inside a try; each check
// writes one line naming the failed source text and leaves the innermost loop with break.

#define QFN_LOG_AT_LEVEL(LEVEL, CALL, MSG)                                                           \
    do {                                                                                             \
        if (::Qfn::Log::getLogLevel() >= (LEVEL))                                                    \
            ::Qfn::Log::CALL(__FILE__, __LINE__, __PRETTY_FUNCTION__, ::Qfn::Log::messageText(MSG)); \
    } while (false)

#define LOG_ERROR(MSG) QFN_LOG_AT_LEVEL(1, logError, MSG)
#define LOG_WARNING(MSG) QFN_LOG_AT_LEVEL(2, logWarning, MSG)
#define LOG_NOTE(MSG) QFN_LOG_AT_LEVEL(3, logNote, MSG)
#define LOG_TRACE(MSG) QFN_LOG_AT_LEVEL(4, logTrace, MSG)

// The handler's line for an exception caught at function level.
#define LOG_THROWS(EXC) LOG_ERROR(::Qfn::Log::throwsText((EXC).what()))

// The words of every failed check, joined at compile time from string literals: the macros below
// use them, and so does a line that names a check whose source text is not the expression tested
// there (a format string may stand for SOURCE).
#define QFN_CHECK_TEXT(KIND, SOURCE) KIND " failed: '" SOURCE "' evaluates to false"
#define LOG_CHECK_FAILED(KIND, SOURCE) LOG_ERROR(QFN_CHECK_TEXT(KIND, SOURCE))

#define SANITY_CHECK(...)                               \
    if (__VA_ARGS__) {                                  \
    } else {                                            \
        LOG_CHECK_FAILED("SANITY_CHECK", #__VA_ARGS__); \
        break;                                          \
    }

#define VERIFY(...)                               \
    if (__VA_ARGS__) {                            \
    } else {                                      \
        LOG_CHECK_FAILED("VERIFY", #__VA_ARGS__); \
        break;                                    \
    }

#define EXPECTED(...)                                          \
    if (__VA_ARGS__) {                                         \
    } else {                                                   \
        LOG_WARNING(QFN_CHECK_TEXT("EXPECTED", #__VA_ARGS__)); \
    }

#define ASSIGN(VAR, ...)                                            \
    VAR = __VA_ARGS__;                                              \
    if (VAR) {                                                      \
    } else {                                                        \
        LOG_ERROR("ASSIGN failed: '" #VAR " = " #__VA_ARGS__ ";'"); \
        break;                                                      \
    }

#define ASSIGN_TYPED(TYPE, VAR, ...)                                                \
    std::shared_ptr<TYPE> VAR = std::dynamic_pointer_cast<TYPE>(__VA_ARGS__);       \
    if (VAR) {                                                                      \
    } else {                                                                        \
        LOG_ERROR("ASSIGN_TYPED failed: '" #TYPE " " #VAR " = " #__VA_ARGS__ ";'"); \
        break;                                                                      \
    }

#define ASSIGN_CONST_TYPED(TYPE, VAR, ...)                                                \
    std::shared_ptr<const TYPE> VAR = std::dynamic_pointer_cast<const TYPE>(__VA_ARGS__); \
    if (VAR) {                                                                            \
    } else {                                                                              \
        LOG_ERROR("ASSIGN_CONST_TYPED failed: '" #TYPE " " #VAR " = " #__VA_ARGS__ ";'"); \
        break;                                                                            \
    }
