#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "QfnObject/GUIDClass.h"
#include "QfnParser/model/FunctionSignature.h"
#include "QfnParser/expressions/OMExpressionUnary.h"
#include "QfnParser/model/OMNode.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/CallYieldingTask.h"
#include "support/LogCapture.h"

using namespace Qfn;

namespace {

using Node = std::shared_ptr<IOMNode>;

Node num(int64_t value)
{
    return OMStored::factory(value);
}
Node num(double value)
{
    return OMStored::factory(value);
}
Node str(const std::string& value)
{
    return OMStored::factory(value);
}
Node boolean(bool value)
{
    return OMStored::factory(value);
}

Node array(std::initializer_list<Node> elements)
{
    auto node = OMStored::arrayFactory();
    for (const auto& element : elements)
        node->push(element);
    return node;
}

// bucketCount changes the map's own iteration order without changing its contents.
Node map(std::vector<std::pair<std::string, Node>> members, size_t bucketCount = 0)
{
    auto storage = std::make_shared<OMMap>();
    if (bucketCount) storage->reserve(bucketCount);
    for (auto& [key, value] : members)
        (*storage)[key] = value;
    return OMStored::factory(storage);
}

std::vector<std::string> iterationOrder(const Node& node)
{
    std::vector<std::string> keys;
    for (auto iter = node->getNodeIterator(); !iter->atEnd(); (*iter)++)
        keys.push_back(iter->getKey());
    return keys;
}

Node binop(BinOp op, const Node& a, const Node& b)
{
    return OMNode::binaryOperation(op, *a, *b);
}
Node unop(UnOp op, const Node& a)
{
    return OMNode::unaryOperation(op, *a);
}
// Runs one resumable call to its end on a task of its own.
bool runTask(const CallYieldingTask::Call& call)
{
    return CallYieldingTask::run("OMNodeTest", call);
}

bool isTrue(BinOp op, const Node& a, const Node& b)
{
    Node result = binop(op, a, b);
    EXPECT_EQ(result->getType(), OMType::Bool) << a->toString() << " op " << b->toString();
    return result->getBool();
}

// Every test ends with as many live nodes as it began with.
class NodeCountingTest : public ::testing::Test {
protected:
    void SetUp() override { fStartCount = OMStored::getOMStoredCount(); }
    void TearDown() override
    {
        EXPECT_EQ(OMStored::getOMStoredCount(), fStartCount) << "nodes were not freed";
    }

private:
    int64_t fStartCount = 0;
};

class OMNodeConversions : public NodeCountingTest {};
class OMNodeComparison : public NodeCountingTest {};
class OMNodeArithmetic : public NodeCountingTest {};
class OMNodeUnary : public NodeCountingTest {};
class OMNodeReuse : public NodeCountingTest {};
class OMNodeHash : public NodeCountingTest {};
class OMNodeTree : public NodeCountingTest {};
class OMNodeReturnValues : public NodeCountingTest {};
class OMNodeAccess : public NodeCountingTest {};

}  // namespace

TEST_F(OMNodeConversions, GetAsBoolFollowsTheTypeNotTheContent)
{
    EXPECT_FALSE(OMStored::undefinedFactory()->getAsBool());
    EXPECT_FALSE(OMStored::nullFactory()->getAsBool());
    EXPECT_FALSE(OMStored::errorFactory()->getAsBool());
    EXPECT_FALSE(OMStored::nanFactory()->getAsBool());
    EXPECT_TRUE(boolean(true)->getAsBool());
    EXPECT_FALSE(num(int64_t(0))->getAsBool());
    EXPECT_TRUE(num(int64_t(-3))->getAsBool());
    EXPECT_FALSE(num(0.0)->getAsBool());
    EXPECT_TRUE(num(0.25)->getAsBool());
    EXPECT_FALSE(str("")->getAsBool());
    EXPECT_TRUE(str("0")->getAsBool());
    EXPECT_TRUE(str("false")->getAsBool());
    EXPECT_TRUE(str("   ")->getAsBool());
    EXPECT_TRUE(OMStored::dateFactory(0)->getAsBool());
    // Empty containers are true though their plain getter is false.
    Node emptyArray = OMStored::arrayFactory();
    EXPECT_FALSE(emptyArray->getBool());
    EXPECT_TRUE(emptyArray->getAsBool());
    EXPECT_TRUE(OMStored::mapFactory()->getAsBool());
    EXPECT_TRUE(OMStored::guidFactory(GUIDClass::nullGUID())->getAsBool());
}

TEST_F(OMNodeConversions, GetAsNumParsesStringsAndGivesNaNForTheRest)
{
    EXPECT_EQ(boolean(true)->getAsNum(), 1.0);
    EXPECT_EQ(boolean(false)->getAsNum(), 0.0);
    EXPECT_EQ(OMStored::dateFactory(86400)->getAsNum(), 86400.0);
    EXPECT_EQ(num(int64_t(-7))->getAsNum(), -7.0);
    EXPECT_EQ(num(2.5)->getAsNum(), 2.5);
    EXPECT_EQ(str("123")->getAsNum(), 123.0);
    EXPECT_EQ(str("  -123")->getAsNum(), -123.0);
    EXPECT_EQ(str("+.45")->getAsNum(), 0.45);
    EXPECT_EQ(str("111.")->getAsNum(), 111.0);
    EXPECT_EQ(str("0.45E5")->getAsNum(), 45000.0);
    EXPECT_EQ(str(".45e-5")->getAsNum(), 0.45e-5);
    EXPECT_EQ(str("-123E5")->getAsNum(), -123e5);
    EXPECT_EQ(str("0x1F")->getAsNum(), 31.0);
    EXPECT_EQ(str("12px")->getAsNum(), 12.0);
    for (const Node& node : std::vector<Node>{
             str(""), str("abc"), str("-"), str("."), OMStored::nullFactory(), OMStored::undefinedFactory(),
             OMStored::errorFactory(), array({num(int64_t(1))}), OMStored::mapFactory()})
        EXPECT_TRUE(std::isnan(node->getAsNum())) << node->toString();
}

