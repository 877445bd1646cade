#include "QfnService/ServiceLog.h"

#include <cstdio>

#include "QfnLogger/Check.h"
#include "QfnMessage/IMessage.h"
#include "QfnMessage/OpCode.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

const std::string ServiceLog::TYPENAME = "ServiceLog";
const std::string ServiceLog::SERVICE_NAME = "net.quillfern.service.log";

bool ServiceLog::receiveMessage(std::shared_ptr<const IObject> messageObj)
{
    bool retVal = false;
    try {
        do {
            SANITY_CHECK(Service_abstract::receiveMessage(messageObj));
            ASSIGN_CONST_TYPED(IMessage, message, messageObj);
            switch (message->getOpCode()) {
                case OpCode::LOG_TRACE:
                case OpCode::LOG_NOTE:
                case OpCode::LOG_WARNING:
                case OpCode::LOG_ERROR:
                    retVal = logMessage(message->getPayloadStr());
                    break;
                default:
                    LOG_ERROR("unexpected opcode");
                    break;
            }
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::string& ServiceLog::getLogFilePath() const
{
    // The log folder is made only when something is written.
    if (fLogFilePath.empty()) fLogFilePath = Dirs::getLogDirPath() + "ServiceLog.log";
    return fLogFilePath;
}

bool ServiceLog::logMessage(const std::string& text) const
{
    bool retVal = false;
    try {
        do {
            FILE* logFile = std::fopen(getLogFilePath().c_str(), "a");
            if (!logFile) {
                LOG_CHECK_FAILED("SANITY_CHECK", "::fopen_s(&logFile, fLogFilePath.c_str(), \"a\") == 0");
                break;
            }
            const std::string line = Utils::getTimeStamp() + " " + text + "\n";
            const bool isWritten = std::fwrite(line.data(), 1, line.size(), logFile) == line.size();
            const bool isClosed = std::fclose(logFile) == 0;
            SANITY_CHECK(isWritten && isClosed);
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

bool ServiceLog::pushState(const std::string& logFilePath)
{
    fStateStack.push_back(fLogFilePath);
    fLogFilePath = logFilePath;
    return true;
}

bool ServiceLog::popState()
{
    bool retVal = false;
    try {
        do {
            // clang-format off
            SANITY_CHECK(! fStateStack.empty());
            // clang-format on
            fLogFilePath = fStateStack.back();
            fStateStack.pop_back();
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
