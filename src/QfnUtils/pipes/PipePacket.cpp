#include "QfnUtils/pipes/PipePacket.h"

#include <algorithm>
#include <cstring>

#include "QfnLogger/Check.h"

namespace Qfn {

bool PipePacket::fill(uint64_t stringNumber, uint64_t packetNumber, uint32_t processID,
                      const std::string& str, uint64_t& charsRemaining)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(charsRemaining <= str.size());
            size_t dataSize = 0;
            if (packetNumber == 0) {
                writeLittleEndian(kHeaderSize, kLengthSize, str.size());
                dataSize = kLengthSize;
            }
            const size_t pieceSize =
                static_cast<size_t>(std::min<uint64_t>(charsRemaining, kMaxDataSize - dataSize));
            std::memcpy(fBytes.data() + kHeaderSize + dataSize, str.data() + (str.size() - charsRemaining),
                        pieceSize);
            dataSize += pieceSize;
            charsRemaining -= pieceSize;
            setHeader(stringNumber, packetNumber, processID, static_cast<uint16_t>(dataSize));
            fPacketSize = kHeaderSize + dataSize;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool PipePacket::isWellFormed() const
{
    return fPacketSize >= kHeaderSize && fPacketSize <= kMaxPacketSize &&
           getDataSize() == fPacketSize - kHeaderSize;
}

void PipePacket::setHeader(uint64_t stringNumber, uint64_t packetNumber, uint32_t processID,
                           uint16_t dataSize)
{
    writeLittleEndian(0, 8, stringNumber);
    writeLittleEndian(8, 8, packetNumber);
    writeLittleEndian(16, 4, processID);
    writeLittleEndian(20, 2, dataSize);
    writeLittleEndian(22, 2, 0);
}

uint64_t PipePacket::readLittleEndian(size_t offset, size_t size) const
{
    uint64_t value = 0;
    for (size_t i = size; i-- > 0;)
        value = (value << 8) | fBytes[offset + i];
    return value;
}

void PipePacket::writeLittleEndian(size_t offset, size_t size, uint64_t value)
{
    for (size_t i = 0; i < size; ++i, value >>= 8)
        fBytes[offset + i] = static_cast<uint8_t>(value & 0xFF);
}

}  // namespace Qfn
