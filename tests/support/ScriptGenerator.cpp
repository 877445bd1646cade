#include "support/ScriptGenerator.h"

#include <algorithm>
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

// A Number value is never a string or a container: a number, boolean, null, undefined, NaN or an
// error. A Number variable is only ever given Number values.
enum class Kind { Number, Any };

struct Variable {
    std::string name;
    Kind kind;
    bool assignable;
};

// A generated expression: its text, whether its value is a Number, and how many values read from
// variables it may hold (its weight).
struct Expr {
    std::string text;
    bool number = false;
    int weight = 0;
};

struct Function {
    std::string name;
    std::vector<std::string> paramNames;
    std::vector<Kind> params;
    bool returnsNumber = false;
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

class Generator {
public:
    Generator(const uint8_t* data, size_t size) : fChoices(data, size) {}
    std::string script();

private:
    // Definitions.
    std::string initialValue(char shape, int depth);
    std::string function(const std::vector<Variable>& globals, bool recursive);
    // Statements.
    std::string statement(Context& ctx);
    std::string block(const Context& ctx);
    std::vector<std::string> statements(Context& ctx, unsigned most);
    std::string assignment(Context& ctx);
    std::string compoundAssignment(Context& ctx);
    std::string conditional(Context& ctx);
    std::string loop(Context& ctx);
    std::string expressionStatement(Context& ctx);
    std::string exitStatement(Context& ctx);
    // Expressions.
    Expr expression(Context& ctx, int depth, bool number, int weight);
    Expr leaf(Context& ctx, bool number, int weight);
    Expr binary(Context& ctx, int depth, bool number, int weight);
    Expr memberRead(Context& ctx, int depth, bool number, int weight);
    std::string computedIndex(Context& ctx, int depth);
    Expr call(Context& ctx, int depth, bool number, int weight);
    Expr tick(Context& ctx, int depth, bool number, int weight);
    Expr builtin(Context& ctx, int depth, bool number, int weight);
    Expr literal(Context& ctx, int depth, int weight);
    Expr assignmentExpression(Context& ctx, int depth, bool number, int weight);
    // Places that can be written, and the values they take.
    const Variable* variable(const Context& ctx, bool assignableOnly, bool numberOnly);
    std::string memberTarget(const Context& ctx);
    bool target(Context& ctx, std::string& text, bool& number);
    Expr valueFor(Context& ctx, int depth, bool number, bool member);
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
    for (const char* name : {"n0", "n1", "n2"})
        top.variables.push_back({name, Kind::Number, true});
    for (const char* name : {"s0", "s1", "a0", "a1", "m0", "m1"})
        top.variables.push_back({name, Kind::Any, true});
    for (const Variable& global : top.variables)
        text += global.name + " = " + initialValue(global.name[0], 2) + "\n";
    for (unsigned i = fChoices.pick(4); i > 0; --i)
        text += function(top.variables, false) + "\n";
    if (fChoices.maybe(60)) text += function(top.variables, true) + "\n";
    top.callable = fFunctions.size();
    for (const std::string& line : statements(top, 12))
        text += line + "\n";
    return text + expression(top, kExpressionDepth, false, kTemporaryWeight).text + "\n";
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
    f.returnsNumber = fChoices.maybe(50);
    Context body;
    body.variables = globals;
    body.budget = kFunctionBudget;
    body.callable = fFunctions.size();
    body.function = &f;
    std::vector<std::string>& params = f.paramNames;
    const std::string prefix = "p" + std::to_string(fFunctions.size());
    for (unsigned i = (recursive ? 1 : 0) + fChoices.pick(3); i > 0; --i) {
        f.params.push_back(recursive && params.empty() ? Kind::Number
                           : fChoices.maybe(50)        ? Kind::Number
                                                       : Kind::Any);
        params.push_back(prefix + std::to_string(params.size()));
        body.variables.push_back({params.back(), f.params.back(), false});
    }
    std::string text = fChoices.maybe(70) ? "function " + f.name + "(" : f.name + " = function(";
    for (size_t i = 0; i < params.size(); ++i)
        text += (i ? ", " : "") + params[i];
    text += ") { ";
    const int64_t outerCost = fCost;
    fCost = 0;
    if (recursive)
        text += "if (" + params[0] + " <= 0) { return " + leaf(body, f.returnsNumber, 0).text + " }; ";
    for (const std::string& line : statements(body, 3))
        text += line + "; ";
    body.selfCallAllowed = recursive;
    fSelfCalls = 0;
    text += "return " + expression(body, kExpressionDepth, f.returnsNumber, kStoredWeight).text + " }";
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
    switch (fChoices.pick(10)) {
        case 1:
            return compoundAssignment(ctx);
        case 2: {
            std::string text;
            bool number = false;
            if (!target(ctx, text, number)) break;
            return fChoices.among({"++", "--"}) + text;
        }
        case 3:
            return expressionStatement(ctx);
        case 4:
            return conditional(ctx);
        case 5:
            return loop(ctx);
        case 6: {
            Expr first = expression(ctx, kExpressionDepth - 1, false, kStoredWeight);
            if (!fChoices.maybe(50)) return "output(" + first.text + ")";
            return "output(" + first.text + ", ' ', " +
                   expression(ctx, kExpressionDepth - 1, false, kStoredWeight).text + ")";
        }
        case 7: {
            if (!ctx.function) break;
            Expr value = expression(ctx, kExpressionDepth, false, kStoredWeight);
            ctx.variables.push_back(
                {"l" + std::to_string(fLocals++), value.number ? Kind::Number : Kind::Any, true});
            return "var " + ctx.variables.back().name + " = " + value.text;
        }
        case 8:
            return exitStatement(ctx);
    }
    return assignment(ctx);
}

std::string Generator::assignment(Context& ctx)
{
    std::string text;
    bool number = false;
    if (!target(ctx, text, number)) return "n0 = " + leaf(ctx, true, 0).text;
    return text + " = " +
           valueFor(ctx, kExpressionDepth, number, text.find_first_of(".[") != std::string::npos).text;
}

// `+=` adds what it reads again; the other compound operators always give a Number.
std::string Generator::compoundAssignment(Context& ctx)
{
    std::string text;
    bool number = false;
    if (!target(ctx, text, number)) return assignment(ctx);
    const std::string op = fChoices.among(kCompound);
    Expr value = op == "+=" ? expression(ctx, kExpressionDepth, number, 0)
                            : expression(ctx, kExpressionDepth, false, kTemporaryWeight);
    return text + " " + op + " " + value.text;
}

std::string Generator::conditional(Context& ctx)
{
    if (ctx.blockDepth >= kBlockDepth) return assignment(ctx);
    std::string text = "if (" + expression(ctx, kExpressionDepth, false, kTemporaryWeight).text + ") ";
    text += block(ctx);
    const unsigned shape = fChoices.pick(3);
    if (shape == 2) {
        text += " else if (" + expression(ctx, kExpressionDepth - 1, false, kTemporaryWeight).text + ") ";
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

std::string Generator::expressionStatement(Context& ctx)
{
    switch (fChoices.pick(4)) {
        case 1:
            return call(ctx, kExpressionDepth, false, kTemporaryWeight).text;
        case 2:
            return tick(ctx, kExpressionDepth, false, kTemporaryWeight).text;
        case 3: {
            const Variable* array = variable(ctx, true, false);
            if (!array || array->kind != Kind::Any) break;
            if (fChoices.maybe(30)) return array->name + ".pop()";
            return array->name + ".push(" + expression(ctx, kExpressionDepth - 1, false, 0).text + ")";
        }
    }
    return expression(ctx, kExpressionDepth, false, kTemporaryWeight).text;
}

// break inside a loop, return inside a function, each mostly under a condition.
std::string Generator::exitStatement(Context& ctx)
{
    std::string text;
    if (ctx.loopDepth > 0 && (!ctx.function || fChoices.maybe(50))) {
        text = "break";
    } else if (ctx.function) {
        text = "return " +
               expression(ctx, kExpressionDepth - 1, ctx.function->returnsNumber, kStoredWeight).text;
    } else {
        return assignment(ctx);
    }
    if (fChoices.maybe(20)) return text;
    return "if (" + expression(ctx, kExpressionDepth - 1, false, kTemporaryWeight).text + ") { " + text +
           " }";
}

// ---- expressions: every compound one in parentheses, so that precedence never matters.

Expr Generator::expression(Context& ctx, int depth, bool number, int weight)
{
    if (depth <= 0) return leaf(ctx, number, weight);
    switch (fChoices.pick(14)) {
        case 1:
        case 2:
            return binary(ctx, depth, number, weight);
        case 3: {
            const std::string op = fChoices.among(kUnary);
            Expr operand = expression(ctx, depth - 1, false, kTemporaryWeight);
            if (op == "typeof " && number) break;
            return {"(" + op + operand.text + ")", op != "typeof ", 0};
        }
        case 4: {
            Expr condition = expression(ctx, depth - 1, false, kTemporaryWeight);
            Expr yes = expression(ctx, depth - 1, number, weight);
            Expr no = expression(ctx, depth - 1, number, weight);
            return {"(" + condition.text + " ? " + yes.text + " : " + no.text + ")", yes.number && no.number,
                    std::max(yes.weight, no.weight)};
        }
        case 5:
            return memberRead(ctx, depth, number, weight);
        case 6:
            return call(ctx, depth, number, weight);
        case 7:
            return tick(ctx, depth, number, weight);
        case 8:
            return builtin(ctx, depth, number, weight);
        case 9: {
            std::string text;
            bool targetNumber = false;
            if (!target(ctx, text, targetNumber)) break;
            return {fChoices.maybe(50) ? "(" + std::string(fChoices.among({"++", "--"})) + text + ")"
                                       : "(" + text + fChoices.among({"++", "--"}) + ")",
                    true, 0};
        }
        case 10:
            return assignmentExpression(ctx, depth, number, weight);
        case 11:
            if (number) break;
            return literal(ctx, depth, weight);
        case 12: {
            Expr first = expression(ctx, depth - 1, false, kTemporaryWeight);
            Expr second = expression(ctx, depth - 1, number, weight);
            return {"(" + first.text + ", " + second.text + ")", second.number, second.weight};
        }
        case 13:
            if (!ctx.function) break;
            if (number || weight < 1 || fChoices.maybe(50)) return {"arguments.length", true, 0};
            return {"arguments[" + std::string(fChoices.among(kIndexes)) + "]", false, 1};
    }
    return leaf(ctx, number, weight);
}

Expr Generator::leaf(Context& ctx, bool number, int weight)
{
    switch (fChoices.pick(4)) {
        case 1:
            if (number) break;
            return {fChoices.among(kStrings), false, 0};
        case 2:
            return {fChoices.among(kConstants), true, 0};
        case 3:
            if (const Variable* read = variable(ctx, false, number || weight < 1))
                return {read->name, read->kind == Kind::Number, read->kind == Kind::Number ? 0 : 1};
            break;
    }
    return {fChoices.among(kNumbers), true, 0};
}

// `+` joins strings, so its weight is its operands'; every other operator gives a Number.
Expr Generator::binary(Context& ctx, int depth, bool number, int weight)
{
    const std::string op = fChoices.among(kOperators);
    if (op == "+") {
        Expr left = expression(ctx, depth - 1, number, weight);
        Expr right = expression(ctx, depth - 1, number, weight - left.weight);
        return {"(" + left.text + " + " + right.text + ")", left.number && right.number,
                left.weight + right.weight};
    }
    Expr left = expression(ctx, depth - 1, false, kTemporaryWeight);
    Expr right = expression(ctx, depth - 1, false, kTemporaryWeight);
    return {"(" + left.text + " " + op + " " + right.text + ")", true, 0};
}

Expr Generator::memberRead(Context& ctx, int depth, bool number, int weight)
{
    const Variable* base = variable(ctx, false, false);
    if (!base || base->kind != Kind::Any) return leaf(ctx, number, weight);
    if (number || weight < 1 || fChoices.maybe(15)) return {base->name + ".length", true, 0};
    switch (fChoices.pick(5)) {
        case 1:
            return {base->name + "[" + fChoices.among(kIndexes) + "]", false, 1};
        case 2:
            return {base->name + ".r[" + fChoices.among(kIndexes) + "]", false, 1};
        case 3:
            // A constant negative index does not parse; one computed as it runs names a member.
            return {base->name + "[" + computedIndex(ctx, depth) + "]", false, 1};
        case 4:
            return {base->name + "[0][" + fChoices.among(kIndexes) + "]", false, 1};
    }
    return {base->name + "." + fChoices.among(kMembers), false, 1};
}

std::string Generator::computedIndex(Context& ctx, int depth)
{
    const Variable* counter = variable(ctx, false, true);
    if (fChoices.maybe(50) && affordable(ctx, kTickCost)) return tick(ctx, depth, true, 0).text;
    return counter->name;
}

// A call of a function defined before, or of the recursive one by itself in its final return. A
// call that would take the body over its budget is not made.
Expr Generator::call(Context& ctx, int depth, bool number, int weight)
{
    const bool self = ctx.selfCallAllowed && fSelfCalls < 2 && fChoices.maybe(60);
    if (!self && ctx.callable == 0) return leaf(ctx, number, weight);
    const Function& f = self ? *ctx.function : fFunctions[fChoices.pick(ctx.callable)];
    if (!f.returnsNumber && (number || weight < 1)) return leaf(ctx, number, weight);
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
    if (!affordable(ctx, cost)) return leaf(ctx, number, weight);
    fCost += cost * ctx.multiplier;
    std::string text = f.name + "(";
    size_t given = f.params.size();
    if (given > 0 && !f.recursive && fChoices.maybe(15)) --given;
    for (size_t i = 0; i < given; ++i) {
        text += i ? ", " : "";
        if (f.recursive && i == 0)
            text += self ? "(" + f.paramNames[0] + " - 1)" : std::to_string(level);
        else
            text += expression(ctx, depth - 1, f.params[i] == Kind::Number, kStoredWeight).text;
    }
    if (fChoices.maybe(10)) text += std::string(given ? ", " : "") + fChoices.among(kNumbers);
    return {text + ")", f.returnsNumber, f.returnsNumber ? 0 : 1};
}

Expr Generator::tick(Context& ctx, int depth, bool number, int weight)
{
    if (!affordable(ctx, kTickCost)) return leaf(ctx, number, weight);
    fCost += kTickCost * ctx.multiplier;
    const std::string id = std::to_string(fTicks++);
    Expr value = expression(ctx, depth - 1, number, weight);
    return {"tick(" + id + ", " + value.text + ")", value.number, value.weight};
}

// Built-ins that keep to the process: those giving a number take anything; the others give a value
// as heavy as what they read, stringify and enquote twice that (they escape quotes).
Expr Generator::builtin(Context& ctx, int depth, bool number, int weight)
{
    const int choice = static_cast<int>(fChoices.pick(number || weight < 1 ? 8 : 14));
    Expr arg = expression(ctx, depth - 1, false, choice < 8 ? kTemporaryWeight : weight);
    const std::string receiver = "(" + arg.text + ")";
    switch (choice) {
        case 0:
            return {receiver + ".length", true, 0};
        case 1:
            return {receiver + ".indexOf(" + fChoices.among(kStrings) + ")", true, 0};
        case 2:
            return {"parseInt(" + arg.text + (fChoices.maybe(30) ? ", 16)" : ")"), true, 0};
        case 3:
            return {"parseFloat(" + arg.text + ")", true, 0};
        case 4:
            return {"size(" + arg.text + ")", true, 0};
        case 5:
            return {"isNaN(" + arg.text + ")", true, 0};
        case 6:
            return {fChoices.among({"abs(", "sqr(", "sqrt("}) + arg.text + ")", true, 0};
        case 7:
            return {"(" + arg.text + " === " + fChoices.among(kConstants) + ")", true, 0};
        case 8: {
            std::string text = receiver + ".substr(" + expression(ctx, depth - 1, true, 0).text;
            if (fChoices.maybe(50)) text += ", " + expression(ctx, depth - 1, true, 0).text;
            return {text + ")", false, arg.weight};
        }
        case 9:
            return {receiver + fChoices.among({".toUpperCase()", ".toLowerCase()"}), false, arg.weight};
        case 10:
            return {"toString(" + arg.text + ")", false, arg.weight};
        case 11:
            return {"keys(" + arg.text + ")", false, arg.weight};
        case 12:
            if (arg.weight * 2 > weight) break;
            return {fChoices.among({"stringify(", "enquote("}) + arg.text + ")", false, arg.weight * 2};
    }
    return {"substr(" + arg.text + ", 1)", false, arg.weight};
}

// An array or map literal whose elements together stay within the weight.
Expr Generator::literal(Context& ctx, int depth, int weight)
{
    const bool map = fChoices.maybe(50);
    std::string text = map ? "{" : "[";
    int used = 0;
    const unsigned count = fChoices.pick(4);
    for (unsigned i = 0; i < count; ++i) {
        Expr element = expression(ctx, depth - 1, false, weight - used);
        used += element.weight;
        text += (i ? ", " : "") + (map ? std::string(kMembers[i % 3]) + ": " : "") + element.text;
    }
    return {text + (map ? "}" : "]"), false, used};
}

Expr Generator::assignmentExpression(Context& ctx, int depth, bool number, int weight)
{
    std::string text;
    bool targetNumber = false;
    if (!target(ctx, text, targetNumber) || (number && !targetNumber)) return leaf(ctx, number, weight);
    const bool member = text.find_first_of(".[") != std::string::npos;
    if (!member && !targetNumber && weight < 1) return leaf(ctx, number, weight);
    Expr value = valueFor(ctx, depth - 1, targetNumber, member);
    return {"(" + text + " = " + value.text + ")", value.number, value.weight};
}

// ---- places

const Variable* Generator::variable(const Context& ctx, bool assignableOnly, bool numberOnly)
{
    std::vector<const Variable*> candidates;
    for (const Variable& v : ctx.variables)
        if ((!assignableOnly || v.assignable) && (!numberOnly || v.kind == Kind::Number))
            candidates.push_back(&v);
    return candidates.empty() ? nullptr : candidates[fChoices.pick(candidates.size())];
}

std::string Generator::memberTarget(const Context& ctx)
{
    const Variable* base = variable(ctx, false, false);
    if (!base || base->kind != Kind::Any) return "";
    switch (fChoices.pick(3)) {
        case 1:
            return base->name + "[" + fChoices.among(kIndexes) + "]";
        case 2:
            return base->name + ".r[" + fChoices.among({"0", "1"}) + "]";
    }
    return base->name + "." + fChoices.among(kMembers);
}

// A variable that may be written, or a member of one; `number` tells whether it must stay a Number.
bool Generator::target(Context& ctx, std::string& text, bool& number)
{
    if (fChoices.maybe(35)) {
        text = memberTarget(ctx);
        number = false;
        if (!text.empty()) return true;
    }
    const Variable* v = variable(ctx, true, false);
    if (!v) return false;
    text = v->name;
    number = v->kind == Kind::Number;
    return true;
}

// What a variable takes: a Number for a Number one, else at most one read value; a member takes
// nothing read, as its container grows with it.
Expr Generator::valueFor(Context& ctx, int depth, bool number, bool member)
{
    return expression(ctx, depth, number, member ? 0 : kStoredWeight);
}

}  // namespace

std::string generateScript(const uint8_t* data, size_t size)
{
    return Generator(data, size).script();
}

}  // namespace QfnTest