TEST_F(OMNodeConversions, GetAsBitsKeepsIntegersAndSetsAllBitsOtherwise)
{
    EXPECT_EQ(num(int64_t(12))->getAsBits(), 12);
    EXPECT_EQ(num(int64_t(0x7FFFFFFFFFFFFFFF))->getAsBits(), int64_t(0x7FFFFFFFFFFFFFFF));
    EXPECT_EQ(num(4.0)->getAsBits(), 4);
    EXPECT_EQ(num(2.5)->getAsBits(), -1);
    EXPECT_EQ(num(1e30)->getAsBits(), -1);
    EXPECT_EQ(OMStored::nanFactory()->getAsBits(), -1);
    EXPECT_EQ(str("6")->getAsBits(), 6);
    EXPECT_EQ(boolean(true)->getAsBits(), 1);

    GUIDClass* fromInt = num(int64_t(5))->getAsGUID();
    EXPECT_EQ(fromInt, GUIDClass::factory(TRawGUID{0, 5}));
    GUIDClass* guid = GUIDClass::factory(TRawGUID{0x0123456789ABCDEFull, 0xFEDCBA9876543210ull});
    EXPECT_EQ(str(guid->toString(GUIDStringFormat::UPPERCASE_DASHED))->getAsGUID(), guid);
    EXPECT_EQ(OMStored::nullFactory()->getAsGUID(), GUIDClass::nullGUID());
}

TEST_F(OMNodeConversions, GetAsStringAndToStringDifferWhereTheyMust)
{
    EXPECT_EQ(OMStored::undefinedFactory()->getAsString(), "undefined");
    EXPECT_EQ(OMStored::nullFactory()->getAsString(), "null");
    EXPECT_EQ(OMStored::errorFactory()->getAsString(), "error");
    EXPECT_EQ(OMStored::nanFactory()->getAsString(), "NaN");
    EXPECT_EQ(boolean(false)->toString(), "false");
    EXPECT_EQ(num(int64_t(-42))->toString(), "-42");
    EXPECT_EQ(num(1.5)->getAsString(), "1.500000");
    EXPECT_EQ(num(1.5)->toString(), "1.500000");

    Node text = str("say \"hi\"");
    EXPECT_EQ(text->getAsString(), "say \"hi\"");
    EXPECT_EQ(text->toString(), "\"say \\\"hi\\\"\"");

    Node nested = array({num(int64_t(1)), str("a"), array({boolean(true), num(int64_t(2))})});
    EXPECT_EQ(nested->getAsString(), "1,a,true,2");
    EXPECT_EQ(nested->toString(), "[1, \"a\", [true, 2]]");
    EXPECT_EQ(OMStored::arrayFactory()->toString(), "[]");

    // Keys come out sorted whatever the map's own order.
    Node members = map({{"b", array({})}, {"a", num(int64_t(1))}, {"c d", str("x")}});
    EXPECT_EQ(members->toString(), "{ \"a\": 1, \"b\": [], \"c d\": \"x\" }");
    EXPECT_EQ(members->getAsString(), members->toString());
    EXPECT_EQ(OMStored::mapFactory()->toString(), "{  }");

    Node date = OMStored::dateFactory(0);
    EXPECT_EQ(date->getAsString(), "Thu Jan  1 00:00:00 1970");
    EXPECT_EQ(date->toString(), "\"Thu Jan  1 00:00:00 1970\"");

    GUIDClass* guid = GUIDClass::factory(TRawGUID{1, 2});
    std::string guidText = guid->toString(GUIDStringFormat::UPPERCASE_DASHED);
    Node guidNode = OMStored::guidFactory(guid);
    EXPECT_EQ(guidNode->getAsString(), guidText);
    EXPECT_EQ(guidNode->toString(), "\"" + guidText + "\"");

    auto signature = FunctionSignature::factory();
    signature->addParameter("f");
    signature->addParameter("a");
    signature->addParameter("b");
    Node function = OMStored::factory(signature, OMExpressionUnary::factory(UnOp::RETURN, str("x")));
    EXPECT_EQ(function->getFunctionName(), "f");
    EXPECT_EQ(function->getAsString(), "function f(a, b){return \"x\"}");
    EXPECT_EQ(function->toString(), "\"function f(a, b){return \\\"x\\\"}\"");
}

