#pragma once

namespace Qfn {

// How a task treats input that is not there yet: ask its stream or parent, wait for it, or take it as end.
enum class AsyncIOType { Inherit = 1, Async = 2, Sync = 3 };

}  // namespace Qfn
