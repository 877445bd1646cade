#pragma once

namespace Qfn {

// The heap record of one resumable call: the state it goes on at, and (in subclasses) its locals.
struct OMFunctionState {
    static constexpr unsigned kFinished = 0xFFFFFFFFu;

    virtual ~OMFunctionState() = default;
    unsigned fState = 0;
};

}  // namespace Qfn
