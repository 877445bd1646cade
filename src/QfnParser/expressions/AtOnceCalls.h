#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QfnParser/Forward.h"
#include "QfnParser/model/AccessType.h"

namespace Qfn {

class Task;

// Calls of script functions evaluated without a task. An attempt takes a call whose arguments,
// callee and body (with the calls and statement lists in it) cannot suspend and runs it whole,
// on the thread's stack. It gives up, having
// changed nothing anyone can see, when it would store anywhere but in the scopes of its own calls,
// meets anything it cannot do at once, or spends its budget of calls; the resumable way then runs
// the expression instead. Log lines of an attempt wait until it is done, and go if it gives up.
// A call that spent most of a budget is remembered by its function and arguments and not tried
// again, so that a deep recursion runs its top resumably (taking turns with other tasks) and its
// subtrees at once, without spending a budget in vain at every level.
class AtOnceCalls {
public:
    static AtOnceMode mode() { return fIsActive ? AtOnceMode::WITH_CALLS : AtOnceMode::PLAIN; }

    // Tries node as a whole; false when nothing was done and the resumable way must be taken.
    static bool attempt(Task& task, const std::shared_ptr<IOMNode>& node,
                        const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue,
                        std::shared_ptr<IOMNode>& retVal);

    // Inside an attempt, around each call of a script function with body as its expression.
    // isEntered false: the attempt must give up.
    class Call {
    public:
        Call(const OMExpression& body, NodeSpan arguments);
        ~Call();
        Call(const Call&) = delete;
        Call& operator=(const Call&) = delete;
        bool isEntered() const { return fIsEntered; }

    private:
        bool fIsEntered = false;
    };

    // The mark of the scopes this attempt made for its calls; 0 outside an attempt.
    static uint64_t scopeMark() { return fIsActive ? fAttemptMark : 0; }
    // Names read during an attempt from the scopes outside it, which it cannot change: found
    // once, by the name's text in the tree (its address) and the first scope outside.
    static bool findCachedName(const std::string& name, const OMScope& from, const OMScope*& owner,
                               std::shared_ptr<IOMNode>& node);
    static void cacheName(const std::string& name, const OMScope& from, const OMScope* owner,
                          const std::shared_ptr<IOMNode>& node);

    // Whether a store of name from scope stays inside those scopes. `this` and `arguments` hold
    // the caller's own nodes, so a store to them never does.
    static bool isStoreInside(OMScope& scope, const std::string& name);
    // Something met that an attempt cannot do (a store outside, a callee that cannot be called
    // at once): it must give up, and the calls that led there are not tried this way again.
    static void refuse();

    // How many calls one attempt may make: it bounds the work done before turns are taken.
    static constexpr unsigned kCallBudget = 1000;

private:
    struct Entered {
        const OMExpression* body;
        uint64_t key;
        unsigned callsLeft;
    };
    static uint64_t keyOf(const OMExpression& body, NodeSpan arguments);
    static void rememberBigCalls();
    static constexpr size_t kBigCallSlots = 4096;
    struct CachedName {
        const std::string* name = nullptr;
        const OMScope* from = nullptr;
        const OMScope* owner = nullptr;
        std::shared_ptr<IOMNode> node;
    };
    static constexpr size_t kNameSlots = 64;
    static size_t nameSlotOf(const std::string& name, const OMScope& from)
    {
        return ((reinterpret_cast<uintptr_t>(&name) >> 3) ^ (reinterpret_cast<uintptr_t>(&from) >> 4)) %
               kNameSlots;
    }

    static inline bool fIsActive = false;
    static inline uint64_t fAttemptMark = 0;
    static inline unsigned fCallsLeft = 0;
    // How much deeper calls may nest before the task's limit.
    static inline size_t fDepthLeft = 0;
    static inline bool fIsOverBudget = false;
    static inline const OMExpression* fTopExpression = nullptr;
    static inline std::vector<Entered> fEntered;
    // Calls known to be too big, by their key; a slot holds the last one that fell on it.
    static inline uint64_t fBigCalls[kBigCallSlots] = {};
    static CachedName fNames[kNameSlots];
    // Which of fNames this attempt has filled, one bit each: only those are emptied at its end.
    static inline uint64_t fNamesFilled = 0;
};

}  // namespace Qfn
