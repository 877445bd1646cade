#pragma once

#include <iosfwd>
#include <string>

#include "QfnObject/IObject.h"

namespace Qfn {

// Turns strings and GUIDs into a stream of records and back; one direction and one stream per use:
// start..., the puts or gets, end....
class ISerializer : public virtual IObject {
public:
    // getGUID() const stays the object's own GUID; the non-const getGUID() reads one from the stream.
    using IObject::getGUID;
    virtual bool startSerialize(std::ostream* outputStream) = 0;
    virtual bool endSerialize() = 0;
    virtual bool putGUID(GUIDClass* guid) = 0;
    virtual bool putString(const std::string& str) = 0;
    virtual bool startDeserialize(std::istream* inputStream) = 0;
    virtual bool endDeserialize() = 0;
    virtual GUIDClass* getGUID() = 0;
    virtual std::string getString() = 0;
    // Whether a whole record waits to be read.
    virtual bool isStringAvailable() = 0;
    virtual bool atEnd() = 0;
};

}  // namespace Qfn
