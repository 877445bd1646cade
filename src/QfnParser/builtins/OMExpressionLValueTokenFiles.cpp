// The built-ins of the environment, paths and files: getEnv, fileExists, dirExists, parentPath,
// pathSegmentFromLeft/Right, readFile, writeFile, and the file handles fileOpen, fileClose,
// fileRead, fileWrite.
#include <cmath>
#include <cstdlib>

#include "QfnLogger/Check.h"
#include "QfnParser/expressions/OMExpressionLValueToken.h"
#include "QfnParser/model/OMScope.h"
#include "QfnParser/model/OMStored.h"
#include "QfnParser/query/OMAccessor.h"
#include "QfnParser/streams/OpenedFile.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Utils.h"

namespace Qfn {

namespace {

std::string textOf(const std::shared_ptr<IOMNode>& node)
{
    return OMAccessor(node).getAsString();
}

bool fillIsFile(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.set(Dirs::fileExists(argument.getAsString()));
}

bool fillIsDir(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.set(Dirs::dirExists(argument.getAsString()));
}

bool fillEnvironmentValue(const IOMNode& argument, IOMNode& retVal)
{
    const char* value = std::getenv(argument.getAsString().c_str());
    return retVal.set(std::string(value ? value : ""));
}

bool fillParentPath(const IOMNode& argument, IOMNode& retVal)
{
    return retVal.set(Dirs::getParentPath(argument.getAsString()));
}

// pathSegmentFromLeft and pathSegmentFromRight: path, index, optional separator (its first byte).
std::shared_ptr<IOMNode> pathSegment(const OMExpressionLValueResolution& resolution, bool fromLeft)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (resolution.getArgCount() < 2) {
                OMExpressionLValueToken::reportScriptError("insufficient arguments");
                break;
            }
            std::string path = textOf(resolution.getArgNode(0));
            double index = OMAccessor(resolution.getArgNode(1)).getAsNum();
            char separator = Dirs::kSeparator;
            if (auto separatorNode = resolution.getArgNode(2)) {
                std::string separatorText = textOf(separatorNode);
                separator = separatorText.empty() ? 0 : separatorText[0];
            }
            int64_t segmentIndex = std::isnan(index) ? 0 : static_cast<int64_t>(index);
            SANITY_CHECK(retVal->set(fromLeft
                                         ? Dirs::getPathSegmentFromLeft(path, segmentIndex, separator)
                                         : Dirs::getPathSegmentFromRight(path, segmentIndex, separator)));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The open file named by the first argument, reporting why there is none.
std::shared_ptr<OpenedFile> fileOfArgument(const OMExpressionLValueResolution& resolution)
{
    std::shared_ptr<OpenedFile> retVal;
    try {
        do {
            double fileId = OMAccessor(resolution.getArgNode(0)).getAsNum();
            if (!(fileId > 0)) {
                OMExpressionLValueToken::reportScriptError("fileId <= 0");
                break;
            }
            retVal = OpenedFile::getFile(static_cast<int64_t>(fileId));
            if (!retVal) OMExpressionLValueToken::reportScriptError("file not open");
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Reads up to and without the delimiter, which is consumed; the rest of the file when it never comes.
std::string readUpTo(FILE* file, const std::string& delimiter)
{
    std::string text;
    int c;
    while ((c = std::fgetc(file)) != EOF) {
        text.push_back(static_cast<char>(c));
        if (text.size() >= delimiter.size() &&
            text.compare(text.size() - delimiter.size(), delimiter.size(), delimiter) == 0) {
            text.resize(text.size() - delimiter.size());
            break;
        }
    }
    return text;
}

std::string readCount(FILE* file, size_t limit)
{
    std::string text;
    char buffer[65536];
    while (text.size() < limit) {
        size_t want = std::min(sizeof(buffer), limit - text.size());
        size_t got = std::fread(buffer, 1, want, file);
        text.append(buffer, got);
        if (got < want) break;
    }
    return text;
}

}  // namespace

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_getEnv(AccessType, const std::shared_ptr<OMScope>&,
                                                             OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillEnvironmentValue);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_fileExists(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillIsFile);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_dirExists(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillIsDir);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_parentPath(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return fromFirstArgument(resolution, fillParentPath);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_pathSegmentFromLeft(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return pathSegment(resolution, true);
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_pathSegmentFromRight(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    return pathSegment(resolution, false);
}

// The whole file; a relative path is taken from the folder of the running script.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_readFile(AccessType,
                                                               const std::shared_ptr<OMScope>& scope,
                                                               OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            SANITY_CHECK(scope);
            std::string path = textOf(resolution.getArgNode(0));
            std::string curScriptFilePath = scope->getCurScriptFilePath();
            LOG_NOTE(Utils::stringWithFormat("curScriptFilePath %s", curScriptFilePath.c_str()));
            if (!path.empty() && path[0] != Dirs::kSeparator && !curScriptFilePath.empty())
                path = Dirs::getParentPath(curScriptFilePath) + path;
            LOG_NOTE(Utils::stringWithFormat("reading %s", path.c_str()));
            // Only a regular file: a device or a pipe could be endless.
            std::string contents;
            if (!Dirs::fileExists(path) || !Dirs::slurpFile(path, contents)) {
                reportScriptError("cannot read " + path);
                break;
            }
            SANITY_CHECK(retVal->set(contents));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_writeFile(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 2)) break;
            bool written =
                Dirs::writeFile(textOf(resolution.getArgNode(0)), textOf(resolution.getArgNode(1)));
            SANITY_CHECK(retVal->set(written));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// The id of a newly opened file; the mode's first letter says read (the default), write or append.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_fileOpen(AccessType, const std::shared_ptr<OMScope>&,
                                                               OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            std::string mode = "r";
            if (auto modeNode = resolution.getArgNode(1)) {
                std::string modeText = Utils::trim(Utils::toLowerCase(textOf(modeNode)));
                char modeChar = modeText.empty() ? 0 : modeText[0];
                if (modeChar != 'r' && modeChar != 'w' && modeChar != 'a') {
                    reportScriptError("unexpected file mode");
                    break;
                }
                mode = std::string(1, modeChar);
            }
            std::shared_ptr<OpenedFile> file = OpenedFile::open(textOf(resolution.getArgNode(0)), mode);
            if (!file) break;
            SANITY_CHECK(retVal->set(file->getFileId()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_fileClose(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            std::shared_ptr<OpenedFile> file = fileOfArgument(resolution);
            if (!file) break;
            SANITY_CHECK(retVal->set(file->close()));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// With no limit the rest of the file; with a number at most that many bytes; with a text up to
// that text, which is consumed but not returned. Empty at the end of the file.
std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_fileRead(AccessType, const std::shared_ptr<OMScope>&,
                                                               OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 1)) break;
            std::shared_ptr<OpenedFile> file = fileOfArgument(resolution);
            if (!file) break;
            if (file->getFileMode() != FileMode::READ) {
                reportScriptError("file not opened for read");
                break;
            }
            std::string text;
            std::shared_ptr<IOMNode> limit = resolution.getArgNode(1);
            OMType limitType = limit ? limit->getType() : OMType::Undefined;
            if (limitType == OMType::Int || limitType == OMType::Float) {
                double count = limit->getAsNum();
                text = readCount(file->getStdFile(), count > 0 ? static_cast<size_t>(count) : 0);
            } else if (limitType == OMType::String && !limit->getString().empty()) {
                text = readUpTo(file->getStdFile(), limit->getString());
            } else {
                text = readCount(file->getStdFile(), SIZE_MAX);
            }
            SANITY_CHECK(retVal->set(text));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMExpressionLValueToken::ftn_fileWrite(
    AccessType, const std::shared_ptr<OMScope>&, OMExpressionLValueResolution& resolution) const
{
    std::shared_ptr<IOMNode> retVal;
    try {
        do {
            ASSIGN(retVal, OMStored::undefinedFactory());
            if (!requireArguments(resolution, 2)) break;
            std::shared_ptr<OpenedFile> file = fileOfArgument(resolution);
            if (!file) break;
            if (file->getFileMode() == FileMode::READ) {
                reportScriptError("file not opened for writing");
                break;
            }
            std::string text = textOf(resolution.getArgNode(1));
            bool written = std::fwrite(text.data(), 1, text.size(), file->getStdFile()) == text.size();
            SANITY_CHECK(retVal->set(written));
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

}  // namespace Qfn
