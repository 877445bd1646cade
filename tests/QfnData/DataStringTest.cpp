#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "QfnData/DataNull.h"
#include "QfnData/DataString.h"
#include "QfnObject/GUIDClass.h"
#include "support/ObjectClasses.h"

using Qfn::Data_abstract;
using Qfn::DataString;

TEST(DataStringValue, RoundTripEqualityAndPrintedForm)
{
    ASSERT_TRUE(QfnTest::registerObjectClassesOnce());
    auto original = DataString::factoryFromString("test1223");
    auto copy = std::dynamic_pointer_cast<DataString>(
        Data_abstract::deserializeFromStr(Data_abstract::serializeToStr(original)));
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->getString(), "test1223");
    EXPECT_TRUE(*copy == *original);
    EXPECT_EQ(copy->hash(), original->hash());

    auto other = DataString::factoryFromString("test1224");
    EXPECT_FALSE(*other == *original);
    EXPECT_TRUE(*other != *original);
    EXPECT_FALSE(*original == *Qfn::DataNull::factory());

    EXPECT_EQ(original->toString(), "DataString String = test1223");
    Qfn::GUIDClass* guid = original->createGUID();
    ASSERT_TRUE(guid);
    EXPECT_EQ(original->toString(), "DataString[" + guid->toString(Qfn::GUIDStringFormat::UPPERCASE_DASHED) +
                                        "]) String = test1223");
}
