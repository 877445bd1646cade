#pragma once

#include "QfnParser/expressions/OMExpressionLValue.h"
#include "QfnParser/expressions/OMExpressionLValueResolution.h"
#include "QfnParser/model/Token.h"

namespace Qfn {

// A built-in function or property by its token: `length`, `a.substr(1, 2)`, `reference('x')`.
class OMExpressionLValueToken : public OMExpressionLValue {
public:
    static std::shared_ptr<OMExpressionLValueToken> factory(const std::shared_ptr<IOMNode>& parent,
                                                            Token token);

    using OMExpressionLValue::get_yielding;
    void get_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                      AccessType accessType, const std::shared_ptr<OMScope>& scope, ScriptPhase scriptPhase,
                      std::shared_ptr<IOMNode>& optionalNewValue) override;
    // Runs the built-in over a resolved call: the receiver, if any, is argument 0. A new value
    // is given when the call is an assignment target (`reference(path) = value`).
    void callBuiltin_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              AccessType accessType, const std::shared_ptr<OMScope>& scope,
                              OMExpressionLValueResolution& resolution,
                              const std::shared_ptr<IOMNode>& optionalNewValue);

    Token getToken() const { return fToken; }
    // Whether this built-in never suspends, and its call without a task as callBuiltin_yielding makes it.
    bool isPlainBuiltin() const { return plainBuiltin(fToken) != nullptr; }
    // A property read such as `s.length` on a plain value, done without a task.
    bool getAtOnce(const std::shared_ptr<OMScope>& scope, std::shared_ptr<IOMNode>& retVal) override;
    std::shared_ptr<IOMNode> callPlainBuiltin(AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                              OMExpressionLValueResolution& resolution) const
    {
        RunningBuiltin running(this);
        return (this->*plainBuiltin(fToken))(accessType, scope, resolution);
    }

    // A misuse of a built-in goes to the script-error log (when that log is on), and to the user as
    // a fault of the built-in that runs; the script goes on.
    static void reportScriptError(const std::string& text);

    // Marks the built-in whose code runs, for reportScriptError, while it lives.
    class RunningBuiltin {
    public:
        explicit RunningBuiltin(const OMExpressionLValueToken* builtin) : fOuter(fRunningBuiltin)
        {
            fRunningBuiltin = builtin;
        }
        ~RunningBuiltin() { fRunningBuiltin = fOuter; }
        RunningBuiltin(const RunningBuiltin&) = delete;
        RunningBuiltin& operator=(const RunningBuiltin&) = delete;

    private:
        const OMExpressionLValueToken* fOuter;
    };

    // The plain built-ins: each starts from a fresh Undefined and never suspends.
    using PlainBuiltin = std::shared_ptr<IOMNode> (OMExpressionLValueToken::*)(
        AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution&) const;
#define QFN_PLAIN_BUILTIN(NAME)                                                                       \
    std::shared_ptr<IOMNode> ftn_##NAME(AccessType accessType, const std::shared_ptr<OMScope>& scope, \
                                        OMExpressionLValueResolution& resolution) const
    // Numbers.
    QFN_PLAIN_BUILTIN(abs);
    QFN_PLAIN_BUILTIN(sqr);
    QFN_PLAIN_BUILTIN(sqrt);
    QFN_PLAIN_BUILTIN(isNaN);
    QFN_PLAIN_BUILTIN(parseFloat);
    QFN_PLAIN_BUILTIN(parseInt);
    // Text.
    QFN_PLAIN_BUILTIN(toString);
    QFN_PLAIN_BUILTIN(stringify);
    QFN_PLAIN_BUILTIN(toLowerCase);
    QFN_PLAIN_BUILTIN(toUpperCase);
    QFN_PLAIN_BUILTIN(enquote);
    QFN_PLAIN_BUILTIN(substr);
    QFN_PLAIN_BUILTIN(indexOf);
    // Arrays and maps.
    QFN_PLAIN_BUILTIN(keys);
    QFN_PLAIN_BUILTIN(size);
    QFN_PLAIN_BUILTIN(push);
    QFN_PLAIN_BUILTIN(pop);
    // Environment, paths and files.
    QFN_PLAIN_BUILTIN(getEnv);
    QFN_PLAIN_BUILTIN(fileExists);
    QFN_PLAIN_BUILTIN(dirExists);
    QFN_PLAIN_BUILTIN(parentPath);
    QFN_PLAIN_BUILTIN(pathSegmentFromLeft);
    QFN_PLAIN_BUILTIN(pathSegmentFromRight);
    QFN_PLAIN_BUILTIN(readFile);
    QFN_PLAIN_BUILTIN(writeFile);
    QFN_PLAIN_BUILTIN(fileOpen);
    QFN_PLAIN_BUILTIN(fileClose);
    QFN_PLAIN_BUILTIN(fileRead);
    QFN_PLAIN_BUILTIN(fileWrite);
    // Logging and the coordinator.
    QFN_PLAIN_BUILTIN(logError);
    QFN_PLAIN_BUILTIN(logWarning);
    QFN_PLAIN_BUILTIN(logNote);
    QFN_PLAIN_BUILTIN(logTrace);
    QFN_PLAIN_BUILTIN(quit);
    QFN_PLAIN_BUILTIN(sysInfo);
    QFN_PLAIN_BUILTIN(scriptFilePath);
    QFN_PLAIN_BUILTIN(setDataRequestCallBack);
