#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <memory>
#include <string>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/streams/InputStreamString.h"
#include "QfnParser/expressions/OMExpression.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/syntax/OMStoredParserLexer.h"
#include "QfnTask/AsyncIOType.h"
#include "QfnTask/CallYieldingTask.h"
#include "QfnParser/tasks/script/EvalTask.h"
#include "QfnParser/tasks/script/ParseTask.h"
#include "support/LogCapture.h"

using Qfn::InputStreamString;
using Qfn::OMStored;
using Qfn::OMType;
using Qfn::Task;
namespace Lexer = Qfn::ParserLexer;

namespace {

using StreamPtr = std::shared_ptr<InputStreamString>;
using Call = std::function<void(const std::shared_ptr<Task>&)>;

void runYielding(const Call& call)
{
    ASSERT_TRUE(Qfn::CallYieldingTask::run("parserTest", call));
}

// The plain reader over a whole text; the node is left as parseNum leaves it.
std::shared_ptr<OMStored> plainNumber(const std::string& text, int radix, bool& ok)
{
    auto node = OMStored::undefinedFactory();
    ok = node->parseNum(text, radix);
    return node;
}

// Runs a test body and checks that it left no OMStored behind.
void runCounted(const std::function<void()>& body)
{
    const int64_t before = OMStored::getOMStoredCount();
    body();
    EXPECT_EQ(before, OMStored::getOMStoredCount());
}

std::shared_ptr<OMStored> parse(const std::string& text, bool& ok)
{
    auto node = OMStored::undefinedFactory();
    ok = Qfn::ParseTask::call(node, text);
    return node;
}

std::shared_ptr<OMStored> parseOk(const std::string& text)
{
    bool ok = false;
    auto node = parse(text, ok);
    EXPECT_TRUE(ok) << text;
    return node;
}

// The script's value: parsed, then evaluated in a fresh scope.
std::string evalToString(const std::string& text)
{
    auto node = parseOk(text);
    auto result =
        Qfn::EvalTask::call(node, Qfn::InternalCoordinator::scopeFactory(), Qfn::HandleReturnValue::UNWRAP);
    return result ? result->toString() : "<failed>";
}

// Text that arrives when the test says so; until it is closed, its end means "nothing yet".
class TrickleStream : public InputStreamString {
public:
    static std::shared_ptr<TrickleStream> factory()
    {
        return std::shared_ptr<TrickleStream>(new TrickleStream());
    }
    int getChar() override
    {
        int c = InputStreamString::getChar();
        return c == kEndOfInput && !fIsClosed && !fIsAtEOF ? kNothingYet : c;
    }
    void close() { fIsClosed = true; }

private:
    TrickleStream() : InputStreamString(std::string()) {}
    bool fIsClosed = false;
};

}  // namespace

TEST(OMStoredParser, ConstantsFoldOneOperatorLevelAtATime)
{
    runCounted([] {
        struct Case {
            const char* text;
            OMType type;
            const char* value;
        };
        const Case cases[] = {
            {"8 / 2 * 2", OMType::Int, "2"},
            {"5 - 2 + 1", OMType::Int, "2"},
            {"1 + 2 * 3", OMType::Int, "7"},
            {"(1+2)*3", OMType::Int, "9"},
            {"2 * 3 - 4 / 2 + 1", OMType::Int, "3"},
            {"7 & 3 | 8", OMType::Int, "11"},
            {"!!!true", OMType::Bool, "false"},
            {"+-true", OMType::Int, "-1"},
            {"typeof -1.2", OMType::String, "\"number\""},
            {"\"a\" + typeof -1.2", OMType::String, "\"anumber\""},
            {"0 ? 2 : 3 + 4", OMType::Int, "7"},
            {"1 < 2 == true", OMType::Bool, "true"},
            {"10 - 1 - 1", OMType::Int, "8"},
            {"0x10 - 1", OMType::Int, "15"},
        };
        for (const Case& c : cases) {
            auto node = parseOk(c.text);
            EXPECT_EQ(node->getType(), c.type) << c.text;
            EXPECT_EQ(node->toString(), c.value) << c.text;
        }
    });
}

