// The event as a data value: a name and a payload, carried through the serializer.
#include <gtest/gtest.h>

#include "QfnData/DataNull.h"
#include "QfnData/DataString.h"
#include "QfnEvent/Event.h"
#include "support/EventObjects.h"
#include "support/LogCapture.h"

using namespace Qfn;

using EventTest = QfnTest::ObjectCountFixture;

TEST_F(EventTest, NameAndPayloadSurviveTheSerializer)
{
    auto eventObj = Event::factoryFromNamePayload("null", DataString::factoryFromString("payload\ntext"));
    ASSERT_TRUE(eventObj);
    const std::string text = Data_abstract::serializeToStr(eventObj);
    EXPECT_EQ(text, "Event\nnull\nDataString\npayload\\ntext\n");
    auto again = std::dynamic_pointer_cast<IEvent>(Data_abstract::deserializeFromStr(text));
    ASSERT_TRUE(again);
    EXPECT_EQ(again->getName(), "null");
    auto payload = std::dynamic_pointer_cast<const DataString>(again->getPayloadObj());
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->getString(), "payload\ntext");
    // No payload travels as the missing value.
    auto bare = std::dynamic_pointer_cast<IEvent>(Data_abstract::deserializeFromStr(
        Data_abstract::serializeToStr(Event::factoryFromNamePayload("bare", nullptr))));
    ASSERT_TRUE(bare);
    EXPECT_EQ(bare->getPayloadObj().get(), DataNull::factory().get());
}

TEST_F(EventTest, AnEventHasAName)
{
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(Event::factoryFromNamePayload("", nullptr));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: '! name.empty()' evaluates to false"));
    EXPECT_FALSE(std::dynamic_pointer_cast<IEvent>(Data_abstract::deserializeFromStr("Event\n\nDataNull\n")));
    EXPECT_TRUE(capture.hasLineEndingWith("SANITY_CHECK failed: '! fName.empty()' evaluates to false"));
}
