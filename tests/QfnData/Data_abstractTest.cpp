#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "QfnCoordinator/InternalCoordinator.h"
#include "QfnData/DataNull.h"
#include "QfnData/DataOM.h"
#include "QfnData/DataString.h"
#include "QfnData/Data_abstract.h"
#include "QfnSerializer/ISerializer.h"
#include "QfnSerializer/Serializer_abstract.h"
#include "support/LogCapture.h"
#include "support/ObjectClasses.h"

using Qfn::Data_abstract;
using Qfn::DataNull;
using Qfn::DataOM;
using Qfn::DataString;
using Qfn::IObject;
using Qfn::Object;
using Qfn::SerializeDeserialize;

namespace {

// A data class known only to the plain factory map, with one string of content.
class PlainData : public virtual Data_abstract {
public:
    static inline const std::string TYPENAME = "DataAbstractTestPlainData";
    const std::string& typeName() const override { return TYPENAME; }
    static std::shared_ptr<IObject> factory() { return Object::adopt(new PlainData(), &PlainData::deleter); }
    static void deleter(PlainData* plainData)
    {
        Object::deleter(plainData);
        delete plainData;
    }
    bool serializeDeserializeContent(SerializeDeserialize direction,
                                     const std::shared_ptr<IObject>& serializerObj) override
    {
        auto serializer = std::dynamic_pointer_cast<Qfn::ISerializer>(serializerObj);
        if (!serializer) return false;
        if (direction == SerializeDeserialize::SERIALIZE) return serializer->putString(fValue);
        if (serializer->atEnd()) return false;
        fValue = serializer->getString();
        return true;
    }
    bool operator==(const IObject& other) const override
    {
        const auto* otherPlain = dynamic_cast<const PlainData*>(&other);
        return otherPlain && otherPlain->fValue == fValue;
    }
    std::string fValue;
};

class DataFraming : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(QfnTest::registerObjectClassesOnce());
        static const bool plainRegistered = Object::registerFactory(PlainData::TYPENAME, PlainData::factory);
        ASSERT_TRUE(plainRegistered);
        // The one DataNull lives on for the process: made before counting.
        ASSERT_TRUE(DataNull::factory());
        // So is the coordinator, which input naming it reaches through the plain factory map.
        ASSERT_TRUE(Qfn::InternalCoordinator::factory());
        fObjectsBefore = Object::getObjectCount();
    }
    void TearDown() override { EXPECT_EQ(Object::getObjectCount(), fObjectsBefore); }

    uint64_t fObjectsBefore = 0;
};

bool sameValue(const std::shared_ptr<IObject>& left, const std::shared_ptr<IObject>& right)
{
    return left && right && (left == right || *left == *right);
}

std::shared_ptr<IObject> plainData(const std::string& value)
{
    auto made = std::dynamic_pointer_cast<PlainData>(PlainData::factory());
    made->fValue = value;
    return made;
}

// One value of each kind, by name, made anew on each call.
std::vector<std::pair<std::string, std::function<std::shared_ptr<IObject>()>>> samples()
{
    return {
        {"DataNull", [] { return DataNull::factory(); }},
        {"DataString", [] { return DataString::factoryFromString("test1223"); }},
        {"DataString with control bytes", [] { return DataString::factoryFromString("a\nb\0c\"\\"); }},
        {"empty DataString", [] { return DataString::factoryFromString(""); }},
        {"DataOM", [] { return DataOM::factoryFromJSONStr("{a:[1, 2.5, \"x\\ny\"], b:{c:null}}"); }},
        {"DataOM without a node", [] { return DataOM::factoryFromOMNode(nullptr); }},
        {"plain factory class", [] { return plainData("v"); }},
    };
}

}  // namespace

TEST_F(DataFraming, EveryKindRoundTrips)
{
    for (const auto& [name, make] : samples()) {
        SCOPED_TRACE(name);
        auto original = make();
        ASSERT_TRUE(original);
        QfnTest::LogCapture notes(3);  // the plain factory class passes through the NOTE line
        auto copy = Data_abstract::deserializeFromStr(Data_abstract::serializeToStr(original));
        EXPECT_EQ(notes.countContaining(" ERROR"), 0u);
        EXPECT_TRUE(sameValue(copy, original));
        if (name == "DataNull")
            EXPECT_EQ(copy.get(), original.get());
        else
            EXPECT_NE(copy.get(), original.get());
    }
}

