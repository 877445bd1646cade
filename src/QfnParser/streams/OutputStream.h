#pragma once

#include <memory>
#include <string>

#include "QfnTask/Forward.h"

namespace Qfn {

// Where scripts write text.
class OutputStream {
public:
    virtual ~OutputStream();
    virtual bool flush() { return true; }
    virtual bool write(const std::string& text) = 0;
    // write() for resumable callers; retVal is write()'s result.
    virtual void write_yielding(const std::shared_ptr<Task>& task, bool& retVal, const std::string& text);
};

}  // namespace Qfn
