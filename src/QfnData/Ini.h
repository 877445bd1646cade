#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "QfnData/IIni.h"
#include "QfnData/IniEntry.h"

namespace Qfn {

// Sections of named entries, each a list of strings, read from ini text. Entries may refer to
// placeholders ${NAME} (section "placeholders"), may have variants per platform (key.linux) and per
// node (key.<node name>), and an Ini may fall back on a parent Ini. Names are case-sensitive; entries
// before the first section header belong to the section with the empty name.
class Ini : public virtual IIni {
public:
    // The section whose entries define the placeholders.
    static const std::string kPlaceholderSection;
    // The suffix of the keys that hold this platform's variant of an entry.
    static const std::string kPlatformIniSuffix;
    // The suffixes of all platforms, this one included.
    static const std::vector<std::string> kPlatformIniSuffixes;

    // An empty Ini.
    static std::shared_ptr<Ini> factory();
    // "." and the node name, or empty: picks the per-node variants of entries. The coordinator sets it.
    static const std::string& getNodeIniSuffix() { return fNodeIniSuffix; }
    static void setNodeIniSuffix(const std::string& suffix) { fNodeIniSuffix = suffix; }
    // An Ini holding the parsed text.
    static std::shared_ptr<Ini> factory(const std::string& iniStr);

    Ini() = default;
    explicit Ini(const std::string& iniStr);
    ~Ini() override = default;

    // ---- IIni

    // Sets the placeholder ${name} to the text value (one element, as it stands).
    bool definePlaceholder(const std::string& name, const std::string& value) const override;
    // The element numbered from 0 of the resolved entry; defaultValue when there is none.
    std::string getResolvedEntry(const std::string& section, const std::string& entry, uint64_t index,
                                 const std::string& defaultValue = "") const override;
    // The canonical quoted form of the resolved entry; defaultValue when there is no entry.
    std::string getRawResolvedEntry(const std::string& section, const std::string& entry,
                                    const std::string& defaultValue = "") const override;
    // The resolved elements; empty when there is no entry. Valid until the next change.
    const std::vector<std::string>& getResolvedEntryList(const std::string& section,
                                                         const std::string& entry) const override;

    // ---- placeholders and the resolved cache

    // The value with every ${NAME} of a known placeholder replaced, recursively; names in seen are
    // left as they stand, which ends cycles. With isListElement the value is one element's text and a
    // one-element placeholder goes in as its plain text; otherwise the value is the text of a whole
    // entry and each placeholder goes in as its quoted form, so that parsing the result gives the list.
    virtual std::string handlePlaceholders(const std::string& value, std::unordered_set<std::string>& seen,
                                           bool isListElement) const;
    // Forgets the resolved form of one entry, of one section, or of all.
    virtual bool clearResolvedEntry(const std::string& section, const std::string& entry) const;
    virtual bool clearResolvedSection(const std::string& section) const;
    virtual bool clearResolvedCache() const;
    // The entry (with suffixes and parents) with placeholders resolved and lists expanded in place;
    // an empty entry when there is none. Valid until the next change.
    virtual const IniEntry& getCachedResolvedEntry(const std::string& section,
                                                   const std::string& entry) const;
    // The first resolved element; defaultValue when there is none.
    virtual std::string getResolvedEntry(const std::string& section, const std::string& entry,
                                         const std::string& defaultValue = "") const;
    // The number of resolved elements; 0 when there is no entry.
    virtual uint64_t getResolvedEntryCount(const std::string& section, const std::string& entry) const;

    // ---- entries as written

    // The canonical quoted form of the entry, looked up with the node suffix, then the platform
    // suffix, then the plain key, then in the parent; defaultValue when none has it.
    virtual std::string getRawEntry(const std::string& section, const std::string& entry,
                                    const std::string& defaultValue = "") const;
    // The first element (or the one numbered index from 0), same lookup; defaultValue when there is
    // no such element.
    virtual std::string getEntry(const std::string& section, const std::string& entry,
                                 const std::string& defaultValue = "") const;
    virtual std::string getEntry(const std::string& section, const std::string& entry, uint64_t index,
                                 const std::string& defaultValue = "") const;
    // The number of elements, 0 when there is no entry; and the elements themselves.
    virtual uint64_t getEntryCount(const std::string& section, const std::string& entry) const;
    virtual std::vector<std::string> getEntryList(const std::string& section, const std::string& entry) const;
    // The entry names of a section here, sorted, platform suffixes taken off, other platforms' left out.
    virtual std::vector<std::string> getEntryNames(const std::string& section) const;
    // The section names here (not the parent's), sorted.
    virtual std::vector<std::string> getSectionNames() const;

