#include <gtest/gtest.h>

#include "QfnParser/streams/OutputStreamString.h"
#include "QfnTask/CallYieldingTask.h"

using Qfn::OutputStreamString;

TEST(OutputStreamString, CollectsTextAndReadsItBack)
{
    auto stream = OutputStreamString::factory();
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->getChar(), -1);
    ASSERT_TRUE(stream->write("ab"));
    bool written = false;
    ASSERT_TRUE(Qfn::CallYieldingTask::run("write", [&](const std::shared_ptr<Qfn::Task>& task) {
        stream->write_yielding(task, written, "c");
    }));
    EXPECT_TRUE(written);
    EXPECT_EQ(stream->getChar(), 'a');
    stream->advance();
    EXPECT_EQ(stream->getAndClearBuffer(), "abc");
    EXPECT_EQ(stream->getAndClearBuffer(), "");
    EXPECT_EQ(stream->getChar(), -1);
    stream->write("d");
    EXPECT_EQ(stream->getPos(), 3u);
    EXPECT_EQ(stream->getChar(), 'd');
}
