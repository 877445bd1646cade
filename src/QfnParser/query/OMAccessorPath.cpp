// OMAccessor: the path grammar, from text to a chain of MatchNode segments.
#include <cctype>

#include "QfnLogger/Check.h"
#include "QfnParser/query/MatchNodeCompareMatch.h"
#include "QfnParser/query/MatchNodeExactMatch.h"
#include "QfnParser/query/MatchNodeFunction.h"
#include "QfnParser/query/MatchNodeRange.h"
#include "QfnParser/query/MatchNodeRegExp.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

constexpr size_t kMaxSegmentCount = 1000;

bool isPatternStart(char c)
{
    return c == '$' || c == '*' || c == '+' || c == '?' || c == '{';
}

bool isAllDigits(const std::string& text)
{
    if (text.empty() || text.size() > 19) return false;
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    return true;
}

// The key a plain segment names: each escape gives its byte as it stands.
std::string unescapeKey(const std::string& text)
{
    std::string retVal;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\\' && i + 1 < text.size()) ++i;
        retVal.push_back(text[i]);
    }
    return retVal;
}

// A regular expression keeps its escapes, but an escaped separator is just the separator.
std::string unescapeSeparators(const std::string& text)
{
    return Utils::replaceSubStr(text, "\\/", "/");
}

// `[` T `]`: all indices, one index or key, or an inclusive range.
std::shared_ptr<MatchNode> bracketSegment(const std::string& inside, bool inverted)
{
    std::shared_ptr<MatchNode> retVal;
    do {
        const std::string text = Utils::trim(inside);
        if (text.empty()) {
            retVal = MatchNodeRange::factory(0, ~uint64_t(0), inverted);
            break;
        }
        if (isAllDigits(text)) {
            retVal = MatchNodeCompareMatch::factory(BinOp::EQ, text, inverted);
            break;
        }
        const size_t dash = text.find('-');
        if (dash != std::string::npos && isAllDigits(Utils::trim(text.substr(0, dash))) &&
            isAllDigits(Utils::trim(text.substr(dash + 1)))) {
            retVal = MatchNodeRange::factory(Utils::toSize_t(Utils::trim(text.substr(0, dash))),
                                             Utils::toSize_t(Utils::trim(text.substr(dash + 1))), inverted);
            break;
        }
        std::string key = text;
        if (key.size() >= 2 && (key.front() == '"' || key.front() == '\'') && key.back() == key.front())
            key = key.substr(1, key.size() - 2);
        retVal = MatchNodeCompareMatch::factory(BinOp::EQ, unescapeKey(key), inverted);
    } while (false);
    return retVal;
}