    // ---- changes (each one empties the resolved cache)

    // Replaces everything by the entries of the text; true for all text.
    virtual bool parse(const std::string& iniStr);
    // The entry becomes the one element value, as it stands (no quotes are parsed).
    virtual bool setEntry(const std::string& section, const std::string& entry, const std::string& value);
    // Sets one element, extending the list with empty elements as needed.
    virtual bool setEntry(const std::string& section, const std::string& entry, uint64_t index,
                          const std::string& value);
    virtual bool setEntryList(const std::string& section, const std::string& entry,
                              const std::vector<std::string>& list);
    // Removes one element, one entry (and its section when that was the last one), or one section.
    virtual bool clear(const std::string& section, const std::string& entry, uint64_t index);
    virtual bool clear(const std::string& section, const std::string& entry);
    virtual bool clear(const std::string& section);
    // Sets the Ini to fall back on for what this one lacks; once only, never null.
    virtual bool setParent(const std::shared_ptr<Ini>& parentIni);

    // ---- the whole

    // Sections sorted, each "[name]" and its entries sorted as "name=raw form", lines ending in CR LF.
    virtual std::string toString() const;
    // FNV-1a (64-bit) over the section names, entry names and raw forms in sorted order.
    virtual uint64_t hash() const;
    // Whether the source of the entries changed since they were read; an Ini in memory has none.
    virtual bool getIsModified() const;
    // Equal hashes.
    virtual bool operator==(const Ini& other) const;

    // The lines of the last parse that were no section, entry or comment, with their numbers from 1;
    // they are skipped, and whoever knows the file's name warns of them.
    const std::vector<std::pair<uint64_t, std::string>>& getMalformedLines() const { return fMalformedLines; }

private:
    static std::string fNodeIniSuffix;
    std::vector<std::pair<uint64_t, std::string>> fMalformedLines;
    using Section = std::map<std::string, IniEntry>;

    // The entry the lookups find: node variant, platform variant, plain key, then the parent's.
    const IniEntry* findEntry(const std::string& section, const std::string& entry) const;
    // Begins a resolution: collects the placeholder names of this Ini and its parents (suffixes taken
    // off) and renews the budget. Called with no substitution running.
    bool startPlaceholderResolution() const;
    // The elements with placeholders resolved; an element that is just a list placeholder becomes
    // that list's elements.
    std::vector<std::string> resolveElements(const std::vector<std::string>& elements,
                                             std::unordered_set<std::string>& seen) const;
    // Takes expansions and bytes of substituted text from the budget of the resolution under way;
    // false (and a warning, once) when that is spent or nested too deeply: the placeholder then
    // stays as it stands.
    bool spendPlaceholderBudget(const std::string& name, uint64_t expansions, uint64_t bytes) const;
    // The elements of the placeholder, resolved with name added to seen; false when the budget is
    // spent and the placeholder has to stay as it is.
    bool resolvePlaceholder(const std::string& name, std::unordered_set<std::string>& seen,
                            std::vector<std::string>& elements) const;
    // handlePlaceholders; when wholeList is given and the element is nothing but one placeholder of
    // several elements, those elements go to wholeList and the text is empty.
    std::string substitutePlaceholders(const std::string& value, std::unordered_set<std::string>& seen,
                                       bool isListElement, std::vector<std::string>* wholeList) const;

    std::string fIniStr;
    // definePlaceholder changes entries through const references.
    mutable std::map<std::string, Section> fEntries;
    mutable std::map<std::string, Section> fResolvedCache;
    std::shared_ptr<Ini> fParentIni;
    // The resolution under way, begun by the outermost substitution.
    struct PlaceholderResolution {
        std::vector<std::pair<std::string, std::string>> fNamesAndPatterns;
        uint64_t fExpansionsLeft = 0;
        uint64_t fBytesLeft = 0;
        bool fIsSpent = false;
        // Substitutions running, the outermost included.
        uint64_t fDepth = 0;
    };
    mutable PlaceholderResolution fResolution;
};

}  // namespace Qfn
