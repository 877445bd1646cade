#pragma once

#include <memory>

#include "QfnLogger/Log.h"

// The failure convention: a function body is a do { ... } while (false) inside a try; each check
// writes one line naming the failed source text and leaves the innermost loop with break.

#define QFN_LOG_AT_LEVEL(LEVEL, CALL, MSG)                                              \
    do {                                                                              \
        if (::Qfn::Log::getLogLevel() >= (LEVEL))                                     \
            ::Qfn::Log::CALL(__FILE__, __LINE__, __PRETTY_FUNCTION__,                 \
                             ::Qfn::Log::messageText(MSG));                           \
    } while (false)

#define LOG_ERROR(MSG) QFN_LOG_AT_LEVEL(1, logError, MSG)
#define LOG_WARNING(MSG) QFN_LOG_AT_LEVEL(2, logWarning, MSG)
#define LOG_NOTE(MSG) QFN_LOG_AT_LEVEL(3, logNote, MSG)
#define LOG_TRACE(MSG) QFN_LOG_AT_LEVEL(4, logTrace, MSG)

// The handler's line for an exception caught at function level.
#define LOG_THROWS(EXC) LOG_ERROR(::Qfn::Log::throwsText((EXC).what()))

#define SANITY_CHECK(...)                                                                          \
    if (__VA_ARGS__) {                                                                             \
    } else {                                                                                       \
        LOG_ERROR("SANITY_CHECK failed: '" #__VA_ARGS__ "' evaluates to false");                    \
        break;                                                                                     \
    }

#define VERIFY(...)                                                                                \
    if (__VA_ARGS__) {                                                                             \
    } else {                                                                                       \
        LOG_ERROR("VERIFY failed: '" #__VA_ARGS__ "' evaluates to false");                          \
        break;                                                                                     \
    }

#define EXPECTED(...)                                                                              \
    if (__VA_ARGS__) {                                                                             \
    } else {                                                                                       \
        LOG_WARNING("EXPECTED failed: '" #__VA_ARGS__ "' evaluates to false");                      \
    }

#define ASSIGN(VAR, ...)                                                                           \
    VAR = __VA_ARGS__;                                                                             \
    if (VAR) {                                                                                     \
    } else {                                                                                       \
        LOG_ERROR("ASSIGN failed: '" #VAR " = " #__VA_ARGS__ ";'");                                \
        break;                                                                                     \
    }

#define ASSIGN_TYPED(TYPE, VAR, ...)                                                               \
    std::shared_ptr<TYPE> VAR = std::dynamic_pointer_cast<TYPE>(__VA_ARGS__);                      \
    if (VAR) {                                                                                     \
    } else {                                                                                       \
        LOG_ERROR("ASSIGN_TYPED failed: '" #TYPE " " #VAR " = " #__VA_ARGS__ ";'");                \
        break;                                                                                     \
    }

#define ASSIGN_CONST_TYPED(TYPE, VAR, ...)                                                         \
    std::shared_ptr<const TYPE> VAR = std::dynamic_pointer_cast<const TYPE>(__VA_ARGS__);          \
    if (VAR) {                                                                                     \
    } else {                                                                                       \
        LOG_ERROR("ASSIGN_CONST_TYPED failed: '" #TYPE " " #VAR " = " #__VA_ARGS__ ";'");          \
        break;                                                                                     \
    }
