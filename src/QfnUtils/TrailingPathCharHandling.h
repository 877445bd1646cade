#pragma once

namespace Qfn {

// Whether a path test also warns about a trailing separator that does not fit the kind of path:
// a folder path should end in one, a file path should not.
enum class TrailingPathCharHandling { Ignore = 0, Check = 1 };

}  // namespace Qfn
