#include "QfnService/ServiceOM.h"

#include "QfnAddress/IAddress.h"
#include "QfnLogger/Check.h"
#include "QfnMessage/IMessage.h"
#include "QfnMessage/Message.h"
#include "QfnObject/ClassSupport.h"
#include "QfnObject/GUIDClass.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/model/OMType.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnService/EvalThenSendMessageTask.h"
#include "QfnService/IServiceHost.h"
#include "QfnUtils/Clock.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string ServiceOM::TYPENAME = "ServiceOM";

struct ServiceOM::Request {
    std::shared_ptr<const IMessage> message;
    std::shared_ptr<const IObject> senderAddressObj;
    std::shared_ptr<OMStored> node;
    GUIDClass* clientSessionGUID = nullptr;
    GUIDClass* serviceSessionGUID = nullptr;
    int64_t clientSequenceNr = -1;
};

std::shared_ptr<IObject> ServiceOM::factory()
{
    return ClassSupport::makeEmpty<ServiceOM>();
}

std::shared_ptr<IObject> ServiceOM::factoryFromNameOMScope(const std::string& name,
                                                           const std::shared_ptr<OMScope>& scope)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! name.empty());
            // clang-format on
            SANITY_CHECK(scope);
            ASSIGN_TYPED(ServiceOM, service, factory());
            service->fName = name;
            service->fScope = scope;
            retVal = service;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ServiceOM::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, &ServiceOM::factory, nullptr);
}

