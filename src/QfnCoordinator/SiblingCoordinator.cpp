#include "QfnCoordinator/SiblingCoordinator.h"

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnLogger/Check.h"
#include "QfnLogger/Log.h"
#include "QfnObject/ClassSupport.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string SiblingCoordinator::TYPENAME = "SiblingCoordinator";
const std::string SiblingCoordinator::SERVICE_NAME = "net.quillfern.service.siblingCoordinator";
std::map<std::string, std::weak_ptr<IObject>> SiblingCoordinator::fSiblings;

std::shared_ptr<IObject> SiblingCoordinator::factoryFromParentName(std::shared_ptr<IObject> parentObj,
                                                                   const std::string& siblingName)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! siblingName.empty());
            // clang-format on
            ASSIGN_TYPED(IService, parent, parentObj);
            ASSIGN_TYPED(SiblingCoordinator, sibling, ClassSupport::makeEmpty<SiblingCoordinator>());
            sibling->fSiblingName = siblingName;
            SANITY_CHECK(parent->attachChildObj(sibling));
            fSiblings[siblingName] = sibling;
            LOG_NOTE(Utils::stringWithFormat("new sibling coordinator %s", siblingName.c_str()));
            retVal = sibling;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IObject> SiblingCoordinator::getSiblingCoordinator(const std::string& siblingName)
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            auto found = fSiblings.find(siblingName);
            if (found != fSiblings.end()) {
                retVal = found->second.lock();
                if (retVal) break;
                fSiblings.erase(found);
            }
            LOG_NOTE("scanning for siblings");
            scanForSiblings();
            found = fSiblings.find(siblingName);
            if (found != fSiblings.end()) retVal = found->second.lock();
            if (!retVal && Log::getLogLevel() >= 3)
                LOG_NOTE(Utils::stringWithFormat("cannot find sibling %s", siblingName.c_str()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SiblingCoordinator::scanForSiblings()
{
    return scanForActiveSiblings() && scanForNamedPipeSiblings() && scanForConfigSiblings();
}

bool SiblingCoordinator::relayOutgoingMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(messageObj);
            LOG_NOTE(
                Utils::stringWithFormat("Relaying outgoing message, named pipe path = %s",
                                        (InternalCoordinator::getPipeFolderPath() + fSiblingName).c_str()));
            if (fMessageQueue.size() >= kMaxHeldMessages) {
                LOG_WARNING(Utils::stringWithFormat(
                    "sibling %s unreachable: dropping its oldest held message", fSiblingName.c_str()));
                fMessageQueue.pop_front();
            }
            fMessageQueue.push_back(std::move(messageObj));
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SiblingCoordinator::deregisterObject()
{
    fMessageQueue.clear();
    fSiblings.erase(fSiblingName);
    return Service_abstract::deregisterObject();
}

}  // namespace Qfn
