#pragma once

#include "QfnParser/streams/OutputStream.h"

namespace Qfn {

// Text to the process's standard output.
class OutputStreamStdOut : public OutputStream {
public:
    static std::shared_ptr<OutputStreamStdOut> factory();

    bool flush() override;
    bool write(const std::string& text) override;

private:
    OutputStreamStdOut() = default;
};

}  // namespace Qfn
