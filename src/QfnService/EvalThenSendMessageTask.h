#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "QfnMessage/OpCode.h"
#include "QfnObject/Forward.h"
#include "QfnParser/tasks/script/EvalTask.h"

namespace Qfn {

// Evaluates the script of a request, then sends the answer: a message with the opcode given, from
// the service to the requester, whose map holds the success, the result and the request's ids.
class EvalThenSendMessageTask : public EvalTask {
public:
    // What the answer echoes of the request; a sequence number of -1 or a null GUID is left out.
    struct ReplyIds {
        int64_t clientSequenceNr = -1;
        int64_t serviceSequenceNr = -1;
        GUIDClass* clientSessionGUID = nullptr;
        GUIDClass* serviceSessionGUID = nullptr;
    };

    static std::shared_ptr<Task> factory(const std::shared_ptr<OMStored>& stored,
                                         const std::shared_ptr<OMScope>& scope,
                                         std::shared_ptr<const IObject> senderObj,
                                         std::shared_ptr<const IObject> destinationObj,
                                         const ReplyIds& replyIds, OpCode opCode);
    // The same for a script still to be parsed: the task parses it in its own slices first, so that
    // a long script holds up no one, and answers a script that does not parse with the reason.
    static std::shared_ptr<Task> factoryFromScript(const std::string& script,
                                                   const std::shared_ptr<OMScope>& scope,
                                                   std::shared_ptr<const IObject> senderObj,
                                                   std::shared_ptr<const IObject> destinationObj,
                                                   const ReplyIds& replyIds, OpCode opCode);
    void timeslice() override;

    // The requester: where the answer, and what the script prints with stdOut/stdErr, go.
    const std::shared_ptr<const IObject>& getDestinationObj() const { return fDestinationObj; }
    const std::shared_ptr<const IObject>& getSenderObj() const { return fSenderObj; }
    bool handleCompletion() override;

    // The answer's map: the ids that are set, "success" and "result".
    static std::shared_ptr<OMStored> buildReplyNode(const ReplyIds& replyIds, bool success,
                                                    const std::shared_ptr<IOMNode>& result);

private:
    EvalThenSendMessageTask(std::shared_ptr<OMStored> stored, std::shared_ptr<OMScope> scope,
                            std::shared_ptr<const IObject> senderObj,
                            std::shared_ptr<const IObject> destinationObj, const ReplyIds& replyIds,
                            OpCode opCode);

    std::shared_ptr<const IObject> fSenderObj;
    std::shared_ptr<const IObject> fDestinationObj;
    ReplyIds fReplyIds;
    OpCode fOpCode;
    bool fIsReplySent = false;
    // The script's text while it is being parsed, and the stream the parse reads.
    std::string fScript;
    std::shared_ptr<InputStream> fScriptStream;
    bool fIsParsed = true;
    bool fIsParseOK = false;
    std::string fParseFailure;
};

}  // namespace Qfn
