#include "QfnParser/tasks/script/ParseAndEvalStreamTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/InputStream.h"

namespace Qfn {

ParseAndEvalStreamTask::ParseAndEvalStreamTask(std::shared_ptr<OMStored> stored,
                                               std::shared_ptr<OMScope> scope,
                                               std::shared_ptr<InputStream> inputStream)
    : Task("ParseAndEvalStreamTask", -2, std::move(inputStream)),
      fStored(std::move(stored)),
      fScope(std::move(scope))
{
}

std::shared_ptr<Task> ParseAndEvalStreamTask::factory(const std::shared_ptr<OMStored>& stored,
                                                      const std::shared_ptr<OMScope>& scope,
                                                      const std::shared_ptr<InputStream>& inputStream)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(stored);
            SANITY_CHECK(scope);
            std::shared_ptr<Task> task(new ParseAndEvalStreamTask(stored, scope, inputStream));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void ParseAndEvalStreamTask::timeslice()
{
    try {
        do {
            std::shared_ptr<Task> task = shared_from_this();
            fStored->parseAndEvalStream_yielding(task, fRetValBool, fScope);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

void ParseAndEvalStreamTask::exit()
{
    try {
        do {
            Task::exit();
            std::shared_ptr<InputStream> inputStream;
            ASSIGN(inputStream, getInputStream());
            inputStream->setEOF();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