TEST_F(OMNodeComparison, EqualityHasNoCoercion)
{
    EXPECT_FALSE(isTrue(BinOp::EQ, num(int64_t(1)), str("1")));
    EXPECT_FALSE(isTrue(BinOp::EQ, num(int64_t(1)), num(1.0)));
    EXPECT_TRUE(isTrue(BinOp::EQ, num(int64_t(1)), binop(BinOp::SUB, num(1.5), num(0.5))));
    EXPECT_TRUE(isTrue(BinOp::EQ, OMStored::undefinedFactory(), OMStored::nullFactory()));
    EXPECT_FALSE(isTrue(BinOp::IDENTICAL, OMStored::undefinedFactory(), OMStored::nullFactory()));
    EXPECT_TRUE(isTrue(BinOp::IDENTICAL, OMStored::nullFactory(), OMStored::nullFactory()));
    EXPECT_TRUE(isTrue(BinOp::EQ, num(int64_t(3)), num(int64_t(3))));
    EXPECT_FALSE(isTrue(BinOp::NE, num(int64_t(3)), num(int64_t(3))));
    EXPECT_TRUE(isTrue(BinOp::LE, num(int64_t(3)), num(int64_t(3))));
    EXPECT_TRUE(isTrue(BinOp::EQ, OMStored::dateFactory(9), OMStored::dateFactory(9)));

    Node nan = OMStored::nanFactory();
    EXPECT_FALSE(isTrue(BinOp::EQ, nan, nan));
    EXPECT_TRUE(isTrue(BinOp::NE, nan, nan));
    EXPECT_TRUE(isTrue(BinOp::NOT_IDENTICAL, nan, nan));
    EXPECT_TRUE(isTrue(BinOp::NE, nan, num(int64_t(1))));
    // An Error operand makes the result an Error, not a Bool.
    EXPECT_EQ(binop(BinOp::EQ, OMStored::errorFactory(), OMStored::errorFactory())->getType(), OMType::Error);
    EXPECT_EQ(binop(BinOp::ADD, num(int64_t(1)), OMStored::errorFactory())->getType(), OMType::Error);
}

TEST_F(OMNodeComparison, ContainersCompareByValueButAreIdenticalOnlyWhenShared)
{
    EXPECT_TRUE(isTrue(BinOp::EQ, array({num(int64_t(1))}), array({num(int64_t(1))})));
    EXPECT_FALSE(isTrue(BinOp::IDENTICAL, array({num(int64_t(1))}), array({num(int64_t(1))})));
    EXPECT_FALSE(isTrue(BinOp::EQ, array({num(int64_t(1))}), array({num(int64_t(1)), num(int64_t(2))})));
    EXPECT_FALSE(isTrue(BinOp::EQ, array({num(int64_t(1)), str("x")}), array({num(int64_t(1)), str("y")})));
    EXPECT_TRUE(isTrue(BinOp::EQ, array({array({OMStored::nullFactory()})}),
                       array({array({OMStored::undefinedFactory()})})));
    EXPECT_FALSE(isTrue(BinOp::EQ, array({OMStored::nanFactory()}), array({OMStored::nanFactory()})));

    EXPECT_TRUE(
        isTrue(BinOp::EQ, map({{"a", str("b")}, {"c", str("d")}}), map({{"c", str("d")}, {"a", str("b")}})));
    EXPECT_FALSE(isTrue(BinOp::EQ, map({{"a", str("b")}}), map({{"a", str("c")}})));
    EXPECT_FALSE(isTrue(BinOp::EQ, map({{"a", str("b")}}), map({{"z", str("b")}})));
    EXPECT_FALSE(isTrue(BinOp::EQ, map({{"a", str("b")}}), map({{"a", str("b")}, {"c", str("d")}})));

    Node a = map({{"x", num(int64_t(1))}});
    Node b = OMStored::undefinedFactory();
    b->set(a);  // assignment shares the map
    EXPECT_TRUE(isTrue(BinOp::IDENTICAL, a, a));
    EXPECT_TRUE(isTrue(BinOp::IDENTICAL, a, b));
    EXPECT_FALSE(isTrue(BinOp::NOT_IDENTICAL, a, b));
}

