#pragma once

#include <string>
#include <vector>

namespace Qfn {

// One ini value: its list of elements and their canonical form, every element quoted and encoded,
// joined by single commas ("part1","part2").
struct IniEntry {
    std::string fRawEntry;
    std::vector<std::string> fEntryList;

    IniEntry() = default;
    // Parses a value as written in an ini file.
    explicit IniEntry(const std::string& value);
    // An entry holding these elements as they stand.
    explicit IniEntry(std::vector<std::string> entryList);

    // Replaces the elements by those of the value text: quoted elements are decoded, an unquoted
    // rest of the text is one element as it stands; then recomputes fRawEntry.
    bool parseIniValue(const std::string& value);
    // Recomputes fRawEntry from fEntryList.
    bool collapseEntryList();
};

}  // namespace Qfn
