#include "QfnParser/streams/InputStreamStdIn.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>

#include "QfnLogger/Check.h"

namespace Qfn {

namespace {

constexpr size_t kReadSize = 4096;

}  // namespace

std::shared_ptr<InputStreamStdIn> InputStreamStdIn::factory()
{
    std::shared_ptr<InputStreamStdIn> retVal;
    try {
        retVal.reset(new InputStreamStdIn());
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int InputStreamStdIn::getChar()
{
    int retVal = kEndOfInput;
    try {
        do {
            if (fIsAtEOF) break;
            if (fNext < fBuffer.size()) {
                retVal = static_cast<unsigned char>(fBuffer[fNext]);
                break;
            }
            // Nothing buffered: take what standard input holds now, without waiting for more.
            struct pollfd entry = {STDIN_FILENO, POLLIN, 0};
            const int ready = ::poll(&entry, 1, 0);
            if (ready == 0 || (ready < 0 && errno == EINTR)) {
                retVal = kNothingYet;
                break;
            }
            char chunk[kReadSize];
            const ssize_t count = ready > 0 ? ::read(STDIN_FILENO, chunk, sizeof chunk) : -1;
            if (count < 0 && (errno == EAGAIN || errno == EINTR)) {
                retVal = kNothingYet;
                break;
            }
            if (count <= 0) {
                setEOF();
                break;
            }
            fBuffer.assign(chunk, static_cast<size_t>(count));
            fNext = 0;
            retVal = static_cast<unsigned char>(fBuffer[0]);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamStdIn::advance()
{
    if (fNext < fBuffer.size()) {
        ++fNext;
        ++fPos;
    }
    return true;
}

}  // namespace Qfn
