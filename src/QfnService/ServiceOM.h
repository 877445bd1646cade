#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "QfnParser/Forward.h"
#include "QfnService/Service_abstract.h"

namespace Qfn {

class Task;

class IMessage;

// Runs the scripts that messages carry, each in its own task: EVAL and EVAL_FILE, in a fresh
// scope below the service's or in a session's, OPEN_SESSION and CLOSE_SESSION for sessions,
// DATA_REQUEST handed to the coordinator. Every request with a map payload is answered.
class ServiceOM : public virtual Service_abstract {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }
    const std::string& getServiceName() const override { return fName; }

    static std::shared_ptr<IObject> factory();
    static std::shared_ptr<IObject> factoryFromNameOMScope(const std::string& name,
                                                           const std::shared_ptr<OMScope>& scope);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    bool receiveMessage(std::shared_ptr<const IObject> messageObj) override;
    // False while a request's script is still running: its answer is owed.
    bool isIdle() const override;
    const std::shared_ptr<OMScope>& getScope() const { return fScope; }
    size_t getSessionCount() const { return fSessions.size(); }

private:
    friend struct ClassSupport;
    ServiceOM() = default;
    ~ServiceOM() override = default;

    struct Session {
        std::shared_ptr<OMScope> fScope;
    };
    // What a request's map says.
    struct Request;

    bool openSession(const Request& request);
    bool closeSession(const Request& request);
    bool evalScript(const Request& request);
    bool dataRequest(const Request& request);
    // Queues an EVAL_RESULT for the requester with the request's ids.
    bool reply(const Request& request, bool success, const std::shared_ptr<IOMNode>& result,
               GUIDClass* serviceSessionGUID);
    bool replyFailure(const Request& request, const std::string& reason);
    // The session's scope when the request names one, else a fresh scope below the service's.
    std::shared_ptr<OMScope> scopeFor(const Request& request, std::string& reason);

    std::string fName;
    std::shared_ptr<OMScope> fScope;
    std::map<GUIDClass*, Session> fSessions;
    // The tasks running requests' scripts, while they run.
    std::vector<std::weak_ptr<Task>> fRequestTasks;
    // Since when isIdle has found answers owed (0: none owed); after kOwedAnswersWaitNanoseconds the
    // service counts as idle all the same.
    mutable int64_t fOwingSince = 0;
    static constexpr int64_t kOwedAnswersWaitNanoseconds = 2000000000;
};

}  // namespace Qfn
