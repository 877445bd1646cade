#include "QfnUtils/Console.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace Qfn::Console {

namespace {

volatile sig_atomic_t gIsSaved = 0;
volatile sig_atomic_t gIsRaw = 0;
struct termios gSavedTermios;

}  // namespace

bool saveTerminal()
{
    if (gIsSaved) return true;
    if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &gSavedTermios) != 0) return false;
    gIsSaved = 1;
    std::atexit(restoreTerminal);
    return true;
}

bool beginRawInput()
{
    return gIsRaw || resumeRawInput();
}

bool resumeRawInput()
{
    if (!saveTerminal()) return false;
    struct termios raw = gSavedTermios;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0) return false;
    gIsRaw = 1;
    return true;
}

bool isTerminal()
{
    return isatty(STDIN_FILENO) && isatty(STDOUT_FILENO);
}

void restoreTerminal()
{
    if (!gIsSaved) return;
    tcsetattr(STDIN_FILENO, TCSANOW, &gSavedTermios);
    gIsRaw = 0;
}

InputState pollInput()
{
    struct pollfd entry = {STDIN_FILENO, POLLIN, 0};
    if (poll(&entry, 1, 0) <= 0) return InputState::Empty;
    if ((entry.revents & (POLLHUP | POLLERR | POLLNVAL)) != 0) return InputState::Closed;
    return (entry.revents & POLLIN) != 0 ? InputState::Ready : InputState::Empty;
}

bool isKeyWaiting()
{
    return pollInput() != InputState::Empty;
}

int readKey()
{
    unsigned char byte = 0;
    ssize_t count;
    do {
        count = read(STDIN_FILENO, &byte, 1);
    } while (count < 0 && errno == EINTR);
    return count == 1 ? byte : -1;
}

}  // namespace Qfn::Console