#undef QFN_PLAIN_BUILTIN

    // The built-ins that may suspend their task.
#define QFN_YIELDING_BUILTIN(NAME)                                                                  \
    void ftn_##NAME##_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal, \
                               AccessType accessType, const std::shared_ptr<OMScope>& scope,        \
                               OMExpressionLValueResolution& resolution) const
    QFN_YIELDING_BUILTIN(length);
    QFN_YIELDING_BUILTIN(output);
    QFN_YIELDING_BUILTIN(stdIn);
    QFN_YIELDING_BUILTIN(exit);
    QFN_YIELDING_BUILTIN(yield);
    QFN_YIELDING_BUILTIN(eval);
    QFN_YIELDING_BUILTIN(evalScript);
    QFN_YIELDING_BUILTIN(parseScript);
    QFN_YIELDING_BUILTIN(stdOut);
    QFN_YIELDING_BUILTIN(stdErr);
#undef QFN_YIELDING_BUILTIN
    // The only built-in that is also an assignment target: assignNode is the value to write.
    void ftn_reference_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                AccessType accessType, const std::shared_ptr<OMScope>& scope,
                                OMExpressionLValueResolution& resolution,
                                const std::shared_ptr<IOMNode>& assignNode) const;

protected:
    bool computeAtOnce(AtOnceMode mode) const override;
    std::string linkText() const override;
    bool linkEqual(const OMExpressionLValue& other) const override;
    bool linkLess(const OMExpressionLValue& other) const override;
    uint64_t linkHash() const override;

private:
    static inline const OMExpressionLValueToken* fRunningBuiltin = nullptr;
    // eval and evalScript share their set-up and differ in what they run.
    void evalOrEvalScript_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                                   const std::shared_ptr<OMScope>& scope,
                                   OMExpressionLValueResolution& resolution, bool isScriptFile) const;
    static PlainBuiltin plainBuiltin(Token token);
    // stdOut and stdErr: the value goes to the console as a message, and the task lets the round
    // deliver it before the script goes on, so that it keeps its place among what the script prints.
    void consoleText_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                              OMExpressionLValueResolution& resolution, bool isStdErr) const;
    // True when the call has at least `count` arguments; otherwise reports "insufficient arguments".
    static bool requireArguments(const OMExpressionLValueResolution& resolution, uint64_t count);
    // The shape of the one-argument built-ins: a fresh Undefined, "insufficient arguments" without
    // a first argument, else whatever `fill` makes of that argument in the result.
    using FillFromArgument = bool (*)(const IOMNode& argument, IOMNode& retVal);
    static std::shared_ptr<IOMNode> fromFirstArgument(const OMExpressionLValueResolution& resolution,
                                                      FillFromArgument fill);

    OMExpressionLValueToken(std::shared_ptr<IOMNode> parent, Token token)
        : OMExpressionLValue(std::move(parent)), fToken(token)
    {
    }

    Token fToken;
};

}  // namespace Qfn
