#include "support/ScriptGenerator.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace QfnTest {

namespace {

// Steps a script may take, counted as statements run plus calls made, whatever its loops and
// calls do; a function body on its own gets far less, as it may run many times.
constexpr int64_t kScriptBudget = 6000;
constexpr int64_t kFunctionBudget = 200;
constexpr int64_t kTickCost = 3;
constexpr int kExpressionDepth = 3;
constexpr int kBlockDepth = 3;
constexpr int kLoopDepth = 2;
constexpr int kLoopCount = 4;
constexpr int kRecursionDepth = 11;
// How many values read from variables one value may hold: a stored value at most one, so that no
// value outgrows the largest one by more than a literal's size; a temporary at most two.
constexpr int kStoredWeight = 1;
constexpr int kTemporaryWeight = 2;

// The bytes as a stream of choices: the shape of the script is read from the front, the literals
// from the back, so that changing a literal leaves the shape alone. Zeros once the two meet, which
// take every choice's first option, always the simplest.
class Choices {
public:
    Choices(const uint8_t* data, size_t size) : fData(data), fBack(size) {}
    unsigned pick(size_t count) { return count <= 1 ? 0 : static_cast<unsigned>(front() % count); }
    // True for about `percent` of the byte values; false once the bytes have run out.
    bool maybe(unsigned percent) { return front() * 100u >= (100u - percent) * 256u; }
    template <size_t N>
    const char* among(const char* const (&options)[N])
    {
        return options[back() % N];
    }

private:
    unsigned front() { return fFront < fBack ? fData[fFront++] : 0u; }
    unsigned back() { return fFront < fBack ? fData[--fBack] : 0u; }
    const uint8_t* fData;
    size_t fFront = 0;
    size_t fBack;
};

// What a value is known to be. A Number is never a string or a container: a number, boolean, null,
// undefined, NaN or an error. A variable of a kind other than Any is only ever given values of its
// kind, so that writing one of its members always succeeds.
enum class Kind { Number, Any, Array, Map };

struct Variable {
    std::string name;
    Kind kind;
    bool assignable;
};

// A generated expression: its text, what its value is known to be, and how many values read from
// variables it may hold (its weight).
struct Expr {
    std::string text;
    Kind kind = Kind::Any;
    int weight = 0;
};

struct Function {
    std::string name;
    std::vector<std::string> paramNames;
    std::vector<Kind> params;
    Kind returns = Kind::Any;
    bool recursive = false;
    // The steps of one call; for the recursive one, of one level.
    int64_t cost = 0;
    // The recursive one: how often one level calls the next.
    int selfCalls = 0;
};

// Where the code being generated stands.
struct Context {
    std::vector<Variable> variables;
    // How often this code runs per run of the body (the script's or a function's).
    int64_t multiplier = 1;
    int64_t budget = kScriptBudget;
    int loopDepth = 0;
    int blockDepth = 0;
    // The functions this code may call: those defined before, so that calls run downwards.
    size_t callable = 0;
    const Function* function = nullptr;
    // In the final return of the recursive function, which may call itself one level down.
    bool selfCallAllowed = false;
};

const char* const kNumbers[] = {"0",
                                "1",
                                "2",
                                "3",
                                "7",
                                "10",
                                "(-1)",
                                "(-3)",
                                "255",
                                "0.5",
                                "1.5",
                                "(-2.25)",
                                "1e3",
                                "0x1F",
                                ".25",
                                "3.",
                                "100000",
                                "9007199254740993",
                                "4611686018427387904",
                                "(-9223372036854775807)"};
const char* const kStrings[] = {"''",   "'a'",   "'ab'",   "\"x y\"", "'q\\'u'", "\"\\u2192\"",
                                "'10'", "'3.5'", "'true'", "'p'",     "'-1'",    "\"tab\\there\""};
const char* const kConstants[] = {"true", "false", "null", "undefined", "NaN"};
const char* const kMembers[] = {"p", "q", "r"};
const char* const kIndexes[] = {"0", "1", "2", "'p'", "'q'"};
const char* const kOperators[] = {
    "+", "-", "*", "/", "<", "<=", ">", ">=", "==", "===", "!==", "!=", "&", "^", "|", "&&", "||"};
const char* const kUnary[] = {"-", "+", "!", "~", "typeof "};
const char* const kCompound[] = {"+=", "-=", "*=", "/="};

bool fits(Kind kind, Kind want)
{
    return want == Kind::Any || kind == want;
}

bool isContainer(Kind kind)
{
    return kind == Kind::Array || kind == Kind::Map;
}

// A place a value can be written to: a variable, or a member of one (which takes nothing read from a
// variable, as its container grows with it).
struct Place {
    std::string text;
    Kind kind = Kind::Any;
    bool member = false;
};

class Generator {
public:
    Generator(const uint8_t* data, size_t size) : fChoices(data, size) {}
    std::string script();

private:
    // Definitions.
    std::string initialValue(char shape, int depth);
    std::string function(const std::vector<Variable>& globals, bool recursive);
    // Statements.
    std::vector<std::string> statements(Context& ctx, unsigned most);
    std::string block(const Context& ctx);
    std::string statement(Context& ctx);
    std::string assignment(Context& ctx);
    std::string compoundAssignment(Context& ctx);
    std::string conditional(Context& ctx);
    std::string loop(Context& ctx);
    std::string arrayStatement(Context& ctx);
    std::string exitStatement(Context& ctx);
    // Expressions.
    Expr expression(Context& ctx, int depth, Kind want, int weight);
    Expr container(Context& ctx, int depth, Kind kind, int weight);
    Expr leaf(Context& ctx, Kind want, int weight);
    Expr literal(Context& ctx, int depth, Kind kind, int weight);
    Expr binary(Context& ctx, int depth, Kind want, int weight);
    Expr memberRead(Context& ctx, int depth, Kind want, int weight);
    std::string computedIndex(Context& ctx, int depth);
    Expr call(Context& ctx, int depth, Kind want, int weight);
    Expr tick(Context& ctx, int depth, Kind want, int weight);
    Expr builtin(Context& ctx, int depth, Kind want, int weight);
    Expr assignmentExpression(Context& ctx, int depth, Kind want, int weight);
    // Places.
    template <class Keep>
    const Variable* variable(const Context& ctx, Keep keep);
    bool place(Context& ctx, Place& out, bool containers, bool mayFail);
    std::string memberTarget(const Context& ctx, bool mayFail);
    Expr valueFor(Context& ctx, int depth, const Place& place, int weight);
    bool affordable(const Context& ctx, int64_t cost) const
    {
        return fCost + cost * ctx.multiplier <= ctx.budget;
    }

