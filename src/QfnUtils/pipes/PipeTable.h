#pragma once

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

// The open pipes of one kind, by external handle and by marker path.
template <class PipeT>
class PipeTable {
public:
    // The lines of remove, each with a %d (the handle) or a %s (the path).
    struct Texts {
        const char* removingByHandle;
        const char* removingByPath;
        const char* missingByHandle;
        const char* missingByPath;
    };

    explicit PipeTable(Texts texts) : fTexts(texts) {}

    void add(const std::shared_ptr<PipeT>& pipe)
    {
        fByHandle[pipe->getPipeExternalHandle()] = pipe;
        fByPath[pipe->getNamedPipePath()] = pipe;
    }

    std::shared_ptr<PipeT> findByHandle(int handle) const
    {
        const auto found = fByHandle.find(handle);
        return found == fByHandle.end() ? nullptr : found->second;
    }

    std::shared_ptr<PipeT> findByPath(const std::string& namedPipePath) const
    {
        const auto found = fByPath.find(namedPipePath);
        return found == fByPath.end() ? nullptr : found->second;
    }

    // A copy, so that pipes can close while the caller walks it.
    std::vector<std::shared_ptr<PipeT>> all() const
    {
        std::vector<std::shared_ptr<PipeT>> pipes;
        for (const auto& [handle, pipe] : fByHandle)
            pipes.push_back(pipe);
        return pipes;
    }

    // Closes every pipe, however often it was opened.
    bool closeAll()
    {
        bool retVal = false;
        try {
            do {
                bool isAllClosed = true;
                for (const auto& pipe : all())
                    isAllClosed = pipe->closeForced() && isAllClosed;
                retVal = isAllClosed;
            } while (false);
        } catch (std::exception& e) {
            LOG_THROWS(e);
        }
        return retVal;
    }

    // Whether every pipe is idle by the pipe's own measure.
    template <class IsIdle>
    bool isAllIdle(IsIdle isIdle) const
    {
        bool retVal = false;
        try {
            do {
                const std::vector<std::shared_ptr<PipeT>> pipes = all();
                retVal = std::all_of(pipes.begin(), pipes.end(), isIdle);
            } while (false);
        } catch (std::exception& e) {
            LOG_THROWS(e);
        }
        return retVal;
    }

    // Takes the pipe out of both maps; false when either did not hold it.
    bool remove(const PipeT& pipe)
    {
        const int handle = pipe.getPipeExternalHandle();
        const std::string& path = pipe.getNamedPipePath();
        bool isFound = true;
        const auto byHandle = fByHandle.find(handle);
        if (byHandle != fByHandle.end() && byHandle->second.get() == &pipe) {
            LOG_NOTE(Utils::stringWithFormat(fTexts.removingByHandle, handle));
            fByHandle.erase(byHandle);
        } else {
            LOG_ERROR(Utils::stringWithFormat(fTexts.missingByHandle, handle));
            isFound = false;
        }
        const auto byPath = fByPath.find(path);
        if (byPath != fByPath.end() && byPath->second.get() == &pipe) {
            LOG_NOTE(Utils::stringWithFormat(fTexts.removingByPath, path.c_str()));
            fByPath.erase(byPath);
        } else {
            LOG_ERROR(Utils::stringWithFormat(fTexts.missingByPath, path.c_str()));
            isFound = false;
        }
        return isFound;
    }

private:
    Texts fTexts;
    std::map<int, std::shared_ptr<PipeT>> fByHandle;
    std::map<std::string, std::shared_ptr<PipeT>> fByPath;
};

}  // namespace Qfn
