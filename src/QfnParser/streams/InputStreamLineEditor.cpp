#include "QfnParser/streams/InputStreamLineEditor.h"

#include "QfnLogger/Check.h"

#if QFN_HAVE_LIBEDIT

#include <editline/readline.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "QfnUtils/Console.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Signals.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

std::weak_ptr<InputStreamLineEditor> gEditor;
// The editor whose line libedit is reading, for the call-back that hands the line over.
InputStreamLineEditor* gEditing = nullptr;
// Empty when there is no history file, or when writing it failed once.
std::string gHistoryPath;
std::string gLastRemembered;

// libedit reads multi-byte keys by the locale's character type: a locale without one (C, POSIX)
// is taken as UTF-8, the encoding of this program's strings.
void useUtf8Keys()
{
    const char* name = std::setlocale(LC_CTYPE, "");
    if (name == nullptr || std::strcmp(name, "C") == 0 || std::strcmp(name, "POSIX") == 0)
        std::setlocale(LC_CTYPE, "C.UTF-8");
}

// $XDG_STATE_HOME/quillferngw/history (else below $HOME/.local/state), its folder made when
// missing; empty when there is no such folder.
std::string historyFilePath()
{
    std::string retVal;
    try {
        do {
            const std::string& statePath = Dirs::getUserStatePath();
            SANITY_CHECK(!statePath.empty());
            const std::string folder = statePath + "quillferngw/";
            SANITY_CHECK(Dirs::mkDir(folder, DirRecurse::RECURSE));
            retVal = folder + "history";
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace

std::shared_ptr<InputStreamLineEditor> InputStreamLineEditor::factory()
{
    std::shared_ptr<InputStreamLineEditor> retVal;
    try {
        do {
            retVal = gEditor.lock();
            if (retVal) break;
            SANITY_CHECK(isAvailable());
            retVal.reset(new InputStreamLineEditor());
            gEditor = retVal;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamLineEditor::isAvailable()
{
    return Console::isTerminal();
}

InputStreamLineEditor::~InputStreamLineEditor()
{
    try {
        // Ended with a line under way (the coordinator stopping): the shell's prompt gets a line
        // of its own.
        if (fIsEditing && endLine()) {
            std::fputs("\n", stdout);
            std::fflush(stdout);
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool InputStreamLineEditor::takePrompt(const std::string& text)
{
    fPrompt = text;
    return true;
}

bool InputStreamLineEditor::initialize()
{
    static bool isInitialized = false;
    bool retVal = false;
    try {
        do {
            retVal = isInitialized;
            if (isInitialized) break;
            // Recorded before libedit changes anything, so that every way out can put it back.
            SANITY_CHECK(Console::saveTerminal());
            useUtf8Keys();
            // SIGINT, SIGTERM and the rest stay with the program's own handlers.
            rl_catch_signals = 0;
            rl_catch_sigwinch = 0;
            rl_readline_name = "quillferngw";
            SANITY_CHECK(rl_initialize() == 0);
            stifle_history(kHistoryLines);
            gHistoryPath = historyFilePath();
            if (!gHistoryPath.empty() && Dirs::fileExists(gHistoryPath)) {
                EXPECTED(read_history(gHistoryPath.c_str()) == 0);
            }
            isInitialized = true;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

int InputStreamLineEditor::pollKey()
{
    int retVal = kNothingYet;
    try {
        do {
            if (fNext >= fLine.size() && !fIsInputEnded) {
                // An editor that cannot go on ends the input rather than fail at every poll.
                const bool edited = edit();
                fIsInputEnded = fIsInputEnded || !edited;
                SANITY_CHECK(edited);
            }
            if (fNext < fLine.size()) {
                retVal = static_cast<unsigned char>(fLine[fNext++]);
            } else if (fIsInputEnded) {
                retVal = kEndOfInput;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool InputStreamLineEditor::edit()
{
    bool retVal = false;
    try {
        do {
            if (!fIsEditing) {
                SANITY_CHECK(beginLine());
            }
            if (Signals::takeInputInterrupt()) {
                retVal = cancelLine();
                break;
            }
            const Console::InputState state = Console::pollInput();
            if (state == Console::InputState::Closed) {
                // The terminal hung up: nothing more will come.
                fIsInputEnded = true;
                retVal = endLine();
                break;
            }
            // One key; when it ends the line, onLine() has taken the line before this returns.
            if (state == Console::InputState::Ready) rl_callback_read_char();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// libedit draws the prompt and puts the terminal in its editing mode until the line is done.
bool InputStreamLineEditor::beginLine()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(initialize());
            gEditing = this;
            fIsEditing = true;
            rl_callback_handler_install(fPrompt.c_str(), onLine);
            Signals::setInterruptCancelsInput(true);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Ctrl-C: what was typed is dropped, and a fresh prompt follows on a line of its own.
bool InputStreamLineEditor::cancelLine()
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(endLine());
            std::fputs("^C\n", stdout);
            std::fflush(stdout);
            SANITY_CHECK(beginLine());
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// libedit drops the line it was editing and gives the terminal back its usual modes.
bool InputStreamLineEditor::endLine()
{
    if (!fIsEditing) return true;
    Signals::setInterruptCancelsInput(false);
    rl_callback_handler_remove();
    fIsEditing = false;
    gEditing = nullptr;
    return true;
}

void InputStreamLineEditor::onLine(char* line)
{
    InputStreamLineEditor* editor = gEditing;
    gEditing = nullptr;
    if (editor) {
        editor->takeLine(line);
    } else {
        std::free(line);
    }
}

// No line means Ctrl-D on an empty one. libedit has given the terminal its usual modes back;
// while the line runs, keys typed ahead wait as they are, neither echoed nor taken as the end of
// input by the terminal, until the next line reads them.
bool InputStreamLineEditor::takeLine(char* line)
{
    bool retVal = false;
    try {
        do {
            Signals::setInterruptCancelsInput(false);
            fIsEditing = false;
            if (line == nullptr) {
                fIsInputEnded = true;
                std::fputs("\n", stdout);
                std::fflush(stdout);
                retVal = true;
                break;
            }
            std::string text(line);
            std::free(line);
            fLine = text + "\n";
            fNext = 0;
            SANITY_CHECK(Console::resumeRawInput());
            retVal = remember(text);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The history file is written after every line, so that a line survives however the process ends.
bool InputStreamLineEditor::remember(const std::string& line)
{
    bool retVal = false;
    try {
        do {
            retVal = true;
            // Blank lines, and a line typed again at once, are not worth recalling.
            if (line.find_first_not_of(" \t") == std::string::npos || line == gLastRemembered) break;
            add_history(line.c_str());
            gLastRemembered = line;
            if (gHistoryPath.empty()) break;
            if (write_history(gHistoryPath.c_str()) != 0) {
                LOG_WARNING(Utils::stringWithFormat("cannot write the history to %s", gHistoryPath.c_str()));
                gHistoryPath.clear();
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn

#else

namespace Qfn {

// Built without libedit: the plain console serves, and no editor is ever made.
std::shared_ptr<InputStreamLineEditor> InputStreamLineEditor::factory()
{
    return nullptr;
}

bool InputStreamLineEditor::isAvailable()
{
    return false;
}

InputStreamLineEditor::~InputStreamLineEditor() = default;

bool InputStreamLineEditor::takePrompt(const std::string&)
{
    return false;
}

int InputStreamLineEditor::pollKey()
{
    return kEndOfInput;
}

}  // namespace Qfn

#endif
