#pragma once

#include <memory>
#include <string>

#include "QfnParser/Forward.h"
#include "QfnTask/Task.h"

namespace Qfn {

// Parses a script text into a node.
class ParseTask : public virtual Task {
public:
    static std::shared_ptr<Task> factory(const std::shared_ptr<OMStored>& stored, const std::string& text);
    // Parses at once, serving the other tasks meanwhile; false for a text that does not parse.
    static bool call(const std::shared_ptr<OMStored>& stored, const std::string& text);

    void timeslice() override;

private:
    ParseTask(std::shared_ptr<OMStored> stored, std::string text);

    std::shared_ptr<OMStored> fStored;
    std::string fString;
    std::shared_ptr<InputStream> fStream;
};

}  // namespace Qfn