TEST_F(OMNodeComparison, OrderingRules)
{
    // Strings compare bytewise against the right side read without conversion.
    EXPECT_FALSE(isTrue(BinOp::LT, str("abc"), num(int64_t(5))));
    EXPECT_FALSE(isTrue(BinOp::LT, str("0"), num(int64_t(5))));
    EXPECT_TRUE(isTrue(BinOp::LT, num(int64_t(1)), str("2")));
    EXPECT_TRUE(isTrue(BinOp::LT, str("10"), str("9")));
    EXPECT_FALSE(isTrue(BinOp::LT, str("\xc3\xa9"), str("z")));
    EXPECT_TRUE(isTrue(BinOp::LT, num(int64_t(1)), num(1.5)));
    EXPECT_TRUE(isTrue(BinOp::GT, num(2.5), num(int64_t(2))));
    EXPECT_FALSE(isTrue(BinOp::GT, num(int64_t(1)), num(2.5)));
    EXPECT_TRUE(isTrue(BinOp::LE, num(int64_t(1)), num(2.5)));
    // Unlike types order by their tag: Null before Bool before Date before Int.
    EXPECT_TRUE(isTrue(BinOp::LT, OMStored::nullFactory(), boolean(false)));
    EXPECT_TRUE(isTrue(BinOp::LT, OMStored::dateFactory(1000), num(int64_t(1))));
    EXPECT_TRUE(isTrue(BinOp::LT, boolean(false), boolean(true)));
    EXPECT_FALSE(isTrue(BinOp::LT, boolean(true), boolean(true)));
    EXPECT_TRUE(isTrue(BinOp::LT, OMStored::dateFactory(5), OMStored::dateFactory(7)));
    EXPECT_TRUE(isTrue(BinOp::LT, OMStored::guidFactory(GUIDClass::factory(TRawGUID{1, 9})),
                       OMStored::guidFactory(GUIDClass::factory(TRawGUID{2, 0}))));
    EXPECT_FALSE(isTrue(BinOp::GT, OMStored::nullFactory(), OMStored::undefinedFactory()));
    EXPECT_TRUE(isTrue(BinOp::GE, OMStored::nullFactory(), OMStored::undefinedFactory()));
    EXPECT_FALSE(isTrue(BinOp::GE, num(int64_t(1)), num(int64_t(2))));

    Node nan = OMStored::nanFactory();
    for (BinOp op : {BinOp::LT, BinOp::LE, BinOp::GT, BinOp::GE}) {
        EXPECT_FALSE(isTrue(op, nan, num(int64_t(1))));
        EXPECT_FALSE(isTrue(op, num(int64_t(1)), nan));
    }

    // Arrays have no order: the operator fails and leaves Undefined.
    QfnTest::LogCapture log(1);
    EXPECT_EQ(binop(BinOp::LT, array({}), array({}))->getType(), OMType::Undefined);
    EXPECT_TRUE(log.hasLineEndingWith("unexpected type"));
}

TEST_F(OMNodeArithmetic, ResultsAreIntWhenWholeAndNaNInsteadOfInfinity)
{
    Node six = binop(BinOp::DIV, num(int64_t(6)), num(int64_t(2)));
    EXPECT_EQ(six->getType(), OMType::Int);
    EXPECT_EQ(six->getInt(), 3);
    Node sum = binop(BinOp::ADD, num(int64_t(1)), num(0.5));
    EXPECT_EQ(sum->getType(), OMType::Float);
    EXPECT_EQ(sum->getFloat(), 1.5);
    EXPECT_EQ(binop(BinOp::MUL, num(2.5), num(int64_t(4)))->getType(), OMType::Int);
    EXPECT_EQ(binop(BinOp::ADD, boolean(true), boolean(true))->getInt(), 2);
    EXPECT_EQ(binop(BinOp::ADD, num(1e300), num(1e300))->getType(), OMType::Float);
    EXPECT_EQ(binop(BinOp::ADD, num(9.3e18), num(int64_t(0)))->getType(), OMType::Float);

    EXPECT_EQ(binop(BinOp::ADD, str("a"), num(int64_t(1)))->getString(), "a1");
    EXPECT_EQ(binop(BinOp::ADD, num(int64_t(1)), str("a"))->getString(), "1a");
    EXPECT_EQ(binop(BinOp::ADD, str(""), OMStored::undefinedFactory())->getString(), "undefined");
    EXPECT_EQ(binop(BinOp::ADD, num(int64_t(1)), OMStored::nullFactory())->getType(), OMType::NaN);
    EXPECT_EQ(binop(BinOp::ADD, array({num(int64_t(1))}), num(int64_t(1)))->getType(), OMType::NaN);
    EXPECT_EQ(binop(BinOp::SUB, str("10"), num(int64_t(4)))->getInt(), 6);

    for (const Node& dividend : {num(int64_t(1)), num(int64_t(0)), num(-2.5), str("x")}) {
        for (const Node& zero : {num(int64_t(0)), num(0.0), boolean(false), str("0")})
            EXPECT_EQ(binop(BinOp::DIV, dividend, zero)->getType(), OMType::NaN);
    }
    EXPECT_EQ(binop(BinOp::DIV, num(int64_t(1)), num(int64_t(4)))->getFloat(), 0.25);

    QfnTest::LogCapture log(1);
    EXPECT_EQ(binop(BinOp::MOD, num(int64_t(7)), num(int64_t(2)))->getType(), OMType::Undefined);
    EXPECT_TRUE(log.hasLineEndingWith("unexpected operation"));
}

TEST_F(OMNodeArithmetic, BitAndLogicOperators)
{
    EXPECT_EQ(binop(BinOp::BIT_AND, num(int64_t(6)), num(int64_t(3)))->getInt(), 2);
    EXPECT_EQ(binop(BinOp::BIT_OR, num(int64_t(4)), num(int64_t(1)))->getInt(), 5);
    EXPECT_EQ(binop(BinOp::BIT_XOR, num(int64_t(6)), num(int64_t(3)))->getInt(), 5);
    // A value that is not whole counts as all bits set.
    EXPECT_EQ(binop(BinOp::BIT_AND, num(2.5), num(int64_t(7)))->getInt(), 7);
    EXPECT_EQ(binop(BinOp::BIT_OR, num(2.5), num(int64_t(1)))->getInt(), -1);
    EXPECT_EQ(binop(BinOp::BIT_XOR, str("x"), num(int64_t(0)))->getInt(), -1);
    EXPECT_EQ(binop(BinOp::BIT_AND, num(int64_t(0)), str("x"))->getInt(), 0);
    EXPECT_EQ(binop(BinOp::BIT_AND, str("12"), num(4.0))->getInt(), 4);
    EXPECT_EQ(binop(BinOp::BIT_AND, num(int64_t(0x7FFFFFFFFFFFFFFF)), num(int64_t(-1)))->getInt(),
              int64_t(0x7FFFFFFFFFFFFFFF));

    Node both = binop(BinOp::AND, num(int64_t(1)), str("x"));
    EXPECT_EQ(both->getType(), OMType::Bool);
    EXPECT_TRUE(both->getBool());
    Node either = binop(BinOp::OR, num(int64_t(0)), str(""));
    EXPECT_EQ(either->getType(), OMType::Bool);
    EXPECT_FALSE(either->getBool());
    EXPECT_TRUE(binop(BinOp::AND, array({}), OMStored::mapFactory())->getBool());
    EXPECT_TRUE(binop(BinOp::OR, OMStored::nullFactory(), str(" "))->getBool());
    EXPECT_FALSE(binop(BinOp::AND, OMStored::nanFactory(), boolean(true))->getBool());
}

