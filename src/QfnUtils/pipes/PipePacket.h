#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Qfn {

// One packet of the pipe wire: a 24-byte little-endian header (string number u64, packet number u64,
// process ID u32, data size u16, reserved u16) and at most 4072 bytes of data. The data of packet 0
// begins with the string's total length (u64); the string's bytes follow there and in later packets.
class PipePacket {
public:
    static constexpr size_t kMaxPacketSize = 4096;
    static constexpr size_t kHeaderSize = 24;
    static constexpr size_t kMaxDataSize = kMaxPacketSize - kHeaderSize;
    static constexpr size_t kLengthSize = 8;

    // The next piece of str: packet packetNumber of string stringNumber, sent by processID. On entry
    // charsRemaining is the number of bytes of str not yet in a packet, on return fewer by those
    // this packet took. The packet's size afterwards is getPacketSize().
    bool fill(uint64_t stringNumber, uint64_t packetNumber, uint32_t processID, const std::string& str,
              uint64_t& charsRemaining);

    uint64_t getStringNumber() const { return readLittleEndian(0, 8); }
    uint64_t getPacketNumber() const { return readLittleEndian(8, 8); }
    uint32_t getProcessID() const { return static_cast<uint32_t>(readLittleEndian(16, 4)); }
    uint16_t getDataSize() const { return static_cast<uint16_t>(readLittleEndian(20, 2)); }
    const uint8_t* getData() const { return fBytes.data() + kHeaderSize; }
    // The total length that packet 0's data begins with.
    uint64_t getStringLength() const { return readLittleEndian(kHeaderSize, kLengthSize); }

    // The whole packet as it travels: the buffer a receive fills, and how much of it is used.
    uint8_t* getBytes() { return fBytes.data(); }
    const uint8_t* getBytes() const { return fBytes.data(); }
    size_t getPacketSize() const { return fPacketSize; }
    void setPacketSize(size_t packetSize) { fPacketSize = packetSize; }
    // The header's data size is the bytes behind the header, and these fit the packet.
    bool isWellFormed() const;

    void setHeader(uint64_t stringNumber, uint64_t packetNumber, uint32_t processID, uint16_t dataSize);

private:
    uint64_t readLittleEndian(size_t offset, size_t size) const;
    void writeLittleEndian(size_t offset, size_t size, uint64_t value);

    std::array<uint8_t, kMaxPacketSize> fBytes{};
    size_t fPacketSize = 0;
};

}  // namespace Qfn
