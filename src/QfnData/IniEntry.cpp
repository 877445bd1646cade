#include "QfnData/IniEntry.h"

#include <utility>

#include "QfnLogger/Check.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

enum class ValueState { Start, AfterQuote, Unquoted, Quoted, AfterBackslash };

bool isBlankOrTab(char c)
{
    return c == ' ' || c == '\t';
}

}  // namespace

IniEntry::IniEntry(const std::string& value)
{
    parseIniValue(value);
}

IniEntry::IniEntry(std::vector<std::string> entryList) : fEntryList(std::move(entryList))
{
    collapseEntryList();
}

bool IniEntry::parseIniValue(const std::string& value)
{
    bool retVal = false;
    try {
        do {
            fEntryList.clear();
            ValueState state = ValueState::Start;
            std::string current;
            // Blanks inside an unquoted element wait here until a later character shows they are inner.
            std::string pending;
            for (char c : value) {
                switch (state) {
                    case ValueState::Start:
                    case ValueState::AfterQuote:
                        if (isBlankOrTab(c)) break;
                        if (c == '"') {
                            state = ValueState::Quoted;
                        } else if (c == ',') {
                            // A comma right after a quoted element only separates; anywhere else at the
                            // start of an element it stands for an empty one.
                            if (state == ValueState::Start) fEntryList.push_back(current);
                            current.clear();
                            state = ValueState::Start;
                        } else {
                            current += c;
                            state = ValueState::Unquoted;
                        }
                        break;
                    case ValueState::Unquoted:
                        if (isBlankOrTab(c)) {
                            pending += c;
                        } else {
                            current += pending;
                            current += c;
                            pending.clear();
                        }
                        break;
                    case ValueState::Quoted:
                        if (c == '"') {
                            fEntryList.push_back(Utils::decodeString(current));
                            current.clear();
                            state = ValueState::AfterQuote;
                        } else {
                            current += c;
                            if (c == '\\') state = ValueState::AfterBackslash;
                        }
                        break;
                    case ValueState::AfterBackslash:
                        current += c;
                        state = ValueState::Quoted;
                        break;
                }
            }
            // A cut-off element is kept as it stands: not decoded, without its trailing blanks.
            if (state == ValueState::Unquoted || state == ValueState::Quoted ||
                state == ValueState::AfterBackslash)
                fEntryList.push_back(current);
            SANITY_CHECK(collapseEntryList());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool IniEntry::collapseEntryList()
{
    bool retVal = false;
    try {
        do {
            std::string raw;
            for (const std::string& element : fEntryList) {
                if (!raw.empty()) raw += ',';
                raw += Utils::enquoteString(element);
            }
            fRawEntry = std::move(raw);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