TEST_F(OMNodeArithmetic, IndexPicksElementsOrMembers)
{
    Node list = array({str("a"), str("b")});
    EXPECT_EQ(binop(BinOp::INDEX, list, num(int64_t(1)))->getString(), "b");
    EXPECT_EQ(binop(BinOp::INDEX, list, num(0.0))->getString(), "a");
    // A non-whole index names the member by its text, which for a Float is the "%f" form.
    Node members = map({{"-1", str("minus")}, {"1.500000", str("float")}});
    EXPECT_EQ(binop(BinOp::INDEX, members, num(int64_t(-1)))->getString(), "minus");
    EXPECT_EQ(binop(BinOp::INDEX, members, num(1.5))->getString(), "float");
    EXPECT_EQ(list->getSize(), 2u);

    QfnTest::LogCapture log(1);
    EXPECT_EQ(binop(BinOp::INDEX, list, num(int64_t(5)))->getType(), OMType::Error);
    EXPECT_TRUE(log.hasLineEndingWith("access to idx 5 failed"));
}

TEST_F(OMNodeUnary, NotNegateTypeof)
{
    EXPECT_FALSE(unop(UnOp::NOT, boolean(true))->getBool());
    EXPECT_TRUE(unop(UnOp::NOT, unop(UnOp::NOT, boolean(true)))->getBool());
    EXPECT_FALSE(unop(UnOp::NOT, array({num(int64_t(1))}))->getBool());
    EXPECT_FALSE(unop(UnOp::NOT, map({{"a", str("b")}}))->getBool());
    EXPECT_TRUE(unop(UnOp::NOT, str(""))->getBool());
    for (const Node& node : {unop(UnOp::NEG, unop(UnOp::PLUS, boolean(true))),
                             unop(UnOp::PLUS, unop(UnOp::NEG, boolean(true)))}) {
        EXPECT_EQ(node->getType(), OMType::Int);
        EXPECT_EQ(node->getInt(), -1);
    }
    EXPECT_EQ(unop(UnOp::NEG, boolean(false))->getType(), OMType::Int);
    EXPECT_EQ(unop(UnOp::PLUS, str(" 12"))->getInt(), 12);
    EXPECT_EQ(unop(UnOp::PLUS, str("1.5"))->getFloat(), 1.5);
    EXPECT_EQ(unop(UnOp::PLUS, str("no"))->getType(), OMType::NaN);
    EXPECT_EQ(unop(UnOp::BIT_NOT, num(int64_t(0)))->getInt(), -1);
    EXPECT_EQ(unop(UnOp::BIT_NOT, num(2.5))->getInt(), 0);

    auto typeOf = [](const Node& node) { return unop(UnOp::TYPEOF, node)->getString(); };
    EXPECT_EQ(typeOf(unop(UnOp::NOT, num(int64_t(1)))), "boolean");
    EXPECT_EQ(typeOf(unop(UnOp::NEG, num(1.2))), "number");
    EXPECT_EQ(typeOf(binop(BinOp::DIV, num(int64_t(1)), num(int64_t(0)))), "number");
    EXPECT_EQ(typeOf(array({})), "object");
    EXPECT_EQ(typeOf(OMStored::nullFactory()), "object");
    EXPECT_EQ(typeOf(OMStored::dateFactory(0)), "object");
    EXPECT_EQ(typeOf(OMStored::undefinedFactory()), "undefined");
    EXPECT_EQ(typeOf(str("")), "string");
    EXPECT_EQ(typeOf(OMStored::errorFactory()), "error");
    EXPECT_EQ(typeOf(OMStored::guidFactory(GUIDClass::nullGUID())), "GUID");
    EXPECT_EQ(typeOf(OMStored::factory(OMExpressionUnary::factory(UnOp::NEG, num(int64_t(1))))),
              "expression");
    EXPECT_EQ(typeOf(OMStored::factory(FunctionSignature::factory(),
                                       OMExpressionUnary::factory(UnOp::RETURN, num(int64_t(1))))),
              "function");
}

