#include "QfnParser/query/MatchNodeFunction.h"

#include <algorithm>

#include "QfnLogger/Check.h"
#include "QfnParser/model/IOMNode.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/FunctionPhase.h"
#include "QfnTask/YieldingFrame.h"

namespace Qfn {

std::shared_ptr<MatchNodeFunction> MatchNodeFunction::factory(const std::string& name)
{
    std::shared_ptr<MatchNodeFunction> retVal;
    try {
        do {
            SANITY_CHECK(!name.empty());
            retVal.reset(new MatchNodeFunction(name));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool MatchNodeFunction::isIterMatch(const std::shared_ptr<IOMNodeIterator>&) const
{
    return false;
}

bool MatchNodeFunction::registerMatch(const std::shared_ptr<IOMNode>& node)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(node);
            if (!fMatches) fMatches = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
            if (!fMatchSet) fMatchSet = std::make_shared<std::unordered_set<std::shared_ptr<IOMNode>>>();
            if (fMatchSet->insert(node).second) fMatches->push_back(node);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> MatchNodeFunction::computeBuiltin() const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            static const std::vector<std::shared_ptr<IOMNode>> kNone;
            const auto& matches = fMatches ? *fMatches : kNone;
            if (fName == "count") {
                retVal = OMStored::factory(static_cast<int64_t>(matches.size()));
            } else if (fName == "name") {
                std::vector<std::string> keys;
                for (const auto& match : matches)
                    keys.push_back(match->getDataStructureKey());
                std::sort(keys.begin(), keys.end());
                if (keys.empty()) {
                    retVal = OMStored::undefinedFactory();
                } else if (keys.size() == 1) {
                    retVal = OMStored::factory(keys.front());
                } else {
                    auto names = std::make_shared<OMArray>();
                    for (const auto& key : keys)
                        names->push_back(OMStored::factory(key));
                    retVal = OMStored::factory(names);
                }
            } else if (fName == "select") {
                // The nodes themselves: writing to an element writes into the tree.
                retVal = OMStored::factory(std::make_shared<OMArray>(matches));
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void MatchNodeFunction::traverse_yielding(const std::shared_ptr<Task>& task, bool& success,
                                          const std::shared_ptr<OMScope>& scope,
                                          const std::shared_ptr<IOMNode>& omNode, AccessType accessType,
                                          const std::shared_ptr<IOMNode>& setOMNode)
{
    struct LocalVariableState : virtual OMFunctionState {
        std::shared_ptr<OMScope> scope;
        std::shared_ptr<IOMNode> omNode;
        std::shared_ptr<IOMNode> setOMNode;
        AccessType accessType = AccessType::GET;
        bool subSuccess = true;
        NodeList arguments;
        std::shared_ptr<IOMNode> answer;
        std::shared_ptr<IOMNode> calculatedNode;
    };
    enum : unsigned { ASK_IGNORE = 1, DECIDE, FOLLOW_NEXT, COMPUTE, CALL_PROCESS, REGISTER };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        LocalVariableState& s = *frame;
        if (frame.isFirstEntry()) {
            success = false;
            s.scope = scope;
            s.omNode = omNode;
            s.setOMNode = setOMNode;
            s.accessType = accessType;
        }
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    SANITY_CHECK(s.omNode);
                    // Every visit counts and selects afresh.
                    resetMatches();
                    fFunctionResult.reset();
                    if (isBuiltin()) {
                        s.fState = DECIDE;
                        break;
                    }
                    s.arguments = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
                    s.arguments->push_back(OMStored::factory(functionPhaseToStr(FunctionPhase::ignore)));
                    s.arguments->push_back(s.omNode);
                    s.arguments->push_back(OMStored::factory(s.omNode->getDataStructureKey()));
                    s.fState = ASK_IGNORE;
                    break;
                }

                    YIELDING_CALL(ASK_IGNORE,
                                  OMStored::functionOperation_yielding(task, s.answer, fName, false, nullptr,
                                                                       s.arguments, s.scope));
                case resumeAfter(ASK_IGNORE):
                    s.fState = kFinished;
                    SANITY_CHECK(s.answer);
                    if (s.answer->getType() == OMType::Bool && s.answer->getBool()) {
                        success = true;
                        break;
                    }
                    s.fState = DECIDE;
                    break;

                case DECIDE: {
                    const OMType type = s.omNode->getType();
                    const bool container = type == OMType::Array || type == OMType::Map;
                    if (fNext && container) {
                        s.fState = FOLLOW_NEXT;
                        break;
                    }
                    if (!fNext) {
                        const bool write =
                            s.accessType == AccessType::GET_CREATE || s.accessType == AccessType::SET;
                        if (write && s.setOMNode && fName != "count") s.omNode->set(s.setOMNode);
                        registerMatch(s.omNode);
                    }
                    s.fState = COMPUTE;
                    break;
                }
                    YIELDING_CALL(FOLLOW_NEXT, fNext->traverse_yielding(task, s.subSuccess, s.scope, s.omNode,
                                                                        s.accessType, s.setOMNode));
                case resumeAfter(FOLLOW_NEXT):
                    s.fState = COMPUTE;
                    break;

                case COMPUTE:
                    s.fState = kFinished;
                    if (isBuiltin()) {
                        ASSIGN(s.calculatedNode, computeBuiltin());
                        s.fState = REGISTER;
                        break;
                    }
                    s.arguments = std::make_shared<std::vector<std::shared_ptr<IOMNode>>>();
                    s.arguments->push_back(OMStored::factory(functionPhaseToStr(FunctionPhase::process)));
                    s.arguments->push_back(s.omNode);
                    s.arguments->push_back(OMStored::factory(s.omNode->getDataStructureKey()));
                    s.fState = CALL_PROCESS;
                    break;

                    YIELDING_CALL(CALL_PROCESS,
                                  OMStored::functionOperation_yielding(task, s.calculatedNode, fName, false,
                                                                       nullptr, s.arguments, s.scope));
                case resumeAfter(CALL_PROCESS):
                    s.fState = kFinished;
                    SANITY_CHECK(s.calculatedNode);
                    s.fState = REGISTER;
                    break;

                case REGISTER: {
                    s.fState = kFinished;
                    fFunctionResult = s.calculatedNode;
                    std::shared_ptr<MatchNode> parent = fParent.lock();
                    if (parent) {
                        SANITY_CHECK(parent->registerMatch(s.calculatedNode));
                    }
                    success = s.subSuccess;
                    break;
                }
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

}  // namespace Qfn