TEST(OMStoredParser, LiteralsOfEveryKind)
{
    runCounted([] {
        auto array = parseOk("[ 111, 2, \"\\u2192\", \"B\\x00a\" ]");
        ASSERT_EQ(array->getType(), OMType::Array);
        ASSERT_EQ(array->getSize(), 4u);
        EXPECT_EQ(array->getOMNode(uint64_t(2))->getString(), "\xE2\x86\x92");
        EXPECT_EQ(array->getOMNode(uint64_t(3))->getString(), std::string("B\0a", 3));

        for (const char* text :
             {"{'a':'b','c':'d'}", "{\"c\":\"d\", a:\"b\"}", "{ a : 'b',\n  'c': 'd', }"}) {
            auto map = parseOk(text);
            ASSERT_EQ(map->getType(), OMType::Map) << text;
            EXPECT_EQ(map->getSize(), 2u) << text;
            EXPECT_EQ(map->getOMNode("c")->getString(), "d") << text;
        }
        EXPECT_EQ(parseOk("{  }")->getType(), OMType::Map);
        EXPECT_EQ(parseOk("[]")->getSize(), 0u);
        auto nested = parseOk("{ list: [1, {b: -2}], 'two words': <<END\nline\nEND\n}");
        EXPECT_EQ(nested->getOMNode("list")->getOMNode(uint64_t(1))->getOMNode("b")->getInt(), -2);
        EXPECT_EQ(nested->getOMNode("two words")->getString(), "line");

        auto real = parseOk("111.");
        EXPECT_EQ(real->getType(), OMType::Float);
        EXPECT_EQ(real->getFloat(), 111.0);
        EXPECT_EQ(parseOk("'/*'")->getString().size(), 2u);
        EXPECT_EQ(parseOk("'it\\'s' + \"\"")->getString(), "it's");
        auto member = parseOk("'abc'.length");
        ASSERT_EQ(member->getType(), OMType::Expression);
        EXPECT_EQ(member->getExpression()->toString(), "\"abc\".length");
        EXPECT_EQ(parseOk("(a + b).x[i](1, 'z')")->getExpression()->toString(), "(a + b).x[i](1, \"z\")");
    });
}

TEST(OMStoredParser, StatementsAndFunctionsBecomeExpressionsAndFunctionValues)
{
    runCounted([] {
        EXPECT_EQ(parseOk("{ a = b; c = d + b; }")->getType(), OMType::Expression);
        EXPECT_EQ(parseOk("a = 12; b = a*a")->getType(), OMType::Expression);
        EXPECT_EQ(parseOk("reference(\"a\") = 1212")->getType(), OMType::Expression);
        EXPECT_EQ(parseOk("function f() {}")->getType(), OMType::Expression);

        auto function = parseOk("function (p, q) { var t = p; return t * q }");
        ASSERT_EQ(function->getType(), OMType::Function);
        auto signature = function->getFunctionSignature();
        ASSERT_TRUE(signature);
        EXPECT_EQ(signature->getParameterList(), (std::vector<std::string>{"", "p", "q"}));
        EXPECT_EQ(signature->getLocalVariables(), (std::vector<std::string>{"t"}));
        EXPECT_EQ(parseOk("function () { 5 }")->getType(), OMType::Function);

        for (const char* text : {"x = 3; while (x) { a = 12; ++a; --x; } a", "do { x++ } while (x < 3)",
                                 "for (i = 0; i < 3; i++) s += i", "for (;;) { break }",
                                 "if (a) b = 1\nelse { b = 2 }\nc = 3", "var v = 5; debugger"}) {
            EXPECT_EQ(parseOk(text)->getType(), OMType::Expression) << text;
        }
    });
}