TEST_F(OMNodeUnary, ChangingOperatorsActOnATemporaryOrOnTheOperand)
{
    Node yes = boolean(true);
    Node no = boolean(false);
    EXPECT_EQ(unop(UnOp::PRE_INC, yes)->getInt(), 2);
    EXPECT_EQ(unop(UnOp::PRE_INC, no)->getInt(), 1);
    EXPECT_EQ(unop(UnOp::PRE_DEC, yes)->getInt(), 0);
    EXPECT_EQ(unop(UnOp::PRE_DEC, no)->getInt(), -1);
    EXPECT_TRUE(yes->getBool());
    EXPECT_FALSE(no->getBool());

    // Without reuse the operand itself changes and the result holds the new or the old value.
    Node variable = num(int64_t(5));
    Node pre = OMNode::unaryOperation(UnOp::PRE_INC, *variable, NodeReuse::NO_REUSE);
    EXPECT_EQ(pre->getInt(), 6);
    EXPECT_EQ(variable->getInt(), 6);
    Node post = OMNode::unaryOperation(UnOp::POST_DEC, *variable, NodeReuse::NO_REUSE);
    EXPECT_EQ(post->getInt(), 6);
    EXPECT_EQ(variable->getInt(), 5);
    Node text = str("1.5");
    EXPECT_EQ(OMNode::unaryOperation(UnOp::POST_INC, *text, NodeReuse::NO_REUSE)->getString(), "1.5");
    EXPECT_EQ(text->getFloat(), 2.5);

    QfnTest::LogCapture log(1);
    EXPECT_EQ(unop(static_cast<UnOp>(99), yes)->getType(), OMType::Undefined);
    EXPECT_TRUE(log.hasLineEndingWith("invalid unOp"));
}

TEST_F(OMNodeReuse, ResultNodeChoice)
{
    Node a = num(int64_t(2));
    Node b = num(int64_t(3));
    Node sum = OMNode::binaryOperation(BinOp::ADD, a, NodeReuse::REUSE, b, NodeReuse::NO_REUSE, nullptr);
    EXPECT_EQ(sum.get(), a.get());
    EXPECT_EQ(a->getInt(), 5);
    Node product = OMNode::binaryOperation(BinOp::MUL, a, NodeReuse::NO_REUSE, b, NodeReuse::REUSE, nullptr);
    EXPECT_EQ(product.get(), b.get());
    EXPECT_EQ(b->getInt(), 15);
    Node fresh = OMNode::binaryOperation(BinOp::SUB, a, NodeReuse::NO_REUSE, b, NodeReuse::NO_REUSE, nullptr);
    EXPECT_NE(fresh.get(), a.get());
    EXPECT_NE(fresh.get(), b.get());
    EXPECT_EQ(fresh->getInt(), -10);
    EXPECT_EQ(a->getInt(), 5);

    // A member of a data structure is never written over, even when reuse is offered.
    Node tree = OMStored::mapFactory();
    Node member = num(int64_t(1));
    ASSERT_TRUE(member->setDataStructureParent(tree, "m"));
    Node viaOther =
        OMNode::binaryOperation(BinOp::ADD, member, NodeReuse::REUSE, b, NodeReuse::REUSE, nullptr);
    EXPECT_EQ(viaOther.get(), b.get());
    EXPECT_EQ(b->getInt(), 16);
    Node viaClone =
        OMNode::binaryOperation(BinOp::ADD, member, NodeReuse::REUSE, a, NodeReuse::NO_REUSE, nullptr);
    EXPECT_NE(viaClone.get(), member.get());
    EXPECT_EQ(member->getInt(), 1);
    Node negated = OMNode::unaryOperation(UnOp::NEG, member, nullptr, NodeReuse::REUSE);
    EXPECT_NE(negated.get(), member.get());
    EXPECT_EQ(member->getInt(), 1);
    Node reusedUnary = OMNode::unaryOperation(UnOp::NEG, a, nullptr, NodeReuse::REUSE);
    EXPECT_EQ(reusedUnary.get(), a.get());
    EXPECT_EQ(a->getInt(), -5);

    // An Error operand gives a fresh Error, leaving the reusable operand alone.
    Node error = OMNode::binaryOperation(BinOp::ADD, a, NodeReuse::REUSE, OMStored::errorFactory(),
                                         NodeReuse::NO_REUSE, nullptr);
    EXPECT_NE(error.get(), a.get());
    EXPECT_EQ(error->getType(), OMType::Error);
    EXPECT_EQ(a->getInt(), -5);
}

TEST_F(OMNodeReuse, TernaryHandsBackABranchItself)
{
    Node yes = str("yes");
    Node no = array({});
    EXPECT_EQ(OMNode::ternaryOperation(TernOp::CONDITIONAL, str("0"), yes, no, nullptr).get(), yes.get());
    EXPECT_EQ(OMNode::ternaryOperation(TernOp::IF, num(0.0), yes, no, nullptr).get(), no.get());

    QfnTest::LogCapture log(1);
    Node other = OMNode::ternaryOperation(static_cast<TernOp>(7), boolean(true), yes, no, nullptr);
    EXPECT_EQ(other->getType(), OMType::Undefined);
    EXPECT_NE(other.get(), yes.get());
    EXPECT_TRUE(log.hasLineEndingWith("unexpected ternary operation"));
}

