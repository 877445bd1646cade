#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include "QfnObject/IObject.h"
#include "QfnSerializer/Serializer_abstract.h"

namespace Qfn {

// The line serializer: each record is one string in escaped form followed by a line feed. Reading
// keeps one record ahead, still escaped, so that the end of the stream can be told before a read.
class SimpleSerializer : public virtual Serializer_abstract {
public:
    static const std::string TYPENAME;
    const std::string& typeName() const override { return TYPENAME; }

    static std::shared_ptr<IObject> factory();
    static void deleter(SimpleSerializer* simpleSerializer);
    static bool registerDeregisterClass(RegisterDeregister registerDeregister);

    using Object::getGUID;
    bool startSerialize(std::ostream* outputStream) override;
    bool endSerialize() override;
    bool putGUID(GUIDClass* guid) override;
    bool putString(const std::string& str) override;
    bool startDeserialize(std::istream* inputStream) override;
    bool endDeserialize() override;
    GUIDClass* getGUID() override;
    std::string getString() override;
    bool isStringAvailable() override;
    bool atEnd() override;

    // Writes the bytes as they are and a line feed: the caller has escaped them.
    bool putRawString(const std::string& str);

private:
    friend struct ClassSupport;
    SimpleSerializer() = default;
    ~SimpleSerializer() override = default;

    std::ostream* fpOutputStream = nullptr;
    std::istream* fpInputStream = nullptr;
    std::string fPendingString;
    bool fIsStringAvailable = false;
};

}  // namespace Qfn