TEST(OMStoredParser, ScriptsRunWithTheValuesTheyShould)
{
    runCounted([] {
        EXPECT_EQ(evalToString("a = 12; b = a*a; c = a + b*b"), "20748");
        EXPECT_EQ(evalToString("x = 3; while (x) { a = 12; ++a; --x; } a"), "13");
        EXPECT_EQ(evalToString("a = [5, 6, 7]; b = a; a[1] = 99; b[1]++; c = b[1]"), "100");
        EXPECT_EQ(evalToString("a = { x : 1, y : 2, z: { x : 3, y : 4 } };b = a.x;"), "1");
        EXPECT_EQ(evalToString("function bla2(x, y) {\n  return x + y;\n}\na = bla2(2,3)"), "5");
        EXPECT_EQ(evalToString("s = 0; for (i = 0; i < 4; i++) { s += i } s"), "6");
        EXPECT_EQ(evalToString("i = 0; do { i += 2 } while (i < 5); i"), "6");
        EXPECT_EQ(evalToString("a = 2; if (a > 1) b = 'big'; else b = 'small'; b"), "\"big\"");
        EXPECT_EQ(evalToString("a = 5; a -= 1 + 1; a *= 2; a"), "6");
        EXPECT_EQ(evalToString("a = 1; b = a > 0 ? 'p' : 'n'"), "\"p\"");
        EXPECT_EQ(evalToString("x = 0; b = 0; if (x) a = 1; b = 2; b"), "2");
        EXPECT_EQ(evalToString("x = 0; if (x) a = 1; else a = 2; a"), "2");
        EXPECT_EQ(evalToString("n = 0; for (i = 0; i < 3; i++) for (j = 0; j < 2; j++) n++; n"), "6");
        EXPECT_EQ(evalToString("var x = 5; x"), "5");
        EXPECT_EQ(evalToString("o = { f: function (x) { return x * 2 } }; o.f(4)"), "8");
        EXPECT_EQ(evalToString("s = <<END\nabc\nEND\ns"), "\"abc\"");
    });
}

TEST(OMStoredParser, NewlineEndsAStatementOnlyAfterACompleteOperandOutsideBrackets)
{
    runCounted([] {
        auto sameTree = [](const std::string& left, const std::string& right) {
            return parseOk(left)->toString() == parseOk(right)->toString();
        };
        EXPECT_TRUE(sameTree("a = 1\nb = 2", "a = 1; b = 2"));
        EXPECT_TRUE(sameTree("a = 1 // one\r\nb = 2 /* two */", "a = 1; b = 2"));
        EXPECT_TRUE(sameTree("a = 1 +\n 2", "a = 1 + 2"));
        EXPECT_TRUE(sameTree("a = (b\n + 2)", "a = b + 2"));
        EXPECT_TRUE(sameTree("x = [b,\nc]", "x = [b, c]"));
        EXPECT_TRUE(sameTree("f(a\n, b)", "f(a, b)"));
        EXPECT_FALSE(sameTree("a = b\n- 2", "a = b - 2"));
        EXPECT_TRUE(sameTree("a = 8 / 2 // half", "a = 8 / 2"));
    });
}