TEST_F(OMNodeHash, EqualTreesHashAlike)
{
    auto makeTree = [](bool reversed, size_t bucketCount) {
        std::vector<std::pair<std::string, Node>> members = {
            {"a", array({num(int64_t(1)), str("two"), map({{"x", num(2.5)}})})},
            {"b", boolean(true)},
            {"c", OMStored::nullFactory()},
            {"d", str("")},
            {"e", OMStored::dateFactory(77)},
            {"f", num(int64_t(-4))},
        };
        if (reversed) std::reverse(members.begin(), members.end());
        return map(members, bucketCount);
    };
    Node first = makeTree(false, 0);
    Node second = makeTree(true, 64);
    ASSERT_NE(iterationOrder(first), iterationOrder(second));
    ASSERT_TRUE(isTrue(BinOp::EQ, first, second));
    EXPECT_EQ(first->hash(), second->hash());

    Node changed = makeTree(false, 0);
    changed->getOMNode("a")->getOMNode(2)->getOMNode("x")->set(2.75);
    EXPECT_NE(first->hash(), changed->hash());
    // Moving a value to another key is a change too.
    EXPECT_NE(map({{"a", num(int64_t(1))}, {"b", num(int64_t(2))}})->hash(),
              map({{"a", num(int64_t(2))}, {"b", num(int64_t(1))}})->hash());
    EXPECT_NE(str("ab")->hash(), str("ba")->hash());
    EXPECT_EQ(num(0.0)->hash(), num(-0.0)->hash());
    EXPECT_EQ(OMStored::undefinedFactory()->hash(), OMStored::nullFactory()->hash());
    GUIDClass* guid = GUIDClass::factory(TRawGUID{0xF0, 0x0F});
    EXPECT_EQ(OMStored::guidFactory(guid)->hash(), 0xFFu);
}

TEST_F(OMNodeTree, ParentsKeysAndSelectors)
{
    Node root = OMStored::mapFactory();
    Node other = OMStored::mapFactory();
    Node val5 = array({str("zero"), str("one")});
    ASSERT_NE(other->setSync("val5", val5), nullptr);
    ASSERT_TRUE(other->setDataStructureParent(root, "other"));

    Node element = val5->getOMNode(1);
    EXPECT_EQ(element->getSelector(), "/other/val5/1");
    EXPECT_EQ(element->getDataStructureIdx(), 1u);
    EXPECT_EQ(root->getSelector(), "/");
    EXPECT_TRUE(element->getIsDataStructure());

    // The same parent again keeps the key it had.
    ASSERT_TRUE(other->setDataStructureParent(root, "renamed"));
    EXPECT_EQ(other->getDataStructureKey(), "other");

    {
        QfnTest::LogCapture log(1);
        EXPECT_EQ(other->getDataStructureIdx(), ~uint64_t(0));
        EXPECT_TRUE(log.hasLineEndingWith(
            "SANITY_CHECK failed: 'Utils::isNumeric(fDataStructureKey)' evaluates to false"));
    }

    Node first = val5->getOMNode(0);
    ASSERT_TRUE(first->getIsDataStructure());
    ASSERT_TRUE(first->clear());
    EXPECT_EQ(first->getType(), OMType::Undefined);
    EXPECT_EQ(first->getDataStructureParent(), nullptr);
    EXPECT_EQ(first->getDataStructureKey(), "");
    EXPECT_FALSE(first->getIsDataStructure());

    // Leaving the tree: the subtree is no data structure any more and the path ends above it.
    ASSERT_TRUE(other->setDataStructureParent(nullptr, ""));
    EXPECT_FALSE(other->getIsDataStructure());
    EXPECT_FALSE(element->getIsDataStructure());
    EXPECT_EQ(other->getDataStructureParent(), nullptr);
    EXPECT_EQ(element->getSelector(), "/val5/1");
}