// One segment's MatchNode; null (and a log line) for a segment that does not compile.
std::shared_ptr<MatchNode> compileSegment(const std::string& segment)
{
    std::shared_ptr<MatchNode> retVal;
    try {
        do {
            if (segment.empty()) {
                LOG_ERROR("empty segment");
                break;
            }
            std::string text = segment;
            const bool inverted = text.front() == '!';
            if (inverted) {
                text.erase(0, 1);
                if (text.empty()) {
                    LOG_ERROR("empty inverted segment");
                    break;
                }
            }
            if (isPatternStart(text.front())) {
                size_t minLevel = 1;
                size_t maxLevel = 1;
                std::string regExpStr;
                if (!OMAccessor::extractRegExpStr(text, minLevel, maxLevel, regExpStr)) {
                    LOG_ERROR("invalid regexp segment");
                    break;
                }
                retVal =
                    MatchNodeRegExp::factory(unescapeSeparators(regExpStr), minLevel, maxLevel, inverted);
                break;
            }
            if (text.size() > 2 && text.ends_with("()")) {
                retVal = MatchNodeFunction::factory(unescapeKey(text.substr(0, text.size() - 2)));
                break;
            }
            if (text.front() == '[' && text.back() == ']' && !text.ends_with("\\]")) {
                retVal = bracketSegment(text.substr(1, text.size() - 2), inverted);
                break;
            }
            BinOp binOp = BinOp::EQ;
            size_t prefixLength = 0;
            if (text.starts_with("<=") || text.starts_with("=<")) {
                binOp = BinOp::LE;
                prefixLength = 2;
            } else if (text.starts_with(">=") || text.starts_with("=>")) {
                binOp = BinOp::GE;
                prefixLength = 2;
            } else if (text.starts_with("<")) {
                binOp = BinOp::LT;
                prefixLength = 1;
            } else if (text.starts_with(">")) {
                binOp = BinOp::GT;
                prefixLength = 1;
            } else if (text.starts_with("=")) {
                prefixLength = 1;
            }
            const std::string value = unescapeKey(text.substr(prefixLength));
            if (value.empty()) {
                LOG_ERROR("empty comparison segment");
                break;
            }
            retVal = MatchNodeCompareMatch::factory(binOp, value, inverted);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace

bool OMAccessor::parseReferenceSegments(const std::string& path, std::vector<std::string>& segments)
{
    bool retVal = false;
    try {
        do {
            segments.clear();
            std::string current;
            bool isPattern = false;
            bool failed = false;
            // Ends the segment read so far; an empty one between separators is dropped.
            auto endSegment = [&]() {
                std::string segment = Utils::trim(current);
                current.clear();
                isPattern = false;
                if (segment.empty()) return true;
                if (segments.size() >= kMaxSegmentCount) {
                    LOG_ERROR("max segment count reached");
                    return false;
                }
                segments.push_back(std::move(segment));
                return true;
            };
            for (size_t i = 0; i < path.size() && !failed; ++i) {
                const char c = path[i];
                if (c == '\\') {
                    current.push_back(c);
                    if (i + 1 < path.size()) current.push_back(path[++i]);
                    continue;
                }
                if (c == '/') {
                    failed = !endSegment();
                    continue;
                }
                const std::string soFar = Utils::trim(current);
                if (soFar.empty() || soFar == "!") {
                    if (isPatternStart(c)) isPattern = true;
                }
                if (c == '[' && !isPattern && !soFar.empty() && soFar != "!") {
                    failed = !endSegment();
                }
                current.push_back(c);
            }
            if (failed) break;
            SANITY_CHECK(endSegment());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::string OMAccessor::parseReference(const std::string& path, size_t position)
{
    std::string retVal;
    try {
        do {
            std::vector<std::string> segments;
            SANITY_CHECK(parseReferenceSegments(path, segments));
            for (size_t i = position; i < segments.size(); ++i) {
                if (i > position) retVal.push_back('/');
                retVal += segments[i];
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool OMAccessor::extractRegExpStr(const std::string& segment, size_t& minLevel, size_t& maxLevel,
                                  std::string& regExpStr)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(!segment.empty());
            size_t start = 1;
            switch (segment.front()) {
                case '?':
                    minLevel = 0;
                    maxLevel = 1;
                    break;
                case '$':
                    minLevel = 1;
                    maxLevel = 1;
                    break;
                case '*':
                    minLevel = 0;
                    maxLevel = MatchNode::kUnlimitedLevels;
                    break;
                case '+':
                    minLevel = 1;
                    maxLevel = MatchNode::kUnlimitedLevels;
                    break;
                case '{': {
                    // Digits collect into a number; ',' makes it the minimum, '}' ends the bounds.
                    size_t number = 0;
                    bool sawComma = false;
                    bool sawDigit = false;
                    bool closed = false;
                    bool bad = false;
                    minLevel = 1;
                    for (; start < segment.size() && !closed && !bad; ++start) {
                        const char c = segment[start];
                        if (std::isdigit(static_cast<unsigned char>(c))) {
                            if (number > 100000) bad = true;
                            number = number * 10 + static_cast<size_t>(c - '0');
                            sawDigit = true;
                        } else if (c == ',' && !sawComma) {
                            minLevel = number;
                            number = 0;
                            sawComma = true;
                        } else if (c == '}') {
                            closed = true;
                        } else {
                            bad = true;
                        }
                    }
                    if (bad || !closed) break;
                    maxLevel = number;
                    if (!sawComma) minLevel = sawDigit ? number : 1;
                    if (maxLevel == 0) maxLevel = 1;
                    break;
                }
                default:
                    LOG_ERROR("unexpected first char");
                    start = std::string::npos;
                    break;
            }
            if (start == std::string::npos || start > segment.size()) break;
            if (segment.front() == '{' && segment[start - 1] != '}') break;
            regExpStr = segment.substr(start);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<MatchNode> OMAccessor::parseReference(const std::string& path)
{
    std::shared_ptr<MatchNode> retVal;
    try {
        do {
            std::vector<std::string> segments;
            SANITY_CHECK(parseReferenceSegments(path, segments));
            SANITY_CHECK(!segments.empty());
            std::shared_ptr<MatchNode> head;
            std::shared_ptr<MatchNode> last;
            bool failed = false;
            for (const auto& segment : segments) {
                std::shared_ptr<MatchNode> node = compileSegment(segment);
                if (!node) {
                    failed = true;
                    break;
                }
                if (last && !MatchNode::setParent(node, last)) {
                    failed = true;
                    break;
                }
                if (!head) head = node;
                last = node;
            }
            if (failed) break;
            retVal = head;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