TEST(OMStoredParser, ErrorsCascadeUpToParsingFailed)
{
    struct Case {
        const char* text;
        const char* message;
    };
    const Case cases[] = {
        {"7 = a", "failed to register binary operation"},
        {"[1] = 7", "failed to register binary operation"},
        {"{} = 7", "failed to register binary operation"},
        {"a ==== 8", "unexpected character"},
        {"! {a:'b',c:'d)", "unexpected end of inputStream"},
        {"[1", "unexpected end of inputStream"},
        {"(1 + 2", "expected closing ')'"},
        {"a !b", "unexpected character after !"},
        {"a[-1]", "negative index value"},
        {"a[1", "closing ']' expected"},
        {"f(1 2)", "expected ',' or ')'; argument list parse failed"},
        {"x ? 1", "missing : in ?:"},
        {"function", "expected function name or parameter list"},
        {"function f {}", "expected '(' for parameter list"},
        {"function f(a b) {}", "expected ')' or ',' in parameter list"},
        {"function f(1) {}", "empty parameter name"},
        {"function f(a) a", "no function scope '{'"},
        {"if x", "expected '('"},
        {"while (x", "expected closing ')'"},
        {"for x", "expected '(' in for"},
        {"for (a; b)", "invalid condition in for"},
        {"do x", "invalid body in do-while"},
        {"do {} until (x)", "missing while"},
        {"else", "unexpected keyword"},
        {"{a:1 b:2}", "unexpected character expecting , or }"},
        {"{a:1, 'b' 2}", "invalid character in attribute name"},
        {"{a:1, #:2}", "invalid character while expecting attribute name"},
        {"{1:2}", "invalid property"},
        {"[1 2]", "unexpected character expecting , or ] in array"},
        {"x = <y", "unexpected character"},
        {"a = 1 +", "unexpected end of inputStream"},
        {"return #", "parse error in return value"},
        {"x = 1 ? 2 : #", "invalid second value"},
    };
    for (const Case& c : cases) {
        QfnTest::LogCapture capture(1);
        bool ok = true;
        auto node = parse(c.text, ok);
        EXPECT_FALSE(ok) << c.text;
        EXPECT_EQ(node->getType(), OMType::Undefined) << c.text;
        EXPECT_TRUE(capture.hasLineEndingWith(c.message)) << c.text;
        EXPECT_TRUE(capture.hasLineEndingWith("parsing failed")) << c.text;
    }

    // Each level reports on the way up, innermost first.
    QfnTest::LogCapture capture(1);
    bool ok = true;
    parse("x = (1 + #)", ok);
    std::vector<std::string> expected = {"unexpected character", "parenthesized subexpression parse failed",
                                         "parsing failed"};
    size_t next = 0;
    for (const std::string& line : capture.lines()) {
        if (next < expected.size() && line.ends_with(expected[next])) ++next;
    }
    EXPECT_EQ(next, expected.size());
}

TEST(OMStoredParser, NestingTooDeepFailsInsteadOfExhaustingTheStack)
{
    runCounted([] {
        EXPECT_EQ(parseOk(std::string(50, '[') + "7" + std::string(50, ']'))->getType(), OMType::Array);
        QfnTest::LogCapture capture(1);
        bool ok = true;
        // Deeper than the test's stack has room for: a clean failure, one level at a time.
        auto node = parse(std::string(1000000, '(') + "1" + std::string(1000000, ')'), ok);
        EXPECT_FALSE(ok);
        EXPECT_EQ(node->getType(), OMType::Undefined);
        EXPECT_TRUE(capture.hasLineEndingWith("parsing failed"));
    });
}

// Counts its slices and never finishes by itself.
class TickingTask : public virtual Task {
public:
    static std::shared_ptr<TickingTask> make()
    {
        std::shared_ptr<TickingTask> task(new TickingTask());
        Task::registerTask(task);
        task->setIsExplicitCompletionNeeded(true);
        return task;
    }
    void timeslice() override
    {
        ++ticks;
        setTimesliceCompleted();
    }
    size_t ticks = 0;

private:
    TickingTask() : Task("TickingTask", -2, nullptr) {}
};