TEST_F(OMNodeReturnValues, WrapUnwrapAndUnaryExpressions)
{
    Node value = num(int64_t(5));
    Node wrapped = value->wrapReturnValue();
    EXPECT_EQ(wrapped->getType(), OMType::Expression);
    EXPECT_TRUE(wrapped->isReturnValue());
    EXPECT_FALSE(value->isReturnValue());
    EXPECT_EQ(wrapped->toString(), "\"return 5\"");
    EXPECT_EQ(wrapped->unwrapReturnValue().get(), value.get());
    EXPECT_EQ(wrapped->wrapReturnValue()->unwrapReturnValue().get(), value.get());
    EXPECT_EQ(value->unwrapReturnValue().get(), value.get());
    // `return` of a return value does not wrap it again.
    EXPECT_EQ(unop(UnOp::RETURN, wrapped)->unwrapReturnValue().get(), value.get());
    EXPECT_FALSE(wrapped->isResolved(ScriptPhase::RUN));
    EXPECT_FALSE(array({num(int64_t(1)), wrapped})->isResolved(ScriptPhase::RUN));
    EXPECT_TRUE(map({{"k", array({num(int64_t(1))})}})->isResolved(ScriptPhase::RUN));

    auto negOne = OMExpressionUnary::factory(UnOp::NEG, num(int64_t(1)));
    EXPECT_TRUE(*negOne == *OMExpressionUnary::factory(UnOp::NEG, num(int64_t(1))));
    EXPECT_FALSE(*negOne == *OMExpressionUnary::factory(UnOp::NEG, num(1.0)));
    EXPECT_FALSE(*negOne == *OMExpressionUnary::factory(UnOp::PLUS, num(int64_t(1))));
    EXPECT_TRUE(*negOne < *OMExpressionUnary::factory(UnOp::NEG, num(int64_t(2))));
    EXPECT_TRUE(*negOne < *OMExpressionUnary::factory(UnOp::PLUS, num(int64_t(0))));
    EXPECT_EQ(negOne->hash(), OMExpressionUnary::factory(UnOp::NEG, num(int64_t(1)))->hash());
    // A compound operand is parenthesised so that the text reads back the same.
    EXPECT_EQ(OMExpressionUnary::factory(UnOp::POST_INC, OMStored::factory(negOne))->toString(), "(-1)++");
    EXPECT_EQ(OMExpressionUnary::factory(UnOp::NEG, OMStored::factory(negOne))->toString(), "-(-1)");
    EXPECT_TRUE(isTrue(BinOp::EQ, OMStored::factory(negOne),
                       OMStored::factory(OMExpressionUnary::factory(UnOp::NEG, num(int64_t(1))))));

    Node negated;
    Node returned;
    bool assigned = true;
    auto scope = OMScope::factory();
    auto returnFive = OMExpressionUnary::factory(UnOp::RETURN, value);
    // The short form is the base class's: a read in the run phase.
    std::shared_ptr<OMExpression> negExpression = negOne;
    ASSERT_TRUE(runTask(
        [&](const std::shared_ptr<Task>& task) { negExpression->get_yielding(task, negated, scope); }));
    ASSERT_TRUE(runTask([&](const std::shared_ptr<Task>& task) {
        returnFive->get_yielding(task, returned, AccessType::GET, scope, ScriptPhase::RUN);
    }));
    {
        QfnTest::LogCapture log(1);
        Node target = num(int64_t(0));
        ASSERT_TRUE(runTask([&](const std::shared_ptr<Task>& task) {
            negOne->set_yielding(task, assigned, target, scope, ScriptPhase::RUN);
        }));
        EXPECT_TRUE(log.hasLineEndingWith("setting value on unary expression"));
    }
    ASSERT_NE(negated, nullptr);
    EXPECT_EQ(negated->getInt(), -1);
    ASSERT_NE(returned, nullptr);
    EXPECT_EQ(returned->unwrapReturnValue().get(), value.get());
    EXPECT_FALSE(assigned);
}

TEST_F(OMNodeAccess, ReadsAndResolving)
{
    Node members = map({{"a", num(int64_t(1))}, {"list", array({str("x")})}});
    EXPECT_EQ(members->getType("a"), OMType::Int);
    EXPECT_EQ(members->getType("list"), OMType::Array);
    EXPECT_EQ(members->getOMNode("list")->getType(0), OMType::String);
    EXPECT_TRUE(members->exists("a"));
    EXPECT_TRUE(members->getOMNode("list")->exists(0));
    EXPECT_FALSE(members->getOMNode("list")->exists(1));
    EXPECT_FALSE(num(int64_t(1))->exists("a"));
    {
        QfnTest::LogCapture log(1);
        EXPECT_EQ(members->getType("missing"), OMType::Undefined);
        EXPECT_FALSE(members->exists("missing"));
        EXPECT_TRUE(log.lines().empty());
        Node missing = members->getOMNode("missing");
        ASSERT_NE(missing, nullptr);
        EXPECT_EQ(missing->getType(), OMType::Error);
        EXPECT_TRUE(log.hasLineEndingWith("access to attr missing failed"));
    }

    // Resolving a container builds a new one of the same values; scalars come back as they are.
    Node literal = array({num(int64_t(1)), map({{"k", str("v")}})});
    Node scalar = str("s");
    Node resolvedLiteral;
    Node resolvedScalar;
    NodeList resolvedArguments;
    bool isResolved = false;
    auto scope = OMScope::factory();
    NodeList arguments = std::make_shared<std::vector<Node>>(std::vector<Node>{scalar, literal});
    ASSERT_TRUE(runTask([&](const std::shared_ptr<Task>& task) {
        OMNode::getResolvedNode_yielding(task, resolvedLiteral, AccessType::GET, literal, scope,
                                         ScriptPhase::RUN, HandleReturnValue::UNWRAP);
    }));
    ASSERT_TRUE(runTask([&](const std::shared_ptr<Task>& task) {
        OMNode::getResolvedNode_yielding(task, resolvedScalar, AccessType::GET, scalar, scope,
                                         ScriptPhase::RUN, HandleReturnValue::UNWRAP);
    }));
    ASSERT_TRUE(runTask([&](const std::shared_ptr<Task>& task) {
        OMNode::resolveArgumentList_yielding(task, resolvedArguments, AccessType::GET, arguments, isResolved,
                                             scope, ScriptPhase::RUN);
    }));
    ASSERT_NE(resolvedLiteral, nullptr);
    EXPECT_NE(resolvedLiteral.get(), literal.get());
    EXPECT_NE(resolvedLiteral->getOMNode(1).get(), literal->getOMNode(1).get());
    EXPECT_TRUE(isTrue(BinOp::EQ, resolvedLiteral, literal));
    EXPECT_EQ(resolvedScalar.get(), scalar.get());
    ASSERT_NE(resolvedArguments, nullptr);
    ASSERT_EQ(resolvedArguments->size(), 2u);
    EXPECT_EQ((*resolvedArguments)[0].get(), scalar.get());
    EXPECT_TRUE(isTrue(BinOp::EQ, (*resolvedArguments)[1], literal));
    EXPECT_TRUE(isResolved);
}
