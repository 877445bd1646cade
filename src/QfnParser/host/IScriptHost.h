#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnParser/Forward.h"

namespace Qfn {

class Task;

// What the language needs of the program it runs in: the console's settings and streams, and the
// few built-ins that act on the program itself. The coordinator implements it and installs it with
// set(); without a host those built-ins fail their check and the console has no default streams.
class IScriptHost {
public:
    virtual ~IScriptHost() = default;

    static IScriptHost* get() { return fHost; }
    static void set(IScriptHost* host) { fHost = host; }

    // The process's default streams: standard input when asked for, else the script file, else the
    // console; standard output.
    virtual std::shared_ptr<InputStream> makeDefaultInputStream() = 0;
    virtual std::shared_ptr<OutputStream> getDefaultOutputStream() = 0;
    // The prompt at nest level 0, the continuation prompt at any other.
    virtual const std::string& getPrompt(int level) = 0;
    virtual bool isInteractive() = 0;
    virtual int64_t getConsoleEcho() = 0;
    virtual bool isTerminating() = 0;

    // quit(), sysInfo() and setDataRequestCallBack().
    virtual bool terminate() = 0;
    virtual std::shared_ptr<OMStored> buildSysInfo() = 0;
    virtual bool setDataRequestCallBack(const std::shared_ptr<OMScope>& scope, const std::string& callBackID,
                                        const std::shared_ptr<OMStored>& callBackFunction,
                                        const std::string& name) = 0;
    // stdOut() and stdErr(): the value goes, as a message, to the console of whoever the task's
    // script serves.
    virtual bool sendConsoleText(const std::shared_ptr<Task>& task, bool isStdErr,
                                 const std::shared_ptr<IOMNode>& value) = 0;

private:
    static constinit inline IScriptHost* fHost = nullptr;
};

}  // namespace Qfn
