#pragma once

namespace Qfn {

// The direction of a class's one symmetric content function.
enum class SerializeDeserialize { SERIALIZE = 0, DESERIALIZE = 1 };

}  // namespace Qfn
