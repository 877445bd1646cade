#pragma once

#include <memory>
#include <string>

#include "QfnParser/streams/InputStreamConsole.h"

namespace Qfn {

// The keyboard at a terminal, read a line at a time through libedit: the line is edited in place
// (cursor keys, home and end, deleting over UTF-8 text) and recalled from a history kept between
// runs. libedit gets one key whenever the poll finds input, so the reading thread never waits;
// the finished line is then handed on a byte at a time, ended by '\n'. Ctrl-C drops the line
// being typed and Ctrl-D on an empty line ends the input.
class InputStreamLineEditor : public InputStreamConsole {
public:
    // libedit keeps one line for the process, so there is one editor: every caller shares it.
    static std::shared_ptr<InputStreamLineEditor> factory();
    // Built with libedit, and standard input is a terminal.
    static bool isAvailable();
    static constexpr int kHistoryLines = 1000;

    ~InputStreamLineEditor() override;
    // libedit shows what is typed.
    bool isEchoing() const override { return false; }
    bool takePrompt(const std::string& text) override;

protected:
    int pollKey() override;

private:
    InputStreamLineEditor() = default;
    // libedit set up once: signals left to the program, UTF-8 keys, the history file read.
    static bool initialize();
    static void onLine(char* line);
    // One step: the prompt drawn when no line is under way, a cancelled line dropped, a key read.
    bool edit();
    bool beginLine();
    bool cancelLine();
    bool endLine();
    bool takeLine(char* line);
    static bool remember(const std::string& line);

    std::string fPrompt;
    // The finished line with its '\n', and how much of it has been handed on.
    std::string fLine;
    size_t fNext = 0;
    bool fIsEditing = false;
    bool fIsInputEnded = false;
};

}  // namespace Qfn
