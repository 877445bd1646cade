#pragma once

#include <cstdint>

// The program's version, in one place: -v, sysInfo().version and the numeric form read it here.
#define QFN_VERSION_MAJOR 0
#define QFN_VERSION_MINOR 1
#define QFN_VERSION_PATCH 1
#define QFN_VERSION_BUILD 1

#define QFN_VERSION_TEXT_OF(x) #x
#define QFN_VERSION_TEXT(major, minor, patch) \
    QFN_VERSION_TEXT_OF(major) "." QFN_VERSION_TEXT_OF(minor) "." QFN_VERSION_TEXT_OF(patch)

namespace Qfn::Version {

inline constexpr uint32_t kMajor = QFN_VERSION_MAJOR;
inline constexpr uint32_t kMinor = QFN_VERSION_MINOR;
inline constexpr uint32_t kPatch = QFN_VERSION_PATCH;
inline constexpr uint32_t kBuild = QFN_VERSION_BUILD;
inline constexpr const char* kText =
    QFN_VERSION_TEXT(QFN_VERSION_MAJOR, QFN_VERSION_MINOR, QFN_VERSION_PATCH);

}  // namespace Qfn::Version
