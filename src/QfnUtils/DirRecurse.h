#pragma once

namespace Qfn {

// Whether a folder operation also reaches into the sub-folders.
enum class DirRecurse { NO_RECURSE = 0, RECURSE = 1 };

}  // namespace Qfn
