#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Qfn {

// What a configuration source offers its readers: placeholders and entries with placeholders resolved.
class IIni {
public:
    virtual ~IIni() = default;

    // Sets the placeholder ${name} to the text value (stored as it stands, as one element).
    virtual bool definePlaceholder(const std::string& name, const std::string& value) const = 0;
    // The element numbered from 0 of the resolved entry; defaultValue when there is none.
    virtual std::string getResolvedEntry(const std::string& section, const std::string& entry, uint64_t index,
                                         const std::string& defaultValue = "") const = 0;
    // The canonical quoted form of the resolved entry ("a","b"); defaultValue when there is no entry.
    virtual std::string getRawResolvedEntry(const std::string& section, const std::string& entry,
                                            const std::string& defaultValue = "") const = 0;
    // The resolved elements; empty when there is no entry. Valid until the next change.
    virtual const std::vector<std::string>& getResolvedEntryList(const std::string& section,
                                                                 const std::string& entry) const = 0;
};

}  // namespace Qfn
