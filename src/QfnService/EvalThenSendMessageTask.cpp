#include "QfnService/EvalThenSendMessageTask.h"

#include "QfnLogger/Check.h"
#include "QfnMessage/Message.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnService/IServiceHost.h"

namespace Qfn {

EvalThenSendMessageTask::EvalThenSendMessageTask(std::shared_ptr<OMStored> stored,
                                                 std::shared_ptr<OMScope> scope,
                                                 std::shared_ptr<const IObject> senderObj,
                                                 std::shared_ptr<const IObject> destinationObj,
                                                 const ReplyIds& replyIds, OpCode opCode)
    : Task("EvalThenSendMessageTask", -2, nullptr),
      EvalTask(std::move(stored), std::move(scope), HandleReturnValue::UNWRAP),
      fSenderObj(std::move(senderObj)),
      fDestinationObj(std::move(destinationObj)),
      fReplyIds(replyIds),
      fOpCode(opCode)
{
}

std::shared_ptr<Task> EvalThenSendMessageTask::factory(const std::shared_ptr<OMStored>& stored,
                                                       const std::shared_ptr<OMScope>& scope,
                                                       std::shared_ptr<const IObject> senderObj,
                                                       std::shared_ptr<const IObject> destinationObj,
                                                       const ReplyIds& replyIds, OpCode opCode)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            SANITY_CHECK(stored);
            SANITY_CHECK(scope);
            SANITY_CHECK(senderObj);
            SANITY_CHECK(destinationObj);
            std::shared_ptr<Task> task(new EvalThenSendMessageTask(
                stored, scope, std::move(senderObj), std::move(destinationObj), replyIds, opCode));
            SANITY_CHECK(Task::registerTask(task));
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<Task> EvalThenSendMessageTask::factoryFromScript(
    const std::string& script, const std::shared_ptr<OMScope>& scope,
    std::shared_ptr<const IObject> senderObj, std::shared_ptr<const IObject> destinationObj,
    const ReplyIds& replyIds, OpCode opCode)
{
    std::shared_ptr<Task> retVal;
    try {
        do {
            std::shared_ptr<OMStored> scriptNode;
            ASSIGN(scriptNode, OMStored::undefinedFactory());
            std::shared_ptr<Task> task;
            ASSIGN(task, factory(scriptNode, scope, std::move(senderObj), std::move(destinationObj), replyIds,
                                 opCode));
            auto* request = dynamic_cast<EvalThenSendMessageTask*>(task.get());
            SANITY_CHECK(request);
            request->fScript = script;
            request->fIsParsed = false;
            retVal = task;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void EvalThenSendMessageTask::timeslice()
{
    try {
        do {
            if (!fIsParsed) {
                if (!fScriptStream) {
                    ASSIGN(fScriptStream, InputStreamString::factory(fScript));
                    OMStored::lastParseError() = "syntax error";
                }
                fStored->parseExpressionList_yielding(shared_from_this(), fIsParseOK, fScriptStream);
                if (getFunctionStateCount() != 0) break;
                fIsParsed = true;
                fScript.clear();
                fScriptStream.reset();
                if (!fIsParseOK) {
                    fParseFailure = OMStored::lastParseError();
                    break;
                }
            }
            if (fParseFailure.empty()) EvalTask::timeslice();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

std::shared_ptr<OMStored> EvalThenSendMessageTask::buildReplyNode(const ReplyIds& replyIds, bool success,
                                                                  const std::shared_ptr<IOMNode>& result)
{
    std::shared_ptr<OMStored> retVal;
    try {
        do {
            std::shared_ptr<OMStored> replyNode;
            ASSIGN(replyNode, OMStored::mapFactory());
            OMAccessor reply(replyNode);
            if (replyIds.clientSequenceNr >= 0) {
                SANITY_CHECK(reply.set("clientSequenceNr", replyIds.clientSequenceNr));
            }
            if (replyIds.clientSessionGUID) {
                SANITY_CHECK(reply.set("clientSessionId", replyIds.clientSessionGUID->toString()));
            }
            if (replyIds.serviceSequenceNr >= 0) {
                SANITY_CHECK(reply.set("serviceSequenceNr", replyIds.serviceSequenceNr));
            }
            if (replyIds.serviceSessionGUID) {
                SANITY_CHECK(reply.set("serviceSessionId", replyIds.serviceSessionGUID->toString()));
            }
            SANITY_CHECK(reply.set("success", success));
            if (result) {
                SANITY_CHECK(reply.set("result", result));
            }
            retVal = replyNode;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool EvalThenSendMessageTask::handleCompletion()
{
    bool retVal = false;
    try {
        do {
            // Completion may be reported more than once; the requester hears once.
            if (!fIsReplySent) {
                fIsReplySent = true;
                IServiceHost* host = IServiceHost::get();
                SANITY_CHECK(host);
                std::shared_ptr<OMStored> replyNode;
                if (fParseFailure.empty()) {
                    ASSIGN(replyNode, buildReplyNode(fReplyIds, !!fRetValNode, fRetValNode));
                } else {
                    std::shared_ptr<OMStored> reason;
                    ASSIGN(reason, OMStored::undefinedFactory());
                    SANITY_CHECK(OMAccessor(reason).set(fParseFailure));
                    ASSIGN(replyNode, buildReplyNode(fReplyIds, false, reason));
                }
                std::shared_ptr<IObject> resultMessage;
                ASSIGN(resultMessage, Message::factoryFromSenderDestinationAddressOpCodeOMNode(
                                          fSenderObj, fDestinationObj, fOpCode, replyNode));
                SANITY_CHECK(host->queueMessage(resultMessage));
            }
            retVal = Task::handleCompletion();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
