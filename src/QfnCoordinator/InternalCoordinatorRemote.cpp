// What scripts do across coordinators: their console output sent to the requester, and data
// requests handed to the function registered for them.
#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnMessage/Message.h"
#include "QfnService/EvalThenSendMessageTask.h"
#include "QfnTask/Task.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

bool InternalCoordinator::sendConsoleText(const std::shared_ptr<Task>& task, bool isStdErr,
                                          const std::shared_ptr<IOMNode>& value)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(value);
            std::shared_ptr<const IObject> senderObj;
            std::shared_ptr<const IObject> destinationObj;
            auto request = std::dynamic_pointer_cast<EvalThenSendMessageTask>(
                task ? task->getParentEvalThenSendMessageTask() : nullptr);
            if (request) {
                senderObj = request->getSenderObj();
                destinationObj = request->getDestinationObj();
            } else {
                ASSIGN(senderObj, getAddressObj());
                destinationObj = senderObj;
            }
            std::shared_ptr<IObject> message;
            ASSIGN(message,
                   Message::factoryFromSenderDestinationAddressOpCodeOMNode(
                       senderObj, destinationObj, isStdErr ? OpCode::STD_ERR : OpCode::STD_OUT, value));
            SANITY_CHECK(queueMessage(message));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<Task> InternalCoordinator::handleDataRequest(const std::shared_ptr<const IObject>&,
                                                             const std::string& callBackID,
                                                             const std::string&, int64_t, int64_t, GUIDClass*,
                                                             GUIDClass*, const std::shared_ptr<OMScope>&)
{
    // Calling the registered function and answering with DATA_REPLY comes with the remote scripts.
    if (Log::getLogLevel() >= 3) {
        const char* why = getDataRequestCallBack(callBackID) ? "data requests are not served yet"
                                                             : "no function is registered for it";
        LOG_NOTE(
            Utils::stringWithFormat("dropping dataRequest for callBackID %s: %s", callBackID.c_str(), why));
    }
    return nullptr;
}

}  // namespace Qfn
