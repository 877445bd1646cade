#include "QfnUtils/Console.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>

namespace Qfn::Console {

namespace {

volatile sig_atomic_t gIsRaw = 0;
bool gIsRestoreRegistered = false;
struct termios gSavedTermios;

}  // namespace

bool beginRawInput()
{
    if (gIsRaw) return true;
    if (!isatty(STDIN_FILENO)) return false;
    if (tcgetattr(STDIN_FILENO, &gSavedTermios) != 0) return false;
    struct termios raw = gSavedTermios;
    raw.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    raw.c_cc[VMIN] = 1;
    raw.c_cc[VTIME] = 0;
    if (tcsetattr(STDIN_FILENO, TCSANOW, &raw) != 0) return false;
    gIsRaw = 1;
    if (!gIsRestoreRegistered) gIsRestoreRegistered = std::atexit(restoreTerminal) == 0;
    return true;
}

void restoreTerminal()
{
    if (!gIsRaw) return;
    tcsetattr(STDIN_FILENO, TCSANOW, &gSavedTermios);
    gIsRaw = 0;
}

bool isKeyWaiting()
{
    struct pollfd entry = {STDIN_FILENO, POLLIN, 0};
    int ready = poll(&entry, 1, 0);
    return ready > 0 && (entry.revents & (POLLIN | POLLHUP | POLLERR)) != 0;
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
