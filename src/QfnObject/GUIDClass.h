#pragma once

#include <compare>
#include <cstdint>
#include <string>

namespace Qfn {

// A 128-bit value; the written hexadecimal forms run from the top digit of high to the last of low.
struct TRawGUID {
    uint64_t high;
    uint64_t low;
};

enum class GUIDStringFormat { LOWERCASE = 0, UPPERCASE, LOWERCASE_DASHED, UPPERCASE_DASHED, COMPACT };

// An interned 128-bit identifier: one instance per value in the process, so equal GUIDs are equal
// pointers. Instances come only from the factories and live until process exit; holders own nothing.
class GUIDClass {
public:
    virtual ~GUIDClass();
    virtual TRawGUID get() const;

    GUIDClass(const GUIDClass&) = delete;
    GUIDClass& operator=(const GUIDClass&) = delete;

    // Each factory gives the interned pointer, or null after a failure. The value 0/0 gives the
    // null GUID, which is a valid pointer.
    static GUIDClass* factory(TRawGUID raw);
    static GUIDClass* factory(const GUIDClass& other);
    // Any written form: 22 characters are read as compact, anything else by its hexadecimal digits.
    static GUIDClass* factory(const std::string& str);
    static GUIDClass* factory22(const std::string& str);
    static GUIDClass* randomFactory();
    static GUIDClass* nullGUID();

    // Whether str is 32 hexadecimal digits (with any of "_-[]{}()" between) or 22 compact characters.
    static bool isGUIDStr(const std::string& str);

    // The reference stays valid until the next call with a different format (COMPACT aside).
    const std::string& toString(GUIDStringFormat format = GUIDStringFormat::UPPERCASE_DASHED);
    // The reference stays valid for good.
    const std::string& toCompactStr() const;
    uint64_t toXorInt() const { return fValue.high ^ fValue.low; }

    bool operator==(const GUIDClass& other) const;
    std::strong_ordering operator<=>(const GUIDClass& other) const;

private:
    explicit GUIDClass(TRawGUID raw) : fValue(raw) {}

    TRawGUID fValue;
    std::string* fCachedString = nullptr;
    GUIDStringFormat fCachedFormat = GUIDStringFormat::UPPERCASE_DASHED;
    mutable std::string* fCachedCompactString = nullptr;
};

}  // namespace Qfn
