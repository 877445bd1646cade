#pragma once

#include <string>

#include "QfnParser/Forward.h"
#include "QfnParser/streams/InputStream.h"
#include "QfnParser/streams/OutputStream.h"

namespace Qfn {

// The interactive line reader: prompts, echoes, handles backspace, and keeps the present line so
// that the parser reads it character by character and can go back within it.
class IOStreamPrompted : public InputStream, public OutputStream {
public:
    // Null arguments become the coordinator's default input and output.
    static std::shared_ptr<IOStreamPrompted> factory(std::shared_ptr<InputStream> inputStream,
                                                     std::shared_ptr<OutputStream> outputStream);

    bool advance() override;
    bool atEOF() override;
    bool flush() override;
    int getChar() override;
    uint64_t getPos() override { return fLineOffset + fReadIdx; }
    // Only a position within the line being read can be told.
    bool locate(uint64_t pos, SourceLine& where) override;
    bool setPos(uint64_t pos) override;
    bool write(const std::string& text) override;

    virtual std::shared_ptr<InputStream> getInputStream() const { return fNestedInputStream; }
    virtual std::shared_ptr<OutputStream> getOutputStream() const { return fNestedOutputStream; }
    virtual std::shared_ptr<IOMNode> getPromptNode(bool continuation) const;
    void getChar_yielding(const std::shared_ptr<Task>& task, int& c) override;
    virtual void readLine_yielding(const std::shared_ptr<Task>& task, std::string& line);
    // The prompt, or the continuation prompt while the task is inside an unfinished statement.
    virtual bool sendPromptToOutput(const std::shared_ptr<Task>& task, bool toStdOut);
    virtual void setPrompt(const std::shared_ptr<IOMNode>& prompt) { fPrompt = prompt; }
    virtual void setPromptContinuation(const std::shared_ptr<IOMNode>& prompt)
    {
        fPromptContinuation = prompt;
    }

private:
    IOStreamPrompted(std::shared_ptr<InputStream> inputStream, std::shared_ptr<OutputStream> outputStream)
        : fNestedInputStream(std::move(inputStream)), fNestedOutputStream(std::move(outputStream))
    {
    }
    bool isEchoing() const;
    bool echo(int c);

    std::shared_ptr<InputStream> fNestedInputStream;
    std::shared_ptr<OutputStream> fNestedOutputStream;
    std::string fLine;
    uint64_t fLineOffset = 0;
    // The number of the line being read, from 1.
    uint64_t fLinesRead = 0;
    uint64_t fReadIdx = 0;
    bool fIsAtLineStart = true;
    bool fIsPromptShown = false;
    std::shared_ptr<IOMNode> fPrompt;
    std::shared_ptr<IOMNode> fPromptContinuation;
};

}  // namespace Qfn