TEST(OMStoredParser, ParsesTheSameWhenTheTextArrivesOneCharacterPerSlice)
{
    const std::string text =
        "a = { x : 1, 'y' : [2, \"th\\x72ee\"] }; /* comment */\n"
        "function f(p, q) {\n  return p * q // product\n}\n"
        "if (a.x >= 1) b = f(2, 3) ? <<END\nhere\nEND\n : 1e3; else b = -1\n"
        "for (i = 0; i < 2; i++) { b += i }\n"
        "c = iffy && !typeof b; [a.y[1], b, c]";
    runCounted([&] {
        auto whole = parseOk(text);
        ASSERT_EQ(whole->getType(), OMType::Expression);

        auto stream = TrickleStream::factory();
        auto node = OMStored::undefinedFactory();
        bool success = false;
        auto task = Qfn::CallYieldingTask::factory("trickle", [&](const std::shared_ptr<Task>& t) {
            node->parseExpressionList_yielding(t, success, stream);
        });
        ASSERT_TRUE(task);
        task->pushInteractionLevel(Qfn::AsyncIOType::Async);
        // The parse shares the scheduler with a task that only counts its turns.
        auto ticker = TickingTask::make();
        Task::startTask(task);
        Task::startTask(ticker);
        size_t rounds = 0;
        size_t fed = 0;
        while (!task->getIsTaskCompleted() && rounds < 20 * text.size()) {
            int64_t available = 1000000;
            ASSERT_TRUE(Task::runActiveTasks(available));
            ++rounds;
            if (fed < text.size())
                stream->feed(text.substr(fed++, 1));
            else
                stream->close();
        }
        ASSERT_TRUE(task->getIsTaskCompleted());
        EXPECT_TRUE(success);
        EXPECT_GT(rounds, text.size());
        EXPECT_GE(ticker->ticks, text.size());
        Task::deregisterAllTasks();
        EXPECT_TRUE(Qfn::OMExpression::nodesEqual(node, whole));
        auto wholeValue =
            Qfn::EvalTask::call(whole, Qfn::InternalCoordinator::scopeFactory(), Qfn::HandleReturnValue::UNWRAP);
        auto trickledValue =
            Qfn::EvalTask::call(node, Qfn::InternalCoordinator::scopeFactory(), Qfn::HandleReturnValue::UNWRAP);
        ASSERT_TRUE(wholeValue && trickledValue);
        EXPECT_EQ(trickledValue->toString(), wholeValue->toString());
        EXPECT_EQ(wholeValue->toString(), "[\"three\", \"here01\", error]");
    });
}

TEST(OMStoredParseNum, EveryFloatFormIsReadWithItsType)
{
    struct Case {
        const char* text;
        OMType type;
        double value;
    };
    const Case cases[] = {
        {"123", OMType::Int, 123},
        {"-123", OMType::Int, -123},
        {"+123", OMType::Int, 123},
        {"123.45", OMType::Float, 123.45},
        {".45", OMType::Float, 0.45},
        {"+.45", OMType::Float, 0.45},
        {"111.", OMType::Float, 111},
        {"0.45", OMType::Float, 0.45},
        {"0.45E5", OMType::Float, 45000},
        {".45e-5", OMType::Float, 4.5e-6},
        {"-123E5", OMType::Float, -1.23e7},
        {"123.45e5", OMType::Float, 1.2345e7},
        {" \t\n 0x1F", OMType::Int, 31},
        {"0", OMType::Int, 0},
        {"9223372036854775808", OMType::Float, 9223372036854775808.0},
    };
    for (const Case& c : cases) {
        bool ok = false;
        auto node = plainNumber(c.text, -3, ok);
        ASSERT_TRUE(ok) << c.text;
        EXPECT_EQ(node->getType(), c.type) << c.text;
        EXPECT_DOUBLE_EQ(node->getAsNum(), c.value) << c.text;
    }
}

TEST(OMStoredParseNum, RadixChoosesTheDigitsAndStopsAtTheFirstOther)
{
    struct Case {
        const char* text;
        int radix;
        int64_t value;
    };
    const Case cases[] = {
        {"0x1f", -2, 31}, {"12.5", -2, 12}, {"ff", 16, 255},  {"0XFF", 16, 255}, {"777", 8, 511},
        {"1012", 2, 5},   {"z", 36, 35},    {"12.5", 10, 12}, {"0x1", 10, 0},    {"-42px", -2, -42},
    };
    for (const Case& c : cases) {
        bool ok = false;
        auto node = plainNumber(c.text, c.radix, ok);
        ASSERT_TRUE(ok) << c.text;
        EXPECT_EQ(node->getType(), OMType::Int) << c.text;
        EXPECT_EQ(node->getInt(), c.value) << c.text;
    }
}

TEST(OMStoredParseNum, TextWithoutANumberFailsQuietly)
{
    QfnTest::LogCapture capture(4);
    for (const char* text : {"", "abc", "-", ".", "+.", "1e", "1e+", "0x", "0xg", "8"}) {
        bool ok = true;
        const int radix = std::string(text) == "8" ? 8 : -3;
        plainNumber(text, radix, ok);
        EXPECT_FALSE(ok) << text;
    }
    EXPECT_EQ(capture.countContaining("parseNum failed"), 0u);
}

