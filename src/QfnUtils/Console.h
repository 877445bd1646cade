#pragma once

namespace Qfn::Console {

// The keyboard side of the console: raw, silent reads while the console stream is in use, and the
// terminal put back as it was when the process exits.
bool beginRawInput();
// Safe in a signal handler: it makes one tcsetattr call.
void restoreTerminal();
// True when standard input has a byte to read now; never waits.
bool isKeyWaiting();
// One byte from standard input; -1 at its end or on a read error.
int readKey();

}  // namespace Qfn::Console
