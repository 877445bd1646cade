#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "QfnUtils/pipes/PipePacket.h"
#include "QfnUtils/pipes/PipeTestSupport.h"

using Qfn::PipePacket;

TEST(PipePacketCutting, PacketCountsAndDataFollowTheStringLength)
{
    // 4064 bytes and the length fill packet 0; every later packet holds up to 4072.
    const std::vector<std::pair<size_t, size_t>> sizesAndCounts = {
        {0, 1}, {1, 1}, {4064, 1}, {4065, 2}, {8136, 2}, {8137, 3}, {1 << 20, 258}};
    for (const auto& [size, count] : sizesAndCounts) {
        const std::string text = QfnTest::patternString(size);
        const std::vector<PipePacket> packets = QfnTest::cutString(text, 7, 1234);
        ASSERT_EQ(packets.size(), count) << "string of " << size;
        EXPECT_EQ(packets[0].getStringLength(), size);
        std::string joined;
        for (size_t i = 0; i < packets.size(); ++i) {
            const PipePacket& packet = packets[i];
            EXPECT_TRUE(packet.isWellFormed());
            EXPECT_EQ(packet.getStringNumber(), 7u);
            EXPECT_EQ(packet.getPacketNumber(), i);
            EXPECT_EQ(packet.getProcessID(), 1234u);
            if (i + 1 < packets.size()) {
                EXPECT_EQ(packet.getPacketSize(), PipePacket::kMaxPacketSize);
            }
            const size_t skip = i == 0 ? PipePacket::kLengthSize : 0;
            joined.append(reinterpret_cast<const char*>(packet.getData()) + skip,
                          packet.getDataSize() - skip);
        }
        EXPECT_EQ(joined, text) << "string of " << size;
    }
}

TEST(PipePacketHeader, IsLittleEndianInTheWireLayout)
{
    PipePacket packet;
    uint64_t charsRemaining = 3;
    ASSERT_TRUE(packet.fill(0x0102030405060708ULL, 0, 0xA1B2C3D4u, "xyz", charsRemaining));
    const uint8_t expected[] = {8,    7,    6,  5, 4, 3, 2, 1, 0, 0, 0, 0, 0, 0, 0,   0,   0xD4, 0xC3,
                                0xB2, 0xA1, 11, 0, 0, 0, 3, 0, 0, 0, 0, 0, 0, 0, 'x', 'y', 'z'};
    ASSERT_EQ(packet.getPacketSize(), sizeof expected);
    EXPECT_EQ(std::memcmp(packet.getBytes(), expected, sizeof expected), 0);
    EXPECT_EQ(charsRemaining, 0u);

    // A later packet carries no length; its number is little-endian too.
    const std::string text(5000, 'q');
    charsRemaining = text.size() - 4064;
    ASSERT_TRUE(packet.fill(9, 0x0203, 42, text, charsRemaining));
    const uint8_t expectedHeader[] = {9, 0, 0, 0, 0,  0, 0, 0, 3,    2, 0, 0,
                                      0, 0, 0, 0, 42, 0, 0, 0, 0xA8, 3, 0, 0};
    EXPECT_EQ(std::memcmp(packet.getBytes(), expectedHeader, sizeof expectedHeader), 0);
    EXPECT_EQ(packet.getDataSize(), 936);
    EXPECT_EQ(charsRemaining, 0u);
}