TEST(OMStoredParseNum, StreamReadersStopBeforeTheFirstOtherCharacter)
{
    auto plainStream = InputStreamString::factory("42abc");
    auto plain = OMStored::undefinedFactory();
    ASSERT_TRUE(plain->parseNum(*plainStream, -3));
    EXPECT_EQ(plain->getInt(), 42);
    EXPECT_EQ(plainStream->getPos(), 2u);

    StreamPtr stream = InputStreamString::factory("  12.5e1)");
    auto node = OMStored::undefinedFactory();
    bool success = false;
    runYielding(
        [&](const std::shared_ptr<Task>& task) { node->parseNum_yielding(task, success, stream, -3); });
    ASSERT_TRUE(success);
    EXPECT_EQ(node->getType(), OMType::Float);
    EXPECT_DOUBLE_EQ(node->getFloat(), 125.0);
    EXPECT_EQ(stream->getChar(), ')');
}

TEST(OMStoredParseNum, YieldingReaderReportsItsFailure)
{
    QfnTest::LogCapture capture(1);
    StreamPtr stream = InputStreamString::factory("1e+x");
    auto node = OMStored::undefinedFactory();
    bool success = true;
    runYielding(
        [&](const std::shared_ptr<Task>& task) { node->parseNum_yielding(task, success, stream, -3); });
    EXPECT_FALSE(success);
    EXPECT_TRUE(capture.hasLineEndingWith("parseNum failed"));
}

TEST(OMStoredPow, RepeatedSquaringWithTheSignOfTheExponentApart)
{
    EXPECT_DOUBLE_EQ(OMStored::pow(2.0, 10), 1024.0);
    EXPECT_DOUBLE_EQ(OMStored::pow(10.0, -3), 0.001);
    EXPECT_DOUBLE_EQ(OMStored::pow(3.0, 0), 1.0);
    EXPECT_DOUBLE_EQ(OMStored::pow(-2.0, 3), -8.0);
    EXPECT_DOUBLE_EQ(OMStored::pow(2.0, INT_MIN), 0.0);
}

TEST(OMStoredParseKeyword, MatchesWholeWordsAndGoesBackOtherwise)
{
    struct Case {
        const char* text;
        const char* keyword;
        bool matched;
        uint64_t posAfter;
    };
    const Case cases[] = {
        {"iffy", "if", false, 0},  {"if (x)", "if", true, 2},  {"if", "if", true, 2},
        {"els", "else", false, 0}, {"else{", "else", true, 4}, {"while_", "while", false, 0},
    };
    for (const Case& c : cases) {
        StreamPtr stream = InputStreamString::factory(c.text);
        bool matched = !c.matched;
        runYielding([&](const std::shared_ptr<Task>& task) {
            OMStored::parseKeyword_yielding(task, matched, stream, c.keyword);
        });
        EXPECT_EQ(matched, c.matched) << c.text;
        EXPECT_EQ(stream->getPos(), c.posAfter) << c.text;
    }

    StreamPtr chars = InputStreamString::factory(":=x");
    bool matched = false;
    runYielding([&](const std::shared_ptr<Task>& task) {
        OMStored::parseChars_yielding(task, matched, chars, ":=");
    });
    EXPECT_TRUE(matched);
    EXPECT_EQ(chars->getChar(), 'x');
}

TEST(OMStoredParserLexer, SkipsSpaceAndCommentsButNotADivision)
{
    struct Case {
        const char* text;
        bool newlineEnds;
        int c;
        uint64_t pos;
    };
    const Case cases[] = {
        {"  // note\n /* a * / b */ y", false, 'y', 25},
        {"  // note\n y", true, '\n', 9},
        {" / 2", false, '/', 1},
        {"/*/ */x", false, 'x', 6},
        {"\t\r\n", false, -1, 3},
    };
    for (const Case& c : cases) {
        StreamPtr stream = InputStreamString::factory(c.text);
        int ch = 0;
        runYielding([&](const std::shared_ptr<Task>& task) {
            Lexer::skipSpace_yielding(task, ch, stream, c.newlineEnds);
        });
        EXPECT_EQ(ch, c.c) << c.text;
        EXPECT_EQ(stream->getPos(), c.pos) << c.text;
    }

    QfnTest::LogCapture capture(1);
    StreamPtr open = InputStreamString::factory("/* never closed");
    int ch = 0;
    runYielding([&](const std::shared_ptr<Task>& task) { Lexer::skipSpace_yielding(task, ch, open, false); });
    EXPECT_EQ(ch, -1);
    EXPECT_TRUE(capture.hasLineEndingWith("unexpected end of inputStream"));
}

