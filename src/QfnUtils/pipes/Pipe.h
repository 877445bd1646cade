#pragma once

#include <string>

namespace Qfn {

// What read and write pipes share: the handle Pipes gives out, the marker file's path, the
// socket's path, and how many times the pipe was opened by path.
class Pipe {
public:
    virtual ~Pipe();
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    int getPipeExternalHandle() const { return fPipeExternalHandle; }
    const std::string& getNamedPipePath() const { return fNamedPipePath; }
    const std::string& getRawNamedPipePath() const { return fRawNamedPipePath; }
    int getOpenCount() const { return fOpenCount; }
    bool openCountIncrement();
    bool openCountDecrement();

    // The line of a switch of the pipe's state, kind being the enumeration's name.
    std::string stateSwitchText(const char* kind, const char* from, const char* to) const;
    // The line of a switch of the state of one of the pipe's connections (pipe may be gone).
    static std::string handleStateSwitchText(const Pipe* pipe, const char* kind, int socketHandle,
                                             const char* from, const char* to);

    // The next small integer that no read or write pipe holds, from 1 on; 0 when none is left.
    static int getNextAvailablePipeExternalHandle();

protected:
    explicit Pipe(const std::string& namedPipePath);

    int fPipeExternalHandle = 0;
    std::string fNamedPipePath;
    std::string fRawNamedPipePath;
    int fOpenCount = 0;
};

}  // namespace Qfn
