#include "QfnParser/streams/InputStreamFile.h"

#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

std::shared_ptr<InputStreamFile> InputStreamFile::factory(FILE* file, bool ownsFile)
{
    std::shared_ptr<InputStreamFile> retVal;
    try {
        do {
            SANITY_CHECK(file);
            // A byte order mark at the start of a file is no part of the script (a pipe is read as
            // it comes).
            uint64_t startPos = 0;
            if (std::ftell(file) == 0) {
                char start[3] = {};
                const size_t read = std::fread(start, 1, sizeof start, file);
                if (std::string_view(start, read) == Utils::kByteOrderMark)
                    startPos = Utils::kByteOrderMark.size();
                SANITY_CHECK(std::fseek(file, static_cast<long>(startPos), SEEK_SET) == 0);
            }
            retVal.reset(new InputStreamFile(file, ownsFile));
            // Positions are offsets in the file.
            retVal->fPos = startPos;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

InputStreamFile::~InputStreamFile()
{
    if (fOwnsFile && fFile) std::fclose(fFile);
}

int InputStreamFile::getChar()
{
    int retVal = kEndOfInput;
    try {
        do {
            if (fPendingChar >= 0) {
                retVal = fPendingChar;
                break;
            }
            if (isInBuffer(fPos)) {
                retVal = static_cast<unsigned char>(fBuffer[fPos - fBufferStartPos]);
                break;
            }
            if (fIsAtEOF) break;
            SANITY_CHECK(fFile);
            int c = std::getc(fFile);
            if (c < 0) {
                fPendingChar = kEndOfInput;
                fIsAtEOF = true;
                break;
            }
            fPendingChar = c;
            if (fBufferActive > 0) {
                if (fBuffer.empty()) fBufferStartPos = fPos;
                fBuffer.push_back(static_cast<char>(c));
            }
            retVal = c;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamFile::advance()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fFile);
            // Consuming a character not yet looked at still has to take it from the file.
            if (fPendingChar == kNothingYet && !isInBuffer(fPos)) getChar();
            if (!fIsAtEOF || isInBuffer(fPos)) {
                ++fPos;
                fPendingChar = kNothingYet;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamFile::setPos(uint64_t pos)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fFile);
            if (pos == fPos) {
                retVal = true;
                break;
            }
            // The file stands just after the buffer unless a character was read past it unbuffered.
            bool fileAfterBuffer = fPendingChar < 0 || isInBuffer(fPos);
            if (!fBuffer.empty() && fileAfterBuffer && pos >= fBufferStartPos &&
                pos - fBufferStartPos <= fBuffer.size()) {
                fPos = pos;
                fPendingChar = kNothingYet;
                fIsAtEOF = false;
                retVal = true;
                break;
            }
            // The check's source text is its logged message: keep it as it is.
            // clang-format off
            SANITY_CHECK(fseek(fFile, (long) pos, 0) == 0);
            // clang-format on
            fBuffer.clear();
            fPos = pos;
            fPendingChar = kNothingYet;
            fIsAtEOF = false;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamFile::discardOldBufferData()
{
    bool retVal = false;
    try {
        do {
            if (fPos > fBufferStartPos) {
                uint64_t count = std::min<uint64_t>(fPos - fBufferStartPos, fBuffer.size());
                fBuffer.erase(0, count);
                fBufferStartPos += count;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamFile::setBufferActive(bool active)
{
    bool retVal = false;
    try {
        do {
            if (active) {
                ++fBufferActive;
                retVal = true;
                break;
            }
            SANITY_CHECK(fBufferActive > 0);
            --fBufferActive;
            if (fBufferActive == 0) discardOldBufferData();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamFile::locate(uint64_t pos, SourceLine& where)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fFile);
            const long here = std::ftell(fFile);
            if (here < 0 || std::fseek(fFile, 0, SEEK_SET) != 0) break;
            std::string text;
            int c = 0;
            // The whole of pos's line: up to the first line end at or after pos.
            while ((c = std::getc(fFile)) != EOF && (text.size() < pos || c != '\n'))
                text.push_back(static_cast<char>(c));
            std::fseek(fFile, here, SEEK_SET);
            const size_t markSize = text.size() - Utils::withoutByteOrderMark(text).size();
            retVal = pos >= markSize && locateIn(text.substr(markSize), pos - markSize, where);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
