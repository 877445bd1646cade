#include "QfnParser/expressions/AtOnceCalls.h"

#include <cstring>
#include <functional>
#include <string_view>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnTask/Task.h"
#include "QfnUtils/StackRoom.h"

namespace Qfn {

AtOnceCalls::CachedName AtOnceCalls::fNames[AtOnceCalls::kNameSlots];

uint64_t AtOnceCalls::keyOf(const OMExpression& body, NodeSpan arguments)
{
    uint64_t key = reinterpret_cast<uintptr_t>(&body) * 0x9E3779B97F4A7C15ull;
    for (const auto& argument : arguments) {
        uint64_t part = 0;
        switch (argument->getType()) {
            case OMType::Int:
            case OMType::Float:
            case OMType::Bool: {
                const double value = argument->getAsNum();
                std::memcpy(&part, &value, sizeof part);
                break;
            }
            case OMType::String: {
                const std::string& text = argument->getString();
                part = std::hash<std::string_view>()(std::string_view(text).substr(0, 64)) ^ text.size();
                break;
            }
            default:
                part = reinterpret_cast<uintptr_t>(argument.get());
                break;
        }
        key = (key ^ part ^ static_cast<uint64_t>(argument->getType())) * 0x100000001B3ull;
    }
    // The bits of a small number sit high in a double: mix them down before a slot is picked.
    key ^= key >> 31;
    key *= 0xBF58476D1CE4E5B9ull;
    key ^= key >> 29;
    return key | 1;
}

// The calls under way when the budget ran out that had made most of its calls.
void AtOnceCalls::rememberBigCalls()
{
    for (const Entered& entered : fEntered) {
        if (entered.callsLeft - fCallsLeft >= kCallBudget / 2)
            fBigCalls[entered.key % kBigCallSlots] = entered.key;
    }
}

bool AtOnceCalls::attempt(Task& task, const std::shared_ptr<IOMNode>& node,
                          const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue,
                          std::shared_ptr<IOMNode>& retVal)
{
    // Only a call: what surrounds it runs resumably, so that a call that proves too big costs no
    // more than itself, and the memory of big calls can tell it next time.
    if (fIsActive || !scope || !node || node->getType() != OMType::Expression) return false;
    const std::shared_ptr<OMExpression> expression = node->getExpression();
    if (!expression || !expression->isScriptCall() || !expression->isAtOnce(AtOnceMode::WITH_CALLS))
        return false;
    if (!StackRoom::isLeft() || task.getScriptCallDepth() > Task::getMaxCallDepth()) return false;
    task.askClockNext();
    if (task.isSliceOver()) return false;

    static uint64_t marks = 0;
    fIsActive = true;
    fAttemptMark = ++marks;
    fCallsLeft = kCallBudget;
    fDepthLeft = Task::getMaxCallDepth() + 1 - task.getScriptCallDepth();
    fIsOverBudget = false;
    fTopExpression = expression.get();
    fEntered.clear();
    Log::holdLines();
    std::shared_ptr<IOMNode> result;
    bool done = false;
    std::string thrown;
    try {
        done = OMNode::getResolvedNodeAtOnce(node, scope, handleReturnValue, result);
    } catch (std::exception& e) {
        // Everything below catches at its own level; this keeps the attempt's state whole regardless.
        thrown = e.what();
    }
    fIsActive = false;
    for (size_t slot = 0; fNamesFilled != 0; ++slot, fNamesFilled >>= 1) {
        if (fNamesFilled & 1u) fNames[slot] = CachedName();
    }
    task.askClockNext();
    fTopExpression = nullptr;
    fEntered.clear();
    Log::releaseHeldLines(done);
    if (!thrown.empty()) LOG_ERROR(Log::throwsText(thrown.c_str()));
    if (!done) return false;
    retVal = std::move(result);
    return true;
}

AtOnceCalls::Call::Call(const OMExpression& body, NodeSpan arguments)
{
    if (!fIsActive) return;
    if (!body.isAtOnce(AtOnceMode::WITH_CALLS)) {
        refuse();
        return;
    }
    const uint64_t key = keyOf(body, arguments);
    // The resumable way reports a call too deep for the limit or the stack, at its own level.
    if (fCallsLeft == 0 || fEntered.size() >= fDepthLeft || !StackRoom::isLeft() ||
        fBigCalls[key % kBigCallSlots] == key) {
        if (fCallsLeft == 0) rememberBigCalls();
        fIsOverBudget = true;
        return;
    }
    try {
        fEntered.push_back(Entered{&body, key, fCallsLeft});
    } catch (std::exception&) {
        return;
    }
    --fCallsLeft;
    fIsEntered = true;
}

AtOnceCalls::Call::~Call()
{
    if (!fIsEntered) return;
    if (!fEntered.empty()) fEntered.pop_back();
}

bool AtOnceCalls::isStoreInside(OMScope& scope, const std::string& name)
{
    if (!fIsActive) return true;
    if (name == "this" || name == "arguments") return false;
    // Into a scope of this attempt, and a name it holds already: such a scope gets no new names.
    const OMScope* target = scope.getWriteTarget(name);
    return target && target->getAtOnceMark() == fAttemptMark && target->holdsName(name);
}

bool AtOnceCalls::findCachedName(const std::string& name, const OMScope& from, const OMScope*& owner,
                                 std::shared_ptr<IOMNode>& node)
{
    if (!fIsActive) return false;
    const CachedName& cached = fNames[nameSlotOf(name, from)];
    if (cached.name != &name || cached.from != &from) return false;
    owner = cached.owner;
    node = cached.node;
    return true;
}

void AtOnceCalls::cacheName(const std::string& name, const OMScope& from, const OMScope* owner,
                            const std::shared_ptr<IOMNode>& node)
{
    if (!fIsActive) return;
    const size_t slot = nameSlotOf(name, from);
    fNamesFilled |= uint64_t{1} << slot;
    CachedName& cached = fNames[slot];
    cached.name = &name;
    cached.from = &from;
    cached.owner = owner;
    cached.node = node;
}

void AtOnceCalls::refuse()
{
    if (!fIsActive) return;
    if (fTopExpression) fTopExpression->refuseAtOnce(AtOnceMode::WITH_CALLS);
    for (const Entered& entered : fEntered)
        entered.body->refuseAtOnce(AtOnceMode::WITH_CALLS);
}

}  // namespace Qfn
