#include "QfnAddress/URLParts.h"

#include "QfnLogger/Check.h"
#include "QfnObject/GUIDClass.h"

namespace Qfn {

namespace {

enum class URLState { START, SCHEME, SLASH1, SLASH2, HOST, COORDINATOR, INDICES, SECOND_GUID, TAIL };

}  // namespace

URLParts URLParts::parse(const std::string& url)
{
    URLParts retVal;
    try {
        do {
            URLState state = URLState::START;
            std::string element;
            bool isSlashPending = false;
            for (char c : url) {
                switch (state) {
                    case URLState::START:
                        if (c == ' ' || c == '\t' || c == '\r' || c == '\n') break;
                        if (c == '/') {
                            state = URLState::HOST;
                            break;
                        }
                        retVal.scheme += c;
                        state = URLState::SCHEME;
                        break;
                    case URLState::SCHEME:
                        if (c == ':') {
                            retVal.isSchemeComplete = true;
                            state = URLState::SLASH1;
                        } else {
                            retVal.scheme += c;
                        }
                        break;
                    case URLState::SLASH1:
                        if (c == '/') {
                            state = URLState::SLASH2;
                            break;
                        }
                        retVal.host += c;
                        state = URLState::HOST;
                        break;
                    case URLState::SLASH2:
                        if (c != '/') retVal.host += c;
                        state = URLState::HOST;
                        break;
                    case URLState::HOST:
                        if (c != '/') {
                            retVal.host += c;
                        } else if (GUIDClass::isGUIDStr(retVal.host)) {
                            retVal.isResolvedForm = true;
                            state = URLState::SECOND_GUID;
                        } else {
                            state = URLState::COORDINATOR;
                        }
                        break;
                    case URLState::COORDINATOR:
                        if (c == '/')
                            state = URLState::INDICES;
                        else
                            retVal.coordinator += c;
                        break;
                    case URLState::INDICES:
                        if (c != '/') {
                            element += c;
                        } else if (!element.empty()) {
                            retVal.indices.push_back(std::move(element));
                            element.clear();
                        } else {
                            state = URLState::TAIL;
                        }
                        break;
                    case URLState::SECOND_GUID:
                        if (c == '/')
                            state = URLState::TAIL;
                        else
                            retVal.secondGUID += c;
                        break;
                    case URLState::TAIL:
                        if (c == '/') {
                            isSlashPending = true;
                            break;
                        }
                        if (isSlashPending && !retVal.tail.empty()) retVal.tail += '/';
                        isSlashPending = false;
                        retVal.tail += c;
                        break;
                }
            }
            if (!element.empty()) retVal.indices.push_back(std::move(element));
            // A GUID with nothing behind it still makes the form a resolved one, with its second part
            // missing.
            if (state == URLState::HOST && GUIDClass::isGUIDStr(retVal.host)) retVal.isResolvedForm = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
