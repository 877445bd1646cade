#pragma once

#include "QfnParser/streams/OutputStream.h"

namespace Qfn {

// Text to the process's standard error.
class OutputStreamStdErr : public OutputStream {
public:
    static std::shared_ptr<OutputStreamStdErr> factory();

    bool flush() override;
    bool write(const std::string& text) override;

private:
    OutputStreamStdErr() = default;
};

}  // namespace Qfn
