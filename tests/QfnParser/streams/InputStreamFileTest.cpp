#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>

#include "QfnParser/streams/InputStreamFile.h"
#include "support/LogCapture.h"

using Qfn::InputStreamFile;

namespace {

// A read end that cannot seek, holding the given text.
FILE* pipeWith(const std::string& text)
{
    int fds[2];
    if (pipe(fds) != 0) return nullptr;
    bool written = write(fds[1], text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fds[1]);
    if (!written) {
        close(fds[0]);
        return nullptr;
    }
    return fdopen(fds[0], "rb");
}

}  // namespace

TEST(InputStreamFile, ReadsToTheEndAndSeeksBack)
{
    FILE* file = std::tmpfile();
    ASSERT_TRUE(file);
    std::fputs("ok\n", file);
    std::rewind(file);
    auto stream = InputStreamFile::factory(file, true);
    ASSERT_TRUE(stream);
    EXPECT_EQ(stream->getChar(), 'o');
    EXPECT_EQ(stream->getChar(), 'o');
    stream->advance();
    EXPECT_EQ(stream->getChar(), 'k');
    stream->advance();
    stream->advance();
    EXPECT_EQ(stream->getPos(), 3u);
    EXPECT_EQ(stream->getChar(), -1);
    EXPECT_TRUE(stream->atEOF());
    stream->advance();
    EXPECT_EQ(stream->getPos(), 3u);
    ASSERT_TRUE(stream->setPos(1));
    EXPECT_FALSE(stream->atEOF());
    EXPECT_EQ(stream->getChar(), 'k');
}

TEST(InputStreamFile, BufferLetsAPipeGoBackUntilReleased)
{
    auto stream = InputStreamFile::factory(pipeWith("abc"), true);
    ASSERT_TRUE(stream);
    ASSERT_TRUE(stream->setBufferActive(true));
    EXPECT_EQ(stream->getChar(), 'a');
    stream->advance();
    EXPECT_EQ(stream->getChar(), 'b');
    stream->advance();
    ASSERT_TRUE(stream->setPos(0));
    EXPECT_EQ(stream->getChar(), 'a');
    stream->advance();
    stream->advance();
    EXPECT_EQ(stream->getChar(), 'c');  // past the buffer, reading goes on from the pipe
    stream->advance();
    EXPECT_EQ(stream->getChar(), -1);

    ASSERT_TRUE(stream->setPos(1));
    ASSERT_TRUE(stream->setBufferActive(false));
    QfnTest::LogCapture capture(1);
    EXPECT_FALSE(stream->setPos(0));  // dropped from the buffer, and a pipe cannot seek
    EXPECT_TRUE(capture.hasLineEndingWith("'fseek(fFile, (long) pos, 0) == 0' evaluates to false"));
    EXPECT_FALSE(stream->setBufferActive(false));
}