TEST_F(DataFraming, TextOfTheFraming)
{
    const std::vector<std::pair<std::shared_ptr<const IObject>, std::string>> cases = {
        {nullptr, "DataNull\n"},
        {DataNull::factory(), "DataNull\n"},
        {DataString::factoryFromString("a\nb"), "DataString\na\\nb\n"},
        {DataOM::factoryFromOMNode(nullptr), "DataOM\nnull\n"},
        {DataOM::factoryFromJSONStr("{b:\"q\", a:1}"), "DataOM\n{\\\"a\\\":1, \\\"b\\\":\\\"q\\\"}\n"},
    };
    for (const auto& [data, text] : cases)
        EXPECT_EQ(Data_abstract::serializeToStr(data), text);
    // What is no data value is not written.
    QfnTest::LogCapture log(1);
    EXPECT_EQ(Data_abstract::serializeToStr(Qfn::Serializer_abstract::defaultSerializerFactory()), "");
    EXPECT_TRUE(log.hasLineEndingWith("ASSIGN_CONST_TYPED failed: 'IData data = dataObj;'"));
}

// Only data values come from input: an unknown name, or a class that is no data value, gives
// the empty pointer after the NOTE line, and no error.
TEST_F(DataFraming, NamesOfUnknownAndNonDataClassesGiveNothing)
{
    for (const std::string name :
         {"NoSuchType", "InternalCoordinator", "SimpleSerializer", "", "Data_abstract", "IData"}) {
        SCOPED_TRACE(name);
        QfnTest::LogCapture log(3);
        EXPECT_FALSE(Data_abstract::deserializeFromStr(name + "\n"));
        EXPECT_TRUE(log.hasLineEndingWith("wrapped deserialization factory for " + name + " is null"));
        EXPECT_EQ(log.countContaining(" ERROR"), 0u);
    }
}

// A stream cut anywhere gives the whole value, DataNull when the type name arrived but the
// content did not, or nothing when the type name itself is cut; never a value half read.
TEST_F(DataFraming, TruncatedInputNeverGivesAPartialValue)
{
    QfnTest::LogCapture quiet(0);
    for (const auto& [name, make] : samples()) {
        SCOPED_TRACE(name);
        const std::string text = Data_abstract::serializeToStr(make());
        const size_t typeRecordEnd = text.find('\n');
        ASSERT_NE(typeRecordEnd, std::string::npos);
        const bool isPlain = name == "plain factory class";
        for (size_t cut = 0; cut <= text.size(); ++cut) {
            SCOPED_TRACE(cut);
            auto result = Data_abstract::deserializeFromStr(text.substr(0, cut));
            if (cut == text.size()) {
                EXPECT_TRUE(sameValue(result, make()));
            } else if (cut <= typeRecordEnd || isPlain) {
                EXPECT_FALSE(result);
            } else {
                EXPECT_EQ(result, DataNull::factory());
            }
        }
    }
}

// Inputs the deserializing fuzzer once found: each ends cleanly, and what it makes writes text
// that reads back to the same text.
TEST_F(DataFraming, FuzzFindingsRoundTripStably)
{
    const auto folder = std::filesystem::path(__FILE__).parent_path() / "fuzz-regressions";
    QfnTest::LogCapture quiet(0);
    int inputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        ++inputs;
        SCOPED_TRACE(entry.path().filename().string());
        std::ifstream file(entry.path(), std::ios::binary);
        std::ostringstream text;
        text << file.rdbuf();
        auto value = Data_abstract::deserializeFromStr(text.str());
        if (!value) continue;
        const std::string once = Data_abstract::serializeToStr(value);
        ASSERT_FALSE(once.empty());
        EXPECT_EQ(Data_abstract::serializeToStr(Data_abstract::deserializeFromStr(once)), once);
    }
    EXPECT_GE(inputs, 1);
}
