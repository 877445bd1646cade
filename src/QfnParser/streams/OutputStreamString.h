#pragma once

#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/streams/OutputStream.h"

namespace Qfn {

// Collects what is written; the same text can be taken at once or read back as an input stream.
class OutputStreamString : public OutputStream, public InputStreamString {
public:
    static std::shared_ptr<OutputStreamString> factory();

    bool flush() override { return true; }
    bool write(const std::string& text) override { return feed(text); }
    // Everything written since the last call; reading goes on after it.
    std::string getAndClearBuffer();

private:
    OutputStreamString() : InputStreamString(std::string()) {}
};

}  // namespace Qfn
