#include "QfnParser/tasks/script/ParseTask.h"

#include "QfnLogger/Check.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/streams/InputStreamString.h"

namespace Qfn {

ParseTask::ParseTask(std::shared_ptr<OMStored> stored, std::string text)
    : Task("ParseTask", -2, nullptr), fStored(std::move(stored)), fString(std::move(text))
{
}

std::shared_ptr<Task> ParseTask::factory(const std::shared_ptr<OMStored>& stored, const std::string& text)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(stored);
            std::shared_ptr<Task> task(new ParseTask(stored, text));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ParseTask::call(const std::shared_ptr<OMStored>& stored, const std::string& text)
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(stored, text));
            std::shared_ptr<ParseTask> parse;
            ASSIGN(parse, std::dynamic_pointer_cast<ParseTask>(task));
            SANITY_CHECK(parse->runToCompletion());
            retVal = parse->fRetValBool;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The stream is made once: the parser's frames hold on to it between slices.
void ParseTask::timeslice()
{
    try {
        do {
            if (!fStream) {
                ASSIGN(fStream, InputStreamString::factory(fString));
            }
            std::shared_ptr<Task> task = shared_from_this();
            fStored->parseExpressionList_yielding(task, fRetValBool, fStream);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
