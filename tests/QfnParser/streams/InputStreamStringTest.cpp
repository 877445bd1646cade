#include <gtest/gtest.h>

#include "QfnParser/streams/InputStreamString.h"
#include "support/LogCapture.h"

using Qfn::InputStreamString;

TEST(InputStreamString, EmptyTextIsAtItsEndAtOnce)
{
    auto stream = InputStreamString::factory("");
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->getChar(), -1);
    EXPECT_EQ(stream->getChar(), -1);
    EXPECT_TRUE(stream->advance());
    EXPECT_EQ(stream->getPos(), 0u);
}

TEST(InputStreamString, LookingDoesNotMoveAndAdvanceConsumes)
{
    auto stream = InputStreamString::factory("h\xC3\xA9");
    ASSERT_TRUE(stream);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(stream->getChar(), 'h');
    EXPECT_EQ(stream->getPos(), 0u);
    stream->advance();
    EXPECT_EQ(stream->getChar(), 0xC3);  // bytes come out unsigned
    stream->advance();
    stream->advance();
    EXPECT_EQ(stream->getPos(), 3u);
    EXPECT_EQ(stream->getChar(), -1);
    stream->advance();
    EXPECT_EQ(stream->getPos(), 3u);
}

TEST(InputStreamString, SetPosRetreatsWithinWhatIsKept)
{
    QfnTest::LogCapture capture(1);
    auto stream = InputStreamString::factory("iffy");
    ASSERT_TRUE(stream);
    stream->advance();
    stream->advance();
    EXPECT_TRUE(stream->setPos(0));
    EXPECT_EQ(stream->getChar(), 'i');
    EXPECT_TRUE(stream->setPos(4));
    EXPECT_EQ(stream->getChar(), -1);
    EXPECT_FALSE(stream->setPos(5));

    ASSERT_TRUE(stream->setPos(2));
    ASSERT_TRUE(stream->discardOldBufferData());
    EXPECT_EQ(stream->getPos(), 2u);
    EXPECT_EQ(stream->getChar(), 'f');
    EXPECT_FALSE(stream->setPos(1));
    EXPECT_TRUE(capture.hasLineEndingWith("evaluates to false"));
}

TEST(InputStreamString, FeedAppendsAfterTheEnd)
{
    auto stream = InputStreamString::factory("a");
    ASSERT_TRUE(stream);
    stream->advance();
    EXPECT_EQ(stream->getChar(), -1);
    ASSERT_TRUE(stream->feed("bc"));
    EXPECT_EQ(stream->getChar(), 'b');
    EXPECT_EQ(stream->getPos(), 1u);
    stream->advance();
    EXPECT_EQ(stream->getChar(), 'c');
}