bool ServiceOM::receiveMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Service_abstract::receiveMessage(messageObj));
            Request request;
            ASSIGN_CONST_TYPED(IMessage, message, messageObj);
            request.message = message;
            ASSIGN_CONST_TYPED(IAddress, senderAddress, message->getSenderAddressObj());
            request.senderAddressObj = senderAddress;
            std::shared_ptr<OMStored> incomingMessageNode = message->getAsOMNode();
            SANITY_CHECK(incomingMessageNode);
            if (incomingMessageNode->getType() != OMType::Map) {
                LOG_NOTE("dropping request: its payload is not a map");
                retVal = true;
                break;
            }
            request.node = incomingMessageNode;
            OMAccessor incoming(incomingMessageNode);
            if (incoming.getType("clientSessionId") == OMType::String)
                request.clientSessionGUID = GUIDClass::factory(incoming.getString("clientSessionId"));
            if (incoming.getType("serviceSessionId") == OMType::String)
                request.serviceSessionGUID = GUIDClass::factory(incoming.getString("serviceSessionId"));
            if (incoming.getType("clientSequenceNr") == OMType::Int)
                request.clientSequenceNr = incoming.getInt("clientSequenceNr");
            switch (message->getOpCode()) {
                case OpCode::OPEN_SESSION:
                    retVal = openSession(request);
                    break;
                case OpCode::CLOSE_SESSION:
                    retVal = closeSession(request);
                    break;
                case OpCode::EVAL:
                case OpCode::EVAL_FILE:
                    retVal = evalScript(request);
                    break;
                case OpCode::DATA_REQUEST:
                    retVal = dataRequest(request);
                    break;
                default:
                    LOG_ERROR("unhandled opcode");
                    break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ServiceOM::reply(const Request& request, bool success, const std::shared_ptr<IOMNode>& result,
                      GUIDClass* serviceSessionGUID)
{
    bool retVal = false;
    try {
        do {
            EvalThenSendMessageTask::ReplyIds ids;
            ids.clientSequenceNr = request.clientSequenceNr;
            ids.clientSessionGUID = request.clientSessionGUID;
            ids.serviceSessionGUID = serviceSessionGUID;
            std::shared_ptr<OMStored> outgoingMessageNode;
            ASSIGN(outgoingMessageNode, EvalThenSendMessageTask::buildReplyNode(ids, success, result));
            std::shared_ptr<IObject> resultMessage;
            ASSIGN(resultMessage,
                   Message::factoryFromSenderDestinationAddressOpCodeOMNode(
                       getAddressObj(), request.senderAddressObj, OpCode::EVAL_RESULT, outgoingMessageNode));
            IServiceHost* internalCoordinator = IServiceHost::get();
            SANITY_CHECK(internalCoordinator);
            SANITY_CHECK(internalCoordinator->queueMessage(resultMessage));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ServiceOM::replyFailure(const Request& request, const std::string& reason)
{
    std::shared_ptr<OMStored> reasonNode = OMStored::undefinedFactory();
    if (!reasonNode || !OMAccessor(reasonNode).set(reason)) return false;
    return reply(request, false, reasonNode, request.serviceSessionGUID);
}

bool ServiceOM::openSession(const Request& request)
{
    bool retVal = false;
    try {
        do {
            if (!request.clientSessionGUID) {
                LOG_NOTE("dropping openSession: no clientSessionId");
                retVal = true;
                break;
            }
            GUIDClass* serviceSessionGUID = GUIDClass::randomFactory();
            SANITY_CHECK(serviceSessionGUID);
            Session session;
            session.fScope = OMScope::scopeFactory(fScope, ScopeRelationType::READ_WRITE);
            SANITY_CHECK(session.fScope);
            fSessions[serviceSessionGUID] = std::move(session);
            SANITY_CHECK(reply(request, true, nullptr, serviceSessionGUID));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ServiceOM::closeSession(const Request& request)
{
    const bool isClosed = request.serviceSessionGUID && fSessions.erase(request.serviceSessionGUID) != 0;
    return reply(request, isClosed, nullptr, request.serviceSessionGUID);
}

std::shared_ptr<OMScope> ServiceOM::scopeFor(const Request& request, std::string& reason)
{
    if (request.serviceSessionGUID) {
        auto found = fSessions.find(request.serviceSessionGUID);
        if (found == fSessions.end()) {
            reason = "no such session: " + request.serviceSessionGUID->toString();
            return nullptr;
        }
        return found->second.fScope;
    }
    std::shared_ptr<OMScope> scope = OMScope::scopeFactory(fScope, ScopeRelationType::READ_WRITE);
    if (!scope) {
        LOG_CHECK_FAILED("SANITY_CHECK", "session.fScope");
        reason = "no scope";
    }
    return scope;
}

bool ServiceOM::evalScript(const Request& request)
{
    bool retVal = false;
    try {
        do {
            OMAccessor incoming(request.node);
            const bool isScriptString = incoming.getType("script") == OMType::String;
            std::string script = isScriptString ? incoming.getString("script") : std::string();
            if (request.message->getOpCode() == OpCode::EVAL_FILE && !script.empty()) {
                std::string text;
                if (!Dirs::fileExists(script) || !Dirs::slurpFile(script, text)) {
                    retVal = replyFailure(request, "cannot read " + script);
                    break;
                }
                script = std::move(text);
            }
            if (script.empty()) {
                LOG_NOTE("dropping request: no script");
                retVal = true;
                break;
            }
            std::string reason;
            std::shared_ptr<OMScope> scope = scopeFor(request, reason);
            if (!scope) {
                retVal = replyFailure(request, reason);
                break;
            }
            ASSIGN_CONST_TYPED(IAddress, senderAddress, request.senderAddressObj);
            GUIDClass* upstreamCoordinatorGUID = senderAddress->getUpstreamCoordinatorGUID();
            SANITY_CHECK(upstreamCoordinatorGUID);
            GUIDClass* senderGUID = senderAddress->getAddressedGUID();
            SANITY_CHECK(senderGUID);
            EvalThenSendMessageTask::ReplyIds ids;
            ids.clientSequenceNr = request.clientSequenceNr;
            ids.clientSessionGUID = request.clientSessionGUID;
            ids.serviceSessionGUID = request.serviceSessionGUID;
            std::shared_ptr<Task> task;
            // The script is parsed in the task's own slices: a long one holds up no other request.
            ASSIGN(task,
                   EvalThenSendMessageTask::factoryFromScript(
                       script, scope, getAddressObj(), request.senderAddressObj, ids, OpCode::EVAL_RESULT));
            SANITY_CHECK(Task::startTask(task));
            // Answers owed keep the service busy: a terminating coordinator waits for them.
            std::erase_if(fRequestTasks, [](const std::weak_ptr<Task>& owed) {
                auto running = owed.lock();
                return !running || running->getIsTaskCompleted();
            });
            fRequestTasks.push_back(task);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ServiceOM::isIdle() const
{
    bool isOwing = false;
    for (const std::weak_ptr<Task>& owed : fRequestTasks) {
        auto running = owed.lock();
        if (running && !running->getIsTaskCompleted()) {
            isOwing = true;
            break;
        }
    }
    if (!isOwing) {
        fOwingSince = 0;
        return Service_abstract::isIdle();
    }
    // Answers are waited for a while, not for ever: a script that runs on does not hold a
    // terminating process.
    const int64_t now = Clock::nowNanoseconds();
    if (fOwingSince == 0) fOwingSince = now;
    if (now - fOwingSince < kOwedAnswersWaitNanoseconds) return false;
    LOG_NOTE(Utils::stringWithFormat("%s: answers still owed are not waited for any longer", fName.c_str()));
    return Service_abstract::isIdle();
}

bool ServiceOM::dataRequest(const Request& request)
{
    bool retVal = false;
    try {
        do {
            OMAccessor incoming(request.node);
            if (incoming.getType("callBackID") != OMType::String) {
                LOG_NOTE("no callBackID");
                retVal = true;
                break;
            }
            const std::string callBackID = incoming.getString("callBackID");
            // Data that is not a string travels as its text.
            std::string data;
            const std::shared_ptr<OMMap>& members = request.node->getMap();
            auto dataMember = members ? members->find("data") : OMMap::const_iterator();
            if (members && dataMember != members->end() && dataMember->second) {
                data = dataMember->second->getType() == OMType::String
                           ? dataMember->second->getString()
                           : OMAccessor::stringify(*dataMember->second);
            }
            std::string reason;
            std::shared_ptr<OMScope> scope = scopeFor(request, reason);
            if (!scope) {
                LOG_NOTE("dropping dataRequest: " + reason);
                retVal = true;
                break;
            }
            ASSIGN_CONST_TYPED(IAddress, senderAddress, request.senderAddressObj);
            IServiceHost* internalCoordinator = IServiceHost::get();
            SANITY_CHECK(internalCoordinator);
            // A callBackID that nothing answers to is dropped by the coordinator, with its note.
            internalCoordinator->handleDataRequest(
                request.senderAddressObj, callBackID, data, request.clientSequenceNr, -1,
                senderAddress->getAddressedGUID(), senderAddress->getUpstreamCoordinatorGUID(), scope);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
