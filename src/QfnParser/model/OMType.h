#pragma once

namespace Qfn {

// The tag of a value node. Ordering comparisons of unlike types compare these numbers.
enum class OMType {
    Undefined = 1,
    Null = 2,
    Bool = 3,
    Date = 4,
    Int = 5,
    Float = 6,
    String = 7,
    Array = 8,
    Map = 9,
    Expression = 10,
    Error = 11,
    Function = 12,
    NaN = 13,
    GUID = 14,
};

}  // namespace Qfn
