#include "QfnData/Ini.h"

#include <set>
#include <utility>

#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string Ini::kPlaceholderSection = "placeholders";
const std::string Ini::kPlatformIniSuffix = ".linux";
const std::vector<std::string> Ini::kPlatformIniSuffixes = {".mac", ".windows", ".linux"};

namespace {

// What one resolution may spend: a sane configuration needs a few dozen expansions and short texts,
// while cycles through many placeholders have factorially many paths and texts that grow with them.
constexpr uint64_t kMaxPlaceholderExpansions = 10000;
constexpr uint64_t kMaxPlaceholderBytes = 1 << 20;
// How deeply placeholders may nest, so that a long chain cannot overflow the stack.
constexpr uint64_t kMaxPlaceholderDepth = 256;

const std::string kPlaceholderStart = "${";
const std::string kPlaceholderEnd = "}";

constexpr uint64_t kFnvOffsetBasis = 0xcbf29ce484222325ULL;
constexpr uint64_t kFnvPrime = 0x100000001b3ULL;

void hashByte(uint64_t& hash, unsigned char byte)
{
    hash ^= byte;
    hash *= kFnvPrime;
}

// Adds the bytes and a terminating zero, so that ("ab", "c") and ("a", "bc") hash apart.
void hashString(uint64_t& hash, const std::string& str)
{
    for (char c : str)
        hashByte(hash, static_cast<unsigned char>(c));
    hashByte(hash, 0);
}

bool isOtherPlatformKey(const std::string& key)
{
    for (const std::string& suffix : Ini::kPlatformIniSuffixes)
        if (suffix != Ini::kPlatformIniSuffix && Utils::endsWith(key, suffix)) return true;
    return false;
}

// The size the text would have with every occurrence of the pattern replaced.
uint64_t sizeAfterReplacing(const std::string& str, const std::string& pattern, uint64_t replacementSize)
{
    uint64_t occurrences = 0;
    for (size_t pos = str.find(pattern); pos != std::string::npos;
         pos = str.find(pattern, pos + pattern.size()))
        ++occurrences;
    return str.size() - occurrences * pattern.size() + occurrences * replacementSize;
}

// Counts the nesting of placeholder substitutions while a call runs.
class NestingGuard {
public:
    explicit NestingGuard(uint64_t& depth) : fDepth(depth) { ++fDepth; }
    ~NestingGuard() { --fDepth; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;

private:
    uint64_t& fDepth;
};

std::string withoutSuffix(const std::string& key, const std::string& suffix)
{
    return key.substr(0, key.size() - suffix.size());
}

const std::string& nodeIniSuffix()
{
    return Ini::getNodeIniSuffix();
}

}  // namespace

std::string Ini::fNodeIniSuffix;

std::shared_ptr<Ini> Ini::factory()
{
    std::shared_ptr<Ini> retVal;
    try {
        retVal = std::make_shared<Ini>();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<Ini> Ini::factory(const std::string& iniStr)
{
    std::shared_ptr<Ini> retVal;
    try {
        retVal = std::make_shared<Ini>(iniStr);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

Ini::Ini(const std::string& iniStr)
{
    try {
        do {
            SANITY_CHECK(parse(iniStr));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

// ---- lookups

const IniEntry* Ini::findEntry(const std::string& section, const std::string& entry) const
{
    const IniEntry* retVal = nullptr;
    try {
        do {
            auto sectionIt = fEntries.find(section);
            if (sectionIt != fEntries.end()) {
                const Section& entries = sectionIt->second;
                const std::string& nodeSuffix = nodeIniSuffix();
                auto entryIt = entries.end();
                if (!nodeSuffix.empty()) entryIt = entries.find(entry + nodeSuffix);
                if (entryIt == entries.end()) entryIt = entries.find(entry + kPlatformIniSuffix);
                if (entryIt == entries.end()) entryIt = entries.find(entry);
                if (entryIt != entries.end()) {
                    retVal = &entryIt->second;
                    break;
                }
            }
            if (fParentIni) retVal = fParentIni->findEntry(section, entry);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Ini::getRawEntry(const std::string& section, const std::string& entry,
                             const std::string& defaultValue) const
{
    std::string retVal = defaultValue;
    try {
        do {
            const IniEntry* found = findEntry(section, entry);
            if (!found) break;
            retVal = found->fRawEntry;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Ini::getEntry(const std::string& section, const std::string& entry,
                          const std::string& defaultValue) const
{
    return getEntry(section, entry, 0, defaultValue);
}

std::string Ini::getEntry(const std::string& section, const std::string& entry, uint64_t index,
                          const std::string& defaultValue) const
{
    std::string retVal = defaultValue;
    try {
        do {
            const IniEntry* found = findEntry(section, entry);
            if (!found || index >= found->fEntryList.size()) break;
            retVal = found->fEntryList[index];
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t Ini::getEntryCount(const std::string& section, const std::string& entry) const
{
    uint64_t retVal = 0;
    try {
        do {
            const IniEntry* found = findEntry(section, entry);
            if (!found) break;
            retVal = found->fEntryList.size();
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Ini::getEntryList(const std::string& section, const std::string& entry) const
{
    std::vector<std::string> retVal;
    try {
        do {
            const IniEntry* found = findEntry(section, entry);
            if (!found) break;
            retVal = found->fEntryList;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Ini::getEntryNames(const std::string& section) const
{
    std::vector<std::string> retVal;
    try {
        do {
            auto sectionIt = fEntries.find(section);
            if (sectionIt == fEntries.end()) break;
            std::set<std::string> names;
            for (const auto& [key, value] : sectionIt->second) {
                if (Utils::endsWith(key, kPlatformIniSuffix))
                    names.insert(withoutSuffix(key, kPlatformIniSuffix));
                else if (!isOtherPlatformKey(key))
                    names.insert(key);
            }
            retVal.assign(names.begin(), names.end());
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Ini::getSectionNames() const
{
    std::vector<std::string> retVal;
    try {
        do {
            for (const auto& [name, entries] : fEntries)
                retVal.push_back(name);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- placeholders

bool Ini::definePlaceholder(const std::string& name, const std::string& value) const
{
    bool retVal = false;
    try {
        do {
            fEntries[kPlaceholderSection][name] = IniEntry(std::vector<std::string>{value});
            SANITY_CHECK(clearResolvedCache());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::startPlaceholderResolution() const
{
    bool retVal = false;
    try {
        do {
            const std::string& nodeSuffix = nodeIniSuffix();
            std::set<std::string> names;
            for (const Ini* ini = this; ini; ini = ini->fParentIni.get()) {
                auto sectionIt = ini->fEntries.find(kPlaceholderSection);
                if (sectionIt == ini->fEntries.end()) continue;
                // A suffixed key names the placeholder without its suffix: the lookup of its value
                // picks the variant.
                for (const auto& [key, value] : sectionIt->second) {
                    if (!nodeSuffix.empty() && Utils::endsWith(key, nodeSuffix))
                        names.insert(withoutSuffix(key, nodeSuffix));
                    else if (Utils::endsWith(key, kPlatformIniSuffix))
                        names.insert(withoutSuffix(key, kPlatformIniSuffix));
                    else if (!isOtherPlatformKey(key))
                        names.insert(key);
                }
            }
            fResolution = PlaceholderResolution{};
            for (const std::string& name : names)
                fResolution.fNamesAndPatterns.emplace_back(name, kPlaceholderStart + name + kPlaceholderEnd);
            fResolution.fExpansionsLeft = kMaxPlaceholderExpansions;
            fResolution.fBytesLeft = kMaxPlaceholderBytes;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::spendPlaceholderBudget(const std::string& name, uint64_t expansions, uint64_t bytes) const
{
    if (!fResolution.fIsSpent && fResolution.fDepth <= kMaxPlaceholderDepth &&
        expansions <= fResolution.fExpansionsLeft && bytes <= fResolution.fBytesLeft) {
        fResolution.fExpansionsLeft -= expansions;
        fResolution.fBytesLeft -= bytes;
        return true;
    }
    if (!fResolution.fIsSpent)
        LOG_WARNING("placeholder expansion limit reached at ${" + name +
                    "}: it and later ones stay as they are");
    fResolution.fIsSpent = true;
    return false;
}

bool Ini::resolvePlaceholder(const std::string& name, std::unordered_set<std::string>& seen,
                             std::vector<std::string>& elements) const
{
    bool retVal = false;
    try {
        do {
            elements.clear();
            if (!spendPlaceholderBudget(name, 1, 0)) break;
            const IniEntry* found = findEntry(kPlaceholderSection, name);
            if (found) {
                seen.insert(name);
                elements = resolveElements(found->fEntryList, seen);
                seen.erase(name);
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        seen.erase(name);
        LOG_THROWS(e);
    }
    return retVal;
}

std::vector<std::string> Ini::resolveElements(const std::vector<std::string>& elements,
                                              std::unordered_set<std::string>& seen) const
{
    std::vector<std::string> retVal;
    try {
        do {
            for (const std::string& element : elements) {
                std::vector<std::string> list;
                std::string text = substitutePlaceholders(element, seen, true, &list);
                if (list.empty())
                    retVal.push_back(std::move(text));
                else
                    retVal.insert(retVal.end(), list.begin(), list.end());
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Ini::handlePlaceholders(const std::string& value, std::unordered_set<std::string>& seen,
                                    bool isListElement) const
{
    return substitutePlaceholders(value, seen, isListElement, nullptr);
}

std::string Ini::substitutePlaceholders(const std::string& value, std::unordered_set<std::string>& seen,
                                        bool isListElement, std::vector<std::string>* wholeList) const
{
    std::string retVal = value;
    try {
        do {
            if (value.empty()) break;
            if (fResolution.fDepth == 0) {
                SANITY_CHECK(startPlaceholderResolution());
            }
            const NestingGuard nesting(fResolution.fDepth);
            // Only the outermost call renews the names, so they stay put while nested calls run.
            for (const auto& [name, pattern] : fResolution.fNamesAndPatterns) {
                if (retVal.find(pattern) == std::string::npos) continue;
                // A name being resolved further up stays as it stands: that ends a cycle.
                if (seen.contains(name)) continue;
                std::vector<std::string> list;
                if (!resolvePlaceholder(name, seen, list)) continue;
                if (wholeList && isListElement && retVal == pattern && list.size() > 1) {
                    *wholeList = std::move(list);
                    retVal.clear();
                    break;
                }
                const std::string replacement = isListElement && list.size() <= 1
                                                    ? (list.empty() ? std::string() : list.front())
                                                    : IniEntry(list).fRawEntry;
                if (!spendPlaceholderBudget(name, 0, sizeAfterReplacing(retVal, pattern, replacement.size())))
                    continue;
                retVal = Utils::replaceSubStr(retVal, pattern, replacement);
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- the resolved cache

const IniEntry& Ini::getCachedResolvedEntry(const std::string& section, const std::string& entry) const
{
    static const IniEntry kNoEntry;
    const IniEntry* retVal = &kNoEntry;
    try {
        do {
            auto sectionIt = fResolvedCache.find(section);
            if (sectionIt != fResolvedCache.end()) {
                auto entryIt = sectionIt->second.find(entry);
                if (entryIt != sectionIt->second.end()) {
                    retVal = &entryIt->second;
                    break;
                }
            }
            const IniEntry* found = findEntry(section, entry);
            if (!found) break;
            std::unordered_set<std::string> seen;
            IniEntry resolved(resolveElements(found->fEntryList, seen));
            retVal = &(fResolvedCache[section][entry] = std::move(resolved));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return *retVal;
}

std::string Ini::getResolvedEntry(const std::string& section, const std::string& entry,
                                  const std::string& defaultValue) const
{
    return getResolvedEntry(section, entry, 0, defaultValue);
}

std::string Ini::getResolvedEntry(const std::string& section, const std::string& entry, uint64_t index,
                                  const std::string& defaultValue) const
{
    std::string retVal = defaultValue;
    try {
        do {
            const std::vector<std::string>& list = getCachedResolvedEntry(section, entry).fEntryList;
            if (index >= list.size()) break;
            retVal = list[index];
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string Ini::getRawResolvedEntry(const std::string& section, const std::string& entry,
                                     const std::string& defaultValue) const
{
    std::string retVal = defaultValue;
    try {
        do {
            if (!findEntry(section, entry)) break;
            retVal = getCachedResolvedEntry(section, entry).fRawEntry;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::vector<std::string>& Ini::getResolvedEntryList(const std::string& section,
                                                          const std::string& entry) const
{
    return getCachedResolvedEntry(section, entry).fEntryList;
}

uint64_t Ini::getResolvedEntryCount(const std::string& section, const std::string& entry) const
{
    return getCachedResolvedEntry(section, entry).fEntryList.size();
}

bool Ini::clearResolvedEntry(const std::string& section, const std::string& entry) const
{
    bool retVal = false;
    try {
        do {
            auto sectionIt = fResolvedCache.find(section);
            if (sectionIt != fResolvedCache.end()) {
                sectionIt->second.erase(entry);
                if (sectionIt->second.empty()) fResolvedCache.erase(sectionIt);
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::clearResolvedSection(const std::string& section) const
{
    bool retVal = false;
    try {
        do {
            fResolvedCache.erase(section);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::clearResolvedCache() const
{
    bool retVal = false;
    try {
        do {
            fResolvedCache.clear();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- changes

bool Ini::parse(const std::string& iniStr)
{
    bool retVal = false;
    try {
        do {
            fIniStr = Utils::withoutByteOrderMark(iniStr);
            fEntries.clear();
            fMalformedLines.clear();
            SANITY_CHECK(clearResolvedCache());
            std::string section;
            uint64_t lineNumber = 0;
            for (const std::string& rawLine : Utils::lineStrSplit(fIniStr)) {
                ++lineNumber;
                const std::string line = Utils::trim(rawLine);
                // No trailing comments: a '#' after the start of a line belongs to the value.
                if (line.empty() || line.front() == '#') continue;
                if (line.size() >= 3 && line.front() == '[' && line.back() == ']') {
                    section = line.substr(1, line.size() - 2);
                    continue;
                }
                const size_t equalsPos = line.find('=');
                if (equalsPos == std::string::npos || Utils::trim(line.substr(0, equalsPos)).empty()) {
                    fMalformedLines.emplace_back(lineNumber, line);
                    continue;
                }
                fEntries[section][Utils::trim(line.substr(0, equalsPos))] =
                    IniEntry(Utils::trim(line.substr(equalsPos + 1)));
            }
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::setEntry(const std::string& section, const std::string& entry, const std::string& value)
{
    return setEntryList(section, entry, std::vector<std::string>{value});
}

bool Ini::setEntry(const std::string& section, const std::string& entry, uint64_t index,
                   const std::string& value)
{
    bool retVal = false;
    try {
        do {
            IniEntry& iniEntry = fEntries[section][entry];
            if (index >= iniEntry.fEntryList.size()) iniEntry.fEntryList.resize(index + 1);
            iniEntry.fEntryList[index] = value;
            SANITY_CHECK(iniEntry.collapseEntryList());
            SANITY_CHECK(clearResolvedCache());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::setEntryList(const std::string& section, const std::string& entry,
                       const std::vector<std::string>& list)
{
    bool retVal = false;
    try {
        do {
            fEntries[section][entry] = IniEntry(list);
            SANITY_CHECK(clearResolvedCache());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::clear(const std::string& section, const std::string& entry, uint64_t index)
{
    bool retVal = false;
    try {
        do {
            auto sectionIt = fEntries.find(section);
            if (sectionIt == fEntries.end()) break;
            auto entryIt = sectionIt->second.find(entry);
            if (entryIt == sectionIt->second.end()) break;
            std::vector<std::string>& list = entryIt->second.fEntryList;
            if (index >= list.size()) break;
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(index));
            SANITY_CHECK(entryIt->second.collapseEntryList());
            SANITY_CHECK(clearResolvedCache());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::clear(const std::string& section, const std::string& entry)
{
    bool retVal = false;
    try {
        do {
            auto sectionIt = fEntries.find(section);
            if (sectionIt == fEntries.end()) break;
            if (sectionIt->second.erase(entry) == 0) break;
            // A section without entries is not kept, as parse keeps none.
            if (sectionIt->second.empty()) fEntries.erase(sectionIt);
            SANITY_CHECK(clearResolvedCache());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::clear(const std::string& section)
{
    bool retVal = false;
    try {
        do {
            if (fEntries.erase(section) == 0) break;
            SANITY_CHECK(clearResolvedCache());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::setParent(const std::shared_ptr<Ini>& parentIni)
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(parentIni);
            SANITY_CHECK(! fParentIni);
            // clang-format on
            bool leadsBack = false;
            for (const Ini* ini = parentIni.get(); ini && !leadsBack; ini = ini->fParentIni.get())
                leadsBack = ini == this;
            if (leadsBack) {
                LOG_ERROR("the parent's chain of parents leads back to this Ini");
                break;
            }
            fParentIni = parentIni;
            SANITY_CHECK(clearResolvedCache());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// ---- the whole

std::string Ini::toString() const
{
    std::string retVal;
    try {
        do {
            std::string text;
            for (const auto& [sectionName, entries] : fEntries) {
                text += "[" + sectionName + "]\r\n";
                for (const auto& [entryName, entry] : entries)
                    text += entryName + "=" + entry.fRawEntry + "\r\n";
            }
            retVal = std::move(text);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

uint64_t Ini::hash() const
{
    uint64_t retVal = 0;
    try {
        do {
            uint64_t hash = kFnvOffsetBasis;
            for (const auto& [sectionName, entries] : fEntries) {
                // Marks where a section starts, so that an entry cannot pass for a section name.
                hashByte(hash, '[');
                hashString(hash, sectionName);
                for (const auto& [entryName, entry] : entries) {
                    hashString(hash, entryName);
                    hashString(hash, entry.fRawEntry);
                }
            }
            retVal = hash;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool Ini::getIsModified() const
{
    return false;
}

bool Ini::operator==(const Ini& other) const
{
    return hash() == other.hash();
}

}  // namespace Qfn