TEST(OMStoredParserLexer, QuotedStringsAreUnescapedAndEndAtTheirOwnQuote)
{
    struct Case {
        const char* text;
        int quote;
        std::string expected;
    };
    const Case cases[] = {
        {R"(ab\"c" rest)", '"', "ab\"c"},
        {R"(it\'s')", '\'', "it's"},
        {R"(say "hi"')", '\'', "say \"hi\""},
        {R"(\u2192\x41\n")", '"',
         "\xE2\x86\x92"
         "A\n"},
        {R"(B\x00a")", '"', std::string("B\0a", 3)},
        {R"(/*")", '"', "/*"},
    };
    for (const Case& c : cases) {
        StreamPtr stream = InputStreamString::factory(c.text);
        bool success = false;
        std::string text;
        runYielding([&](const std::shared_ptr<Task>& task) {
            Lexer::readQuoted_yielding(task, success, text, stream, c.quote);
        });
        ASSERT_TRUE(success) << c.text;
        EXPECT_EQ(text, c.expected) << c.text;
    }

    QfnTest::LogCapture capture(1);
    for (const std::string& text : {std::string("ab\0cd\"", 6), std::string("abc")}) {
        StreamPtr stream = InputStreamString::factory(text);
        bool success = true;
        std::string out;
        runYielding([&](const std::shared_ptr<Task>& task) {
            Lexer::readQuoted_yielding(task, success, out, stream, '"');
        });
        EXPECT_FALSE(success);
    }
    EXPECT_TRUE(capture.hasLineEndingWith("unexpected end of string in quoted string"));
    EXPECT_TRUE(capture.hasLineEndingWith("unexpected end of inputStream"));
}

TEST(OMStoredParserLexer, HereDocumentTakesTheLinesBeforeItsName)
{
    struct Case {
        const char* text;
        const char* expected;
        const char* rest;
    };
    const Case cases[] = {
        {"  END\nline 1\n  line 2\nEND\nafter", "line 1\n  line 2", "\nafter"},
        {"EOT2\r\nA\r\nB\r\nEOT2", "A\r\nB", ""},
        {"X\nX", "", ""},
        {"END\nENDING\nEND", "ENDING", ""},
    };
    for (const Case& c : cases) {
        StreamPtr stream = InputStreamString::factory(c.text);
        bool success = false;
        std::string text;
        runYielding([&](const std::shared_ptr<Task>& task) {
            Lexer::readHereDoc_yielding(task, success, text, stream);
        });
        ASSERT_TRUE(success) << c.text;
        EXPECT_EQ(text, c.expected) << c.text;
        std::string rest;
        for (int ch = stream->getChar(); ch >= 0; ch = stream->getChar()) {
            rest += static_cast<char>(ch);
            stream->advance();
        }
        EXPECT_EQ(rest, c.rest) << c.text;
    }

    QfnTest::LogCapture capture(1);
    for (const char* text : {" 1X\n", "END x\n", "END\nno end"}) {
        StreamPtr stream = InputStreamString::factory(text);
        bool success = true;
        std::string out;
        runYielding([&](const std::shared_ptr<Task>& task) {
            Lexer::readHereDoc_yielding(task, success, out, stream);
        });
        EXPECT_FALSE(success) << text;
    }
    EXPECT_EQ(capture.countContaining("unexpected character"), 2u);
    EXPECT_TRUE(capture.hasLineEndingWith("unexpected end of inputStream"));
}
