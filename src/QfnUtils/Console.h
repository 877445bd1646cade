#pragma once

namespace Qfn::Console {

// The keyboard side of the console: raw, silent reads while the console stream is in use, and the
// terminal put back as it was when the process exits.
bool beginRawInput();
// The same modes set again, after another user of the terminal (the line editor) changed them.
bool resumeRawInput();
// Standard input and standard output are both terminals: someone types and watches.
bool isTerminal();
// Records the terminal's modes once, before anything changes them, and puts them back at exit;
// false when standard input is no terminal.
bool saveTerminal();
// Puts back the modes saveTerminal() recorded. Safe in a signal handler: it makes one tcsetattr call.
void restoreTerminal();
// What standard input holds now, found without waiting. Closed: the terminal hung up.
enum class InputState { Empty, Ready, Closed };
InputState pollInput();
// True when standard input has a byte to read now, or has ended; never waits.
bool isKeyWaiting();
// One byte from standard input; -1 at its end or on a read error.
int readKey();

}  // namespace Qfn::Console
