#include "QfnParser/filesystem/OMFileSystem.h"

#include <algorithm>

#include "QfnLogger/Check.h"
#include "QfnParser/filesystem/OMFileSystemIterator.h"
#include "QfnParser/model/OMStored.h"
#include "QfnTask/YieldingFrame.h"
#include "QfnUtils/Dirs.h"
#include "QfnUtils/Pipes.h"

namespace Qfn {

int64_t OMFileSystem::fOMFileSystemCount = 0;

OMFileSystem::OMFileSystem(std::string filePath) : fFilePath(std::move(filePath))
{
    ++fOMFileSystemCount;
}

OMFileSystem::~OMFileSystem()
{
    --fOMFileSystemCount;
}

std::shared_ptr<IOMNode> OMFileSystem::factoryFromFilePath(const std::string& path)
{
    std::shared_ptr<IOMNode> retVal;
    try {
        retVal.reset(new OMFileSystem(path));
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

const std::vector<std::string>& OMFileSystem::getAttributeNames()
{
    static const std::vector<std::string> kNames = {"name",   "path",     "isDir",    "isFile",
                                                    "isPipe", "fileSize", "fileList", "contents"};
    return kNames;
}

std::shared_ptr<IOMNode>* OMFileSystem::attributeCache(const std::string& attr) const
{
    std::shared_ptr<IOMNode>* const caches[] = {&fAttrName,   &fAttrPath,     &fAttrIsDir,    &fAttrIsFile,
                                                &fAttrIsPipe, &fAttrFileSize, &fAttrFileList, &fAttrContents};
    const std::vector<std::string>& names = getAttributeNames();
    auto found = std::find(names.begin(), names.end(), attr);
    return found == names.end() ? nullptr : caches[found - names.begin()];
}

bool OMFileSystem::readAttribute(const std::string& attr, std::shared_ptr<IOMNode>& node) const
{
    bool retVal = false;
    try {
        do {
            std::shared_ptr<IOMNode>* cache = attributeCache(attr);
            SANITY_CHECK(cache);
            if (!*cache) {
                // The listing is made by the resumable read.
                SANITY_CHECK(cache != &fAttrFileList);
                std::shared_ptr<IOMNode> attrNode;
                if (attr == "name") {
                    // The whole path when it has no separator.
                    std::shared_ptr<IOMNode> attrName = OMStored::factory(
                        fFilePath.empty() ? fFilePath : Dirs::getPathSegmentFromRight(fFilePath, 0));
                    SANITY_CHECK(attrName);
                    attrNode = attrName;
                } else if (attr == "path") {
                    std::shared_ptr<IOMNode> attrPath = OMStored::factory(fFilePath);
                    SANITY_CHECK(attrPath);
                    attrNode = attrPath;
                } else if (attr == "isDir") {
                    const bool isDir = Dirs::dirExists(fFilePath);
                    std::shared_ptr<OMStored> attrIsDir = OMStored::undefinedFactory();
                    SANITY_CHECK(attrIsDir);
                    SANITY_CHECK(attrIsDir->set(isDir));
                    fIsDir = isDir;
                    attrNode = attrIsDir;
                } else if (attr == "isFile") {
                    const bool isFile = Dirs::fileExists(fFilePath);
                    std::shared_ptr<OMStored> attrIsFile = OMStored::undefinedFactory();
                    SANITY_CHECK(attrIsFile);
                    SANITY_CHECK(attrIsFile->set(isFile));
                    fIsFile = isFile;
                    attrNode = attrIsFile;
                } else if (attr == "isPipe") {
                    const bool isNamedPipe = Pipes::namedPipeExists(fFilePath);
                    std::shared_ptr<OMStored> attrIsNamedPipe = OMStored::undefinedFactory();
                    SANITY_CHECK(attrIsNamedPipe);
                    SANITY_CHECK(attrIsNamedPipe->set(isNamedPipe));
                    fIsPipe = isNamedPipe;
                    attrNode = attrIsNamedPipe;
                } else if (attr == "fileSize") {
                    const int64_t fileSize =
                        Dirs::fileExists(fFilePath) ? std::max<int64_t>(Dirs::fileSize(fFilePath), 0) : 0;
                    std::shared_ptr<IOMNode> attrFileSize = OMStored::factory(fileSize);
                    SANITY_CHECK(attrFileSize);
                    fFileSize = fileSize;
                    attrNode = attrFileSize;
                } else {
                    // contents: a file that cannot be read leaves it Undefined, like a folder.
                    std::shared_ptr<OMStored> attrContents = OMStored::undefinedFactory();
                    SANITY_CHECK(attrContents);
                    std::string inStr;
                    if (Dirs::fileExists(fFilePath) && Dirs::slurpFile(fFilePath, inStr)) {
                        SANITY_CHECK(attrContents->set(inStr));
                    }
                    attrNode = attrContents;
                }
                // A member of this node, so that path functions and selectors see where it came from.
                std::shared_ptr<IOMNode> self = std::const_pointer_cast<OMNode>(shared_from_this());
                SANITY_CHECK(attrNode->setDataStructureParent(self, attr));
                *cache = attrNode;
            }
            node = *cache;
            retVal = true;
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// Every attribute but fileList is made in one step; fileList stores one child per entry of the
// listing, and may suspend between entries.
void OMFileSystem::accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                         const std::shared_ptr<OMScope>&,
                                                         const NodeList& resolvedArgumentList,
                                                         const std::string& attr,
                                                         std::shared_ptr<IOMNode>& node) const
{
    struct LocalVariableState : virtual OMFunctionState {
        // Keeps this node alive while the listing is built.
        std::shared_ptr<IOMNode> self;
        std::shared_ptr<OMStored> attrFileList;
        std::vector<std::string> names;
        size_t nameIdx = 0;
        std::string name;
        std::shared_ptr<IOMNode> child;
        std::shared_ptr<IOMNode> stored;
    };
    enum : unsigned { NEXT_ENTRY = 1, STORE_ENTRY, FINISH_LIST };

    try {
        YieldingFrame<LocalVariableState> frame(task);
        LocalVariableState& s = *frame;
        if (frame.isFirstEntry()) {
            success = false;
            node.reset();
        }
        do {
            switch (s.fState) {
                case 0: {
                    s.fState = kFinished;
                    if (resolvedArgumentList && !resolvedArgumentList->empty()) {
                        // Arguments applied to a value that is no function: nothing to reach.
                        success = true;
                        break;
                    }
                    std::shared_ptr<IOMNode>* cache = attributeCache(attr);
                    // Any other name: nothing, and no failure line.
                    if (!cache) break;
                    if (cache != &fAttrFileList || *cache) {
                        success = readAttribute(attr, node);
                        break;
                    }
                    std::shared_ptr<OMStored> attrFileList = OMStored::undefinedFactory();
                    SANITY_CHECK(attrFileList);
                    SANITY_CHECK(attrFileList->setEmptyMap());
                    s.attrFileList = attrFileList;
                    s.self = std::const_pointer_cast<OMNode>(shared_from_this());
                    if (Dirs::dirExists(fFilePath)) s.names = Dirs::scanDir(fFilePath);
                    s.fState = NEXT_ENTRY;
                    break;
                }

                case NEXT_ENTRY: {
                    if (s.nameIdx >= s.names.size()) {
                        s.fState = FINISH_LIST;
                        break;
                    }
                    s.name = s.names[s.nameIdx++];
                    // fFilePath, separator, name; a folder path may already end in the separator.
                    const bool hasSeparator = fFilePath.empty() || fFilePath.back() == Dirs::kSeparator;
                    s.child = factoryFromFilePath(hasSeparator ? fFilePath + s.name
                                                               : fFilePath + Dirs::kSeparator + s.name);
                    s.fState = kFinished;
                    SANITY_CHECK(s.child);
                    s.fState = STORE_ENTRY;
                    break;
                }

                    YIELDING_CALL(STORE_ENTRY, s.attrFileList->set_yielding(task, s.stored, s.name, s.child));
                case resumeAfter(STORE_ENTRY):
                    s.fState = kFinished;
                    SANITY_CHECK(s.stored);
                    s.stored.reset();
                    s.child.reset();
                    s.fState = NEXT_ENTRY;
                    break;

                case FINISH_LIST:
                    s.fState = kFinished;
                    // Another task may have finished the same listing meanwhile: its snapshot stands.
                    if (!fAttrFileList) {
                        // The map and its children become members, with their keys, of this node.
                        SANITY_CHECK(s.attrFileList->setDataStructureParent(s.self, "fileList"));
                        fAttrFileList = s.attrFileList;
                    }
                    node = fAttrFileList;
                    success = true;
                    break;
            }
        } while (frame.keepGoing());
        frame.release();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

bool OMFileSystem::accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                                const NodeList& resolvedArgumentList, const std::string& attr,
                                                std::shared_ptr<IOMNode>& node) const
{
    bool retVal = false;
    try {
        do {
            node.reset();
            // The same answers as the resumable read: nothing behind arguments or an unknown name.
            if (resolvedArgumentList && !resolvedArgumentList->empty()) {
                retVal = true;
                break;
            }
            std::shared_ptr<IOMNode>* cache = attributeCache(attr);
            if (!cache) break;
            // Only a listing not made yet needs a task.
            if (cache == &fAttrFileList && !*cache) {
                retVal = OMNode::accessOMNodeReadOnlyResolved(scope, resolvedArgumentList, attr, node);
                break;
            }
            retVal = readAttribute(attr, node);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

// A read hands over to the read-only form, which finds its own frame on every re-entry.
void OMFileSystem::accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                                 const std::shared_ptr<OMScope>& scope,
                                                 const NodeList& resolvedArgumentList, AccessType accessType,
                                                 const std::string& attr, std::shared_ptr<IOMNode>& node)
{
    try {
        if (accessType == AccessType::GET) {
            accessOMNodeReadOnlyResolved_yielding(task, success, scope, resolvedArgumentList, attr, node);
        } else {
            success = false;
            node.reset();
            refuseWrite();
        }
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

uint64_t OMFileSystem::getSize() const
{
    return getAttributeNames().size();
}

std::vector<std::string> OMFileSystem::getMapKeys() const
{
    std::vector<std::string> retVal;
    try {
        retVal = getAttributeNames();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNodeIterator> OMFileSystem::getNodeIterator() const
{
    std::shared_ptr<IOMNodeIterator> retVal;
    try {
        do {
            std::shared_ptr<const OMFileSystem> self;
            ASSIGN(self, std::static_pointer_cast<const OMFileSystem>(shared_from_this()));
            retVal = OMFileSystemIterator::factory(self);
        } while (false);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return retVal;
}

std::shared_ptr<IOMNode> OMFileSystem::clone(uint64_t) const
{
    return factoryFromFilePath(fFilePath);
}

// Neither suspends nor calls anything that does: no frame of its own.
void OMFileSystem::eval_yielding(const std::shared_ptr<Task>&, std::shared_ptr<IOMNode>& retVal,
                                 const std::shared_ptr<OMScope>&, HandleReturnValue)
{
    try {
        retVal = shared_from_this();
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
}

const std::string& OMFileSystem::getString() const
{
    static const std::string kEmpty;
    return kEmpty;
}

// ---- writes: all refused

bool OMFileSystem::refuseWrite() const
{
    try {
        LOG_ERROR("file-system node is read-only: " + fFilePath);
    } catch (std::exception& e) {
        LOG_THROWS(e);
    }
    return false;
}

bool OMFileSystem::deleteOMNode(const std::string&)
{
    return refuseWrite();
}

bool OMFileSystem::deleteOMNode(uint64_t)
{
    return refuseWrite();
}

bool OMFileSystem::push(const std::shared_ptr<IOMNode>&)
{
    return refuseWrite();
}

std::shared_ptr<IOMNode> OMFileSystem::pop()
{
    refuseWrite();
    return nullptr;
}

bool OMFileSystem::set(const std::shared_ptr<FunctionSignature>&, const std::shared_ptr<OMExpression>&)
{
    return refuseWrite();
}

bool OMFileSystem::set(const std::shared_ptr<OMExpression>&)
{
    return refuseWrite();
}

bool OMFileSystem::set(const std::shared_ptr<OMMap>&)
{
    return refuseWrite();
}

bool OMFileSystem::set(const std::shared_ptr<OMArray>&)
{
    return refuseWrite();
}

bool OMFileSystem::set(const char*)
{
    return refuseWrite();
}

bool OMFileSystem::set(const std::string&)
{
    return refuseWrite();
}

bool OMFileSystem::set(int64_t)
{
    return refuseWrite();
}

bool OMFileSystem::set(double)
{
    return refuseWrite();
}

bool OMFileSystem::set(bool)
{
    return refuseWrite();
}

void OMFileSystem::setAndAccess_yielding(const std::shared_ptr<Task>&, bool& success, uint64_t,
                                         std::shared_ptr<IOMNode>& node)
{
    success = false;
    node.reset();
    refuseWrite();
}

void OMFileSystem::setAndAccess_yielding(const std::shared_ptr<Task>&, bool& success, const std::string&,
                                         std::shared_ptr<IOMNode>& node)
{
    success = false;
    node.reset();
    refuseWrite();
}

bool OMFileSystem::setDate(int64_t)
{
    return refuseWrite();
}

bool OMFileSystem::setEmptyArray()
{
    return refuseWrite();
}

bool OMFileSystem::setEmptyMap()
{
    return refuseWrite();
}

bool OMFileSystem::setError()
{
    return refuseWrite();
}

bool OMFileSystem::setNaN()
{
    return refuseWrite();
}

bool OMFileSystem::setNull()
{
    return refuseWrite();
}

bool OMFileSystem::setTo(const IOMNode&, uint64_t)
{
    return refuseWrite();
}

bool OMFileSystem::setUndefined()
{
    return refuseWrite();
}

}  // namespace Qfn
