#include "QfnSerializer/SimpleSerializer.h"

#include <algorithm>
#include <istream>
#include <ostream>

#include "QfnLogger/Check.h"
#include "QfnObject/ClassSupport.h"
#include "QfnObject/GUIDClass.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string SimpleSerializer::TYPENAME = "SimpleSerializer";

namespace {

// The bytes that escapeSerializer replaces: control bytes, the quotes and the backslash.
bool needsEscape(char c)
{
    return static_cast<unsigned char>(c) < 32 || c == '"' || c == '\'' || c == '\\';
}

}  // namespace

std::shared_ptr<IObject> SimpleSerializer::factory()
{
    std::shared_ptr<IObject> retVal;
    try {
        do {
            retVal = Object::adopt(new SimpleSerializer(), &SimpleSerializer::deleter);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

void SimpleSerializer::deleter(SimpleSerializer* simpleSerializer)
{
    ClassSupport::deleter(simpleSerializer);
}

bool SimpleSerializer::registerDeregisterClass(RegisterDeregister registerDeregister)
{
    return ClassSupport::registerDeregisterClass(registerDeregister, TYPENAME, &SimpleSerializer::factory,
                                                 nullptr);
}

bool SimpleSerializer::startSerialize(std::ostream* outputStream)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(outputStream);
            // clang-format off
            SANITY_CHECK(! fpOutputStream);
            // clang-format on
            fpOutputStream = outputStream;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SimpleSerializer::endSerialize()
{
    fpOutputStream = nullptr;
    return true;
}

bool SimpleSerializer::putRawString(const std::string& str)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fpOutputStream);
            fpOutputStream->write(str.data(), static_cast<std::streamsize>(str.size()));
            fpOutputStream->put('\n');
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SimpleSerializer::putString(const std::string& str)
{
    bool retVal = false;
    try {
        do {
            // Type names, GUIDs and numbers have nothing to escape: they are written without a copy.
            const bool isPlain = std::none_of(str.begin(), str.end(), needsEscape);
            const bool isWritten = isPlain ? putRawString(str) : putRawString(Utils::escapeSerializer(str));
            if (!isWritten) {
                LOG_ERROR("failed to write str");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SimpleSerializer::putGUID(GUIDClass* guid)
{
    bool retVal = false;
    try {
        do {
            const std::string text =
                guid ? guid->toString(GUIDStringFormat::UPPERCASE_DASHED) : std::string();
            if (!putString(text)) {
                LOG_ERROR("failed to write guid");
                break;
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SimpleSerializer::startDeserialize(std::istream* inputStream)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(inputStream);
            // clang-format off
            SANITY_CHECK(! fpInputStream);
            // clang-format on
            fpInputStream = inputStream;
            fPendingString.clear();
            fIsStringAvailable = false;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Reads up to the next line feed into the read-ahead. The library's line reader scans the stream's
// buffer in blocks, which is what reading byte by byte would give, without a call per byte.
bool SimpleSerializer::isStringAvailable()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fpInputStream);
            if (!fIsStringAvailable && fpInputStream->good()) {
                if (fPendingString.empty()) {
                    std::getline(*fpInputStream, fPendingString);
                } else {
                    // An unfinished line seen before is continued, not replaced.
                    std::string rest;
                    std::getline(*fpInputStream, rest);
                    fPendingString += rest;
                }
                // Without the line feed the reader stops at the end of input and says so.
                fIsStringAvailable = !fpInputStream->eof() && !fpInputStream->fail();
            }
            retVal = fIsStringAvailable;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool SimpleSerializer::atEnd()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(fpInputStream);
            retVal = !isStringAvailable();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string SimpleSerializer::getString()
{
    std::string retVal;
    try {
        do {
            if (!isStringAvailable()) break;
            if (fPendingString.find('\\') == std::string::npos) {
                retVal.swap(fPendingString);  // nothing escaped: the record is the string
            } else {
                retVal = Utils::unescapeSerializer(fPendingString);
            }
            fPendingString.clear();
            fIsStringAvailable = false;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

GUIDClass* SimpleSerializer::getGUID()
{
    GUIDClass* retVal = nullptr;
    try {
        do {
            const std::string text = getString();
            if (text.empty()) break;
            retVal = GUIDClass::factory(text);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Input left over, a record or an unfinished line, is worth a note: the sender wrote more than
// the reader took.
bool SimpleSerializer::endDeserialize()
{
    bool retVal = false;
    try {
        do {
            std::istream* inputStream = fpInputStream;
            SANITY_CHECK(inputStream);
            if (!isStringAvailable() && fPendingString.empty() && inputStream->eof()) {
                retVal = true;
            } else {
                LOG_NOTE("not at inputStream.eof()");
            }
            fpInputStream = nullptr;
            fPendingString.clear();
            fIsStringAvailable = false;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
