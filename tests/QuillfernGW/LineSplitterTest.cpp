// What a gateway connection receives is cut into whole lines, whatever the chunks.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "QuillfernGW/LineSplitter.h"

using Qfn::LineSplitter;
using Lines = std::vector<std::string>;

namespace {

Lines split(const std::string& bytes, LineSplitter& splitter)
{
    Lines lines;
    EXPECT_TRUE(splitter.append(bytes.data(), bytes.size(), lines));
    return lines;
}

Lines split(const std::string& bytes)
{
    LineSplitter splitter;
    return split(bytes, splitter);
}

}  // namespace

TEST(LineSplitter, EveryLineEndCutsAlikeAndEmptyLinesAreSkipped)
{
    EXPECT_EQ(split("a\r\nb\n\rc\rd"), (Lines{"a", "b", "c"})) << "CR LF, LF CR and a bare CR";
    EXPECT_EQ(split("x\ny\r"), (Lines{"xy"})) << "a bare LF ends nothing and disappears";
    EXPECT_EQ(split("\r\r\n\r"), Lines{}) << "no empty line is delivered";
    std::string withZero("ab\0cd\r", 6);
    EXPECT_EQ(split(withZero), (Lines{"abcd"})) << "a zero byte is dropped, the rest kept";
}

TEST(LineSplitter, LinesComeWholeWhateverTheChunks)
{
    const std::string stream = "first message\rsecond one\r\nthird\r";
    LineSplitter byteByByte;
    Lines lines;
    for (char c : stream) {
        Lines more = split(std::string(1, c), byteByByte);
        lines.insert(lines.end(), more.begin(), more.end());
    }
    EXPECT_EQ(lines, (Lines{"first message", "second one", "third"}));
    EXPECT_EQ(byteByByte.getPendingSize(), 0u);

    LineSplitter partly;
    EXPECT_EQ(split("one\rtw", partly), (Lines{"one"}));
    EXPECT_EQ(partly.getPendingSize(), 2u);
    EXPECT_EQ(split("o\r", partly), (Lines{"two"}));
}

TEST(LineSplitter, ALineBeyondTheLimitIsRefused)
{
    LineSplitter splitter;
    Lines lines;
    const std::string chunk(1 << 20, 'x');
    bool isAccepted = true;
    for (size_t sent = 0; isAccepted && sent <= LineSplitter::kMaxLineBytes; sent += chunk.size())
        isAccepted = splitter.append(chunk.data(), chunk.size(), lines);
    EXPECT_FALSE(isAccepted);
    EXPECT_TRUE(lines.empty());
}