    Choices fChoices;
    std::vector<Function> fFunctions;
    // Steps of the body being generated.
    int64_t fCost = 0;
    int fLoops = 0;
    int fLocals = 0;
    int fTicks = 0;
    int fSelfCalls = 0;
};

std::string Generator::script()
{
    std::string text = "ticks = 0\nfunction tick(k, v) { ticks = ticks + 1; output(k, ' '); return v }\n";
    Context top;
    const std::pair<const char*, Kind> globals[] = {
        {"n0", Kind::Number}, {"n1", Kind::Number}, {"n2", Kind::Number},
        {"s0", Kind::Any},    {"s1", Kind::Any},    {"a0", Kind::Array},
        {"a1", Kind::Array},  {"m0", Kind::Map},    {"m1", Kind::Map}};
    for (const auto& [name, kind] : globals) {
        top.variables.push_back({name, kind, true});
        text += std::string(name) + " = " + initialValue(name[0], 2) + "\n";
    }
    for (unsigned i = fChoices.pick(4); i > 0; --i)
        text += function(top.variables, false) + "\n";
    if (fChoices.maybe(60)) text += function(top.variables, true) + "\n";
    top.callable = fFunctions.size();
    for (const std::string& line : statements(top, 12))
        text += line + "\n";
    return text + expression(top, kExpressionDepth, Kind::Any, kTemporaryWeight).text + "\n";
}

// A literal of the shape a global's first letter names: a number, a string, an array or a map; their
// elements take any shape.
std::string Generator::initialValue(char shape, int depth)
{
    if (shape == '?') shape = depth > 0 ? fChoices.among({"n", "s", "a", "m"})[0] : 's';
    if (shape == 'n') return fChoices.among(kNumbers);
    if (shape == 's') return fChoices.among(kStrings);
    const std::string first = initialValue('n', 0);
    const std::string second = initialValue('?', depth - 1);
    const std::string third = initialValue('?', depth - 1);
    if (shape == 'a') return fChoices.maybe(20) ? "[]" : "[" + first + ", " + second + ", " + third + "]";
    return "{p: " + first + ", 'q': " + second + ", \"r\": " + third + "}";
}

// A function sees the globals and its parameters; the recursive one takes its depth first and calls
// itself, one level down, only in its final return.
std::string Generator::function(const std::vector<Variable>& globals, bool recursive)
{
    Function f;
    f.recursive = recursive;
    f.name = (recursive ? "r" : "f") + std::to_string(fFunctions.size());
    f.returns = fChoices.maybe(50) ? Kind::Number : Kind::Any;
    Context body;
    body.variables = globals;
    body.budget = kFunctionBudget;
    body.callable = fFunctions.size();
    body.function = &f;
    std::vector<std::string>& params = f.paramNames;
    const std::string prefix = "p" + std::to_string(fFunctions.size());
    for (unsigned i = (recursive ? 1 : 0) + fChoices.pick(3); i > 0; --i) {
        f.params.push_back((recursive && params.empty()) || fChoices.maybe(50) ? Kind::Number : Kind::Any);
        params.push_back(prefix + std::to_string(params.size()));
        body.variables.push_back({params.back(), f.params.back(), false});
    }
    std::string text = fChoices.maybe(70) ? "function " + f.name + "(" : f.name + " = function(";
    for (size_t i = 0; i < params.size(); ++i)
        text += (i ? ", " : "") + params[i];
    text += ") { ";
    const int64_t outerCost = fCost;
    fCost = 0;
    if (recursive) text += "if (" + params[0] + " <= 0) { return " + leaf(body, f.returns, 0).text + " }; ";
    for (const std::string& line : statements(body, 3))
        text += line + "; ";
    body.selfCallAllowed = recursive;
    fSelfCalls = 0;
    text += "return " + expression(body, kExpressionDepth, f.returns, kStoredWeight).text + " }";
    f.cost = fCost + 1;
    f.selfCalls = fSelfCalls;
    fCost = outerCost;
    fFunctions.push_back(f);
    return text;
}

// ---- statements

std::vector<std::string> Generator::statements(Context& ctx, unsigned most)
{
    std::vector<std::string> lines;
    for (unsigned i = fChoices.pick(most + 1); i > 0; --i)
        lines.push_back(statement(ctx));
    return lines;
}

std::string Generator::block(const Context& outer)
{
    Context ctx = outer;
    ++ctx.blockDepth;
    std::string text = "{ ";
    for (const std::string& line : statements(ctx, 3))
        text += line + "; ";
    return text + "}";
}

std::string Generator::statement(Context& ctx)
{
    fCost += ctx.multiplier;
    switch (fChoices.pick(11)) {
        case 1:
            return compoundAssignment(ctx);
        case 2: {
            Place target;
            if (!place(ctx, target, false, true)) break;
            return fChoices.among({"++", "--"}) + target.text;
        }
        case 3:
            switch (fChoices.pick(3)) {
                case 1:
                    return call(ctx, kExpressionDepth, Kind::Any, kTemporaryWeight).text;
                case 2:
                    return tick(ctx, kExpressionDepth, Kind::Any, kTemporaryWeight).text;
            }
            return expression(ctx, kExpressionDepth, Kind::Any, kTemporaryWeight).text;
        case 4:
            return conditional(ctx);
        case 5:
            return loop(ctx);
        case 6: {
            Expr first = expression(ctx, kExpressionDepth - 1, Kind::Any, kStoredWeight);
            if (!fChoices.maybe(50)) return "output(" + first.text + ")";
            return "output(" + first.text + ", ' ', " +
                   expression(ctx, kExpressionDepth - 1, Kind::Any, kStoredWeight).text + ")";
        }
        case 7: {
            if (!ctx.function) break;
            Expr value = expression(ctx, kExpressionDepth, Kind::Any, kStoredWeight);
            ctx.variables.push_back({"l" + std::to_string(fLocals++), value.kind, true});
            return "var " + ctx.variables.back().name + " = " + value.text;
        }
        case 8:
            return exitStatement(ctx);
        case 9:
            return arrayStatement(ctx);
    }
    return assignment(ctx);
}

std::string Generator::assignment(Context& ctx)
{
    Place target;
    if (!place(ctx, target, true, true)) return "n0 = " + leaf(ctx, Kind::Number, 0).text;
    return target.text + " = " + valueFor(ctx, kExpressionDepth, target, kStoredWeight).text;
}

// `+=` adds what it reads again; the other compound operators always give a Number.
std::string Generator::compoundAssignment(Context& ctx)
{
    Place target;
    if (!place(ctx, target, false, true)) return assignment(ctx);
    const std::string op = fChoices.among(kCompound);
    Expr value = op == "+=" ? expression(ctx, kExpressionDepth, target.kind, 0)
                            : expression(ctx, kExpressionDepth, Kind::Any, kTemporaryWeight);
    return target.text + " " + op + " " + value.text;
}

std::string Generator::conditional(Context& ctx)
{
    if (ctx.blockDepth >= kBlockDepth) return assignment(ctx);
    std::string text = "if (" + expression(ctx, kExpressionDepth, Kind::Any, kTemporaryWeight).text + ") ";
    text += block(ctx);
    const unsigned shape = fChoices.pick(3);
    if (shape == 2) {
        text += " else if (" + expression(ctx, kExpressionDepth - 1, Kind::Any, kTemporaryWeight).text + ") ";
        text += block(ctx);
    }
    if (shape != 0) text += " else " + block(ctx);
    return text;
}

// A counted loop; its counter is its own, read but never written by the code inside, and each
// call of the code around it has returned before the loop goes on, so that it always ends.
std::string Generator::loop(Context& ctx)
{
    if (ctx.loopDepth >= kLoopDepth || ctx.blockDepth >= kBlockDepth) return assignment(ctx);
    int count = static_cast<int>(fChoices.pick(kLoopCount + 1));
    while (count > 0 && !affordable(ctx, 4 * count))
        --count;
    const std::string i = "i" + std::to_string(fLoops++);
    const std::string limit = std::to_string(count);
    Context inner = ctx;
    inner.multiplier *= std::max(count, 1);
    ++inner.loopDepth;
    ++inner.blockDepth;
    inner.variables.push_back({i, Kind::Number, false});
    switch (fChoices.pick(5)) {
        case 1: {
            std::string text = i + " = 0; while (" + i + " < " + limit + ") { ";
            for (const std::string& line : statements(inner, 3))
                text += line + "; ";
            return text + "++" + i + " }";
        }
        case 2: {
            std::string text = i + " = 0; do { ";
            for (const std::string& line : statements(inner, 3))
                text += line + "; ";
            return text + i + "++ } while (" + i + " < " + limit + ")";
        }
        case 3:
            return "for (" + i + " = " + limit + "; " + i + " > 0; " + i + "--) " + block(inner);
        case 4: {
            fCost += kTickCost * ctx.multiplier * (count + 1);
            const std::string head = "for (" + i + " = 0; tick(" + std::to_string(fTicks++) + ", " + i +
                                     ") < " + limit + "; " + i + " += 1) ";
            return head + block(inner);
        }
    }
    return "for (" + i + " = 0; " + i + " < " + limit + "; ++" + i + ") " + block(inner);
}

std::string Generator::arrayStatement(Context& ctx)
{
    const Variable* array = variable(ctx, [](const Variable& v) { return v.kind == Kind::Array; });
    if (!array) return assignment(ctx);
    if (fChoices.maybe(30)) return array->name + ".pop()";
    const std::string name = array->name;
    return name + ".push(" + expression(ctx, kExpressionDepth - 1, Kind::Any, 0).text + ")";
}

// break inside a loop, return inside a function, each mostly under a condition.
std::string Generator::exitStatement(Context& ctx)
{
    std::string text;
    if (ctx.loopDepth > 0 && (!ctx.function || fChoices.maybe(50))) {
        text = "break";
    } else if (ctx.function) {
        text = "return " + expression(ctx, kExpressionDepth - 1, ctx.function->returns, kStoredWeight).text;
    } else {
        return assignment(ctx);
    }
    if (fChoices.maybe(20)) return text;
    return "if (" + expression(ctx, kExpressionDepth - 1, Kind::Any, kTemporaryWeight).text + ") { " + text +
           " }";
}

// ---- expressions: every compound one in parentheses, so that precedence never matters.

Expr Generator::expression(Context& ctx, int depth, Kind want, int weight)
{
    if (isContainer(want)) return container(ctx, depth, want, weight);
    if (depth <= 0) return leaf(ctx, want, weight);
    const bool number = want == Kind::Number;
    switch (fChoices.pick(14)) {
        case 1:
        case 2:
            return binary(ctx, depth, want, weight);
        case 3: {
            const std::string op = fChoices.among(kUnary);
            Expr operand = expression(ctx, depth - 1, Kind::Any, kTemporaryWeight);
            if (op == "typeof " && number) break;
            return {"(" + op + operand.text + ")", op == "typeof " ? Kind::Any : Kind::Number, 0};
        }
        case 4: {
            Expr condition = expression(ctx, depth - 1, Kind::Any, kTemporaryWeight);
            Expr yes = expression(ctx, depth - 1, want, weight);
            Expr no = expression(ctx, depth - 1, want, weight);
            return {"(" + condition.text + " ? " + yes.text + " : " + no.text + ")",
                    yes.kind == no.kind ? yes.kind : Kind::Any, std::max(yes.weight, no.weight)};
        }
        case 5:
            return memberRead(ctx, depth, want, weight);
        case 6:
            return call(ctx, depth, want, weight);
        case 7:
            return tick(ctx, depth, want, weight);
        case 8:
            return builtin(ctx, depth, want, weight);
        case 9: {
            Place target;
            if (!place(ctx, target, false, false)) break;
            const std::string op = fChoices.among({"++", "--"});
            return {fChoices.maybe(50) ? "(" + op + target.text + ")" : "(" + target.text + op + ")",
                    Kind::Number, 0};
        }
        case 10:
            return assignmentExpression(ctx, depth, want, weight);
        case 11:
            if (number) break;
            return literal(ctx, depth, fChoices.maybe(50) ? Kind::Map : Kind::Array, weight);
        case 12: {
            Expr first = expression(ctx, depth - 1, Kind::Any, kTemporaryWeight);
            Expr second = expression(ctx, depth - 1, want, weight);
            return {"(" + first.text + ", " + second.text + ")", second.kind, second.weight};
        }
        case 13:
            if (!ctx.function) break;
            if (number || weight < 1 || fChoices.maybe(50)) return {"arguments.length", Kind::Number, 0};
            return {"arguments[" + std::string(fChoices.among(kIndexes)) + "]", Kind::Any, 1};
    }
    return leaf(ctx, want, weight);
}

// An array or a map, made or read or changed.
Expr Generator::container(Context& ctx, int depth, Kind kind, int weight)
{
    switch (depth > 0 ? fChoices.pick(6) : 0) {
        case 1:
            if (weight < 1) break;
            if (const Variable* read = variable(ctx, [kind](const Variable& v) { return v.kind == kind; }))
                return {read->name, kind, 1};
            break;
        case 2: {
            Expr condition = expression(ctx, depth - 1, Kind::Any, kTemporaryWeight);
            Expr yes = container(ctx, depth - 1, kind, weight);
            Expr no = container(ctx, depth - 1, kind, weight);
            return {"(" + condition.text + " ? " + yes.text + " : " + no.text + ")", kind,
                    std::max(yes.weight, no.weight)};
        }
        case 3: {
            Expr first = expression(ctx, depth - 1, Kind::Any, kTemporaryWeight);
            Expr second = container(ctx, depth - 1, kind, weight);
            return {"(" + first.text + ", " + second.text + ")", kind, second.weight};
        }
        case 4:
            return assignmentExpression(ctx, depth, kind, weight);
        case 5: {
            if (kind == Kind::Map || weight < 1) return tick(ctx, depth, kind, weight);
            const Variable* map = variable(ctx, [](const Variable& v) { return v.kind == Kind::Map; });
            if (map && fChoices.maybe(50)) return {"keys(" + map->name + ")", kind, 1};
            const Variable* array = variable(ctx, [](const Variable& v) { return v.kind == Kind::Array; });
            if (!array) break;
            const std::string name = array->name;
            return {name + ".push(" + expression(ctx, depth - 1, Kind::Any, 0).text + ")", kind, 1};
        }
    }
    return literal(ctx, depth, kind, weight);
}

Expr Generator::leaf(Context& ctx, Kind want, int weight)
{
    if (isContainer(want)) return literal(ctx, 0, want, weight);
    const bool number = want == Kind::Number;
    switch (fChoices.pick(4)) {
        case 1:
            if (number) break;
            return {fChoices.among(kStrings), Kind::Any, 0};
        case 2:
            return {fChoices.among(kConstants), Kind::Number, 0};
        case 3: {
            const bool numberOnly = number || weight < 1;
            const Variable* read = variable(
                ctx, [numberOnly](const Variable& v) { return !numberOnly || v.kind == Kind::Number; });
            if (!read) break;
            return {read->name, read->kind, read->kind == Kind::Number ? 0 : 1};
        }
    }
    return {fChoices.among(kNumbers), Kind::Number, 0};
}

// An array or map literal whose elements together stay within the weight.
Expr Generator::literal(Context& ctx, int depth, Kind kind, int weight)
{
    const bool map = kind == Kind::Map;
    std::string text = map ? "{" : "[";
    int used = 0;
    const unsigned count = fChoices.pick(4);
    for (unsigned i = 0; i < count; ++i) {
        Expr element = expression(ctx, depth - 1, Kind::Any, weight - used);
        used += element.weight;
        text += (i ? ", " : "") + (map ? std::string(kMembers[i % 3]) + ": " : "") + element.text;
    }
    return {text + (map ? "}" : "]"), kind, used};
}

// `+` joins strings, so its weight is its operands'; every other operator gives a Number.
Expr Generator::binary(Context& ctx, int depth, Kind want, int weight)
{
    const std::string op = fChoices.among(kOperators);
    if (op == "+") {
        Expr left = expression(ctx, depth - 1, want, weight);
        Expr right = expression(ctx, depth - 1, want, weight - left.weight);
        const bool number = left.kind == Kind::Number && right.kind == Kind::Number;
        return {"(" + left.text + " + " + right.text + ")", number ? Kind::Number : Kind::Any,
                left.weight + right.weight};
    }
    Expr left = expression(ctx, depth - 1, Kind::Any, kTemporaryWeight);
    Expr right = expression(ctx, depth - 1, Kind::Any, kTemporaryWeight);
    return {"(" + left.text + " " + op + " " + right.text + ")", Kind::Number, 0};
}

// Reads of members that may be missing: they give an error value, which is no failure.
Expr Generator::memberRead(Context& ctx, int depth, Kind want, int weight)
{
    const Variable* base = variable(ctx, [](const Variable& v) { return v.kind != Kind::Number; });
    if (!base) return leaf(ctx, want, weight);
    const std::string name = base->name;
    if (want == Kind::Number || weight < 1 || fChoices.maybe(15)) return {name + ".length", Kind::Number, 0};
    // A constant negative index does not parse; one computed as it runs names a member.
    if (fChoices.maybe(20)) return {name + "[" + computedIndex(ctx, depth) + "]", Kind::Any, 1};
    return {
        name + fChoices.among({".p", ".q", ".r", "['q']", "[0]", "[1]", "[2]", ".r[0]", "[0][1]", ".r.p"}),
        Kind::Any, 1};
}

std::string Generator::computedIndex(Context& ctx, int depth)
{
    const Variable* counter = variable(ctx, [](const Variable& v) { return v.kind == Kind::Number; });
    if (fChoices.maybe(50) && affordable(ctx, kTickCost)) return tick(ctx, depth, Kind::Number, 0).text;
    return counter->name;
}

// A call of a function defined before, or of the recursive one by itself in its final return. A
// call that would take the body over its budget is not made.
Expr Generator::call(Context& ctx, int depth, Kind want, int weight)
{
    const bool self = ctx.selfCallAllowed && fSelfCalls < 2 && fChoices.maybe(60);
    if (!self && ctx.callable == 0) return leaf(ctx, want, weight);
    const Function& f = self ? *ctx.function : fFunctions[fChoices.pick(ctx.callable)];
    if (!fits(f.returns, want) || (f.returns != Kind::Number && weight < 1)) return leaf(ctx, want, weight);
    int level = 0;
    int64_t cost = f.cost;
    if (f.recursive && !self) {
        level = static_cast<int>(fChoices.pick(kRecursionDepth + 1));
        for (;; --level) {
            int64_t calls = 0;
            for (int i = 0, width = 1; i <= level; ++i, width *= std::max(f.selfCalls, 1))
                calls += f.selfCalls == 0 && i > 0 ? 0 : width;
            cost = calls * f.cost;
            if (level == 0 || affordable(ctx, cost)) break;
        }
    }
    if (self) {
        ++fSelfCalls;
        cost = 0;
    }
    if (!affordable(ctx, cost)) return leaf(ctx, want, weight);
    fCost += cost * ctx.multiplier;
    std::string text = f.name + "(";
    size_t given = f.params.size();
    if (given > 0 && !f.recursive && fChoices.maybe(15)) --given;
    for (size_t i = 0; i < given; ++i) {
        text += i ? ", " : "";
        if (f.recursive && i == 0)
            text += self ? "(" + f.paramNames[0] + " - 1)" : std::to_string(level);
        else
            text += expression(ctx, depth - 1, f.params[i], kStoredWeight).text;
    }
    if (fChoices.maybe(10)) text += std::string(given ? ", " : "") + fChoices.among(kNumbers);
    return {text + ")", f.returns, f.returns == Kind::Number ? 0 : 1};
}

Expr Generator::tick(Context& ctx, int depth, Kind want, int weight)
{
    if (!affordable(ctx, kTickCost)) return leaf(ctx, want, weight);
    fCost += kTickCost * ctx.multiplier;
    const std::string id = std::to_string(fTicks++);
    Expr value = expression(ctx, depth - 1, want, weight);
    return {"tick(" + id + ", " + value.text + ")", value.kind, value.weight};
}

// Built-ins that keep to the process: those giving a number take anything; the others give a value
// as heavy as what they read, stringify and enquote twice that (they escape quotes).
Expr Generator::builtin(Context& ctx, int depth, Kind want, int weight)
{
    const int choice = static_cast<int>(fChoices.pick(want == Kind::Number || weight < 1 ? 8 : 14));
    Expr arg = expression(ctx, depth - 1, Kind::Any, choice < 8 ? kTemporaryWeight : weight);
    const std::string receiver = "(" + arg.text + ")";
    switch (choice) {
        case 0:
            return {receiver + ".length", Kind::Number, 0};
        case 1:
            return {receiver + ".indexOf(" + fChoices.among(kStrings) + ")", Kind::Number, 0};
        case 2:
            return {"parseInt(" + arg.text + (fChoices.maybe(30) ? ", 16)" : ")"), Kind::Number, 0};
        case 3:
            return {"parseFloat(" + arg.text + ")", Kind::Number, 0};
        case 4:
            return {"size(" + arg.text + ")", Kind::Number, 0};
        case 5:
            return {"isNaN(" + arg.text + ")", Kind::Number, 0};
        case 6:
            return {fChoices.among({"abs(", "sqr(", "sqrt("}) + arg.text + ")", Kind::Number, 0};
        case 7:
            return {"(" + arg.text + " === " + fChoices.among(kConstants) + ")", Kind::Number, 0};
        case 8: {
            std::string text = receiver + ".substr(" + expression(ctx, depth - 1, Kind::Number, 0).text;
            if (fChoices.maybe(50)) text += ", " + expression(ctx, depth - 1, Kind::Number, 0).text;
            return {text + ")", Kind::Any, arg.weight};
        }
        case 9:
            return {receiver + fChoices.among({".toUpperCase()", ".toLowerCase()"}), Kind::Any, arg.weight};
        case 10:
            return {"toString(" + arg.text + ")", Kind::Any, arg.weight};
        case 11:
            return {"keys(" + arg.text + ")", Kind::Any, arg.weight};
        case 12:
            if (arg.weight * 2 > weight) break;
            return {fChoices.among({"stringify(", "enquote("}) + arg.text + ")", Kind::Any, arg.weight * 2};
    }
    return {"substr(" + arg.text + ", 1)", Kind::Any, arg.weight};
}

Expr Generator::assignmentExpression(Context& ctx, int depth, Kind want, int weight)
{
    Place target;
    if (isContainer(want)) {
        const Variable* v =
            variable(ctx, [want](const Variable& v) { return v.assignable && v.kind == want; });
        if (!v) return literal(ctx, depth, want, weight);
        target = {v->name, want, false};
    } else if (!place(ctx, target, true, false) || !fits(target.kind, want)) {
        return leaf(ctx, want, weight);
    }
    Expr value = valueFor(ctx, depth - 1, target, weight);
    return {"(" + target.text + " = " + value.text + ")", value.kind, value.weight};
}

// ---- places

template <class Keep>
const Variable* Generator::variable(const Context& ctx, Keep keep)
{
    std::vector<const Variable*> candidates;
    for (const Variable& v : ctx.variables)
        if (keep(v)) candidates.push_back(&v);
    return candidates.empty() ? nullptr : candidates[fChoices.pick(candidates.size())];
}

// A variable that may be written (containers only when asked: they must stay what they are), or a
// member of one.
bool Generator::place(Context& ctx, Place& out, bool containers, bool mayFail)
{
    if (fChoices.maybe(35)) {
        out = {memberTarget(ctx, mayFail), Kind::Any, true};
        if (!out.text.empty()) return true;
    }
    const Variable* v = variable(ctx, [containers](const Variable& v) {
        return v.assignable && (containers || !isContainer(v.kind));
    });
    if (!v) return false;
    out = {v->name, v->kind, false};
    return true;
}

// A member of a map by name or of an array by index, which can always be written; now and then, as
// a statement only, one of something that may be no container, which fails and ends the script.
std::string Generator::memberTarget(const Context& ctx, bool mayFail)
{
    if (mayFail && fChoices.maybe(5)) {
        const Variable* base = variable(ctx, [](const Variable& v) { return v.kind != Kind::Number; });
        if (base) return base->name + fChoices.among({".p", "[1]", ".r[0]", "['q']"});
    }
    const Variable* base = variable(ctx, [](const Variable& v) { return isContainer(v.kind); });
    if (!base) return "";
    if (base->kind == Kind::Map) return base->name + fChoices.among({".p", ".q", ".r", "['p']", "['q']"});
    return base->name + fChoices.among({"[0]", "[1]", "[2]"});
}

// A variable takes a value of its kind holding at most one value read; a member takes nothing read.
Expr Generator::valueFor(Context& ctx, int depth, const Place& place, int weight)
{
    return expression(ctx, depth, place.kind, std::min(weight, place.member ? 0 : kStoredWeight));
}

}  // namespace

std::string generateScript(const uint8_t* data, size_t size)
{
    return Generator(data, size).script();
}

}  // namespace QfnTest
