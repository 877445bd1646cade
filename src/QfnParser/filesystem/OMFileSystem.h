#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "QfnParser/model/OMNode.h"

namespace Qfn {

// A folder or file of the machine as a read-only Map node with eight attributes, computed when
// first read and kept from then on: the node is a snapshot from its first read of each attribute.
// `fileList` maps each entry of a folder to a further OMFileSystem, so paths and scripts walk
// the disk one listing per folder visited.
class OMFileSystem : public OMNode {
public:
    // A node for the path; nothing is read from disk until an attribute is.
    static std::shared_ptr<IOMNode> factoryFromFilePath(const std::string& path);
    static int64_t getOMFileSystemCount() { return fOMFileSystemCount; }
    // The attribute names in their fixed order.
    static const std::vector<std::string>& getAttributeNames();

    ~OMFileSystem() override;

    const std::string& getFilePath() const { return fFilePath; }

    using OMNode::getType;
    using OMNode::set;
    using OMNode::setAndAccess_yielding;

    // Reads go by attribute name; writes of any kind fail, the file system is changed elsewhere.
    using OMNode::accessOMNodeResolved_yielding;
    void accessOMNodeResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                       const std::shared_ptr<OMScope>& scope,
                                       const NodeList& resolvedArgumentList, AccessType accessType,
                                       const std::string& attr, std::shared_ptr<IOMNode>& node) override;
    using OMNode::accessOMNodeReadOnlyResolved_yielding;
    void accessOMNodeReadOnlyResolved_yielding(const std::shared_ptr<Task>& task, bool& success,
                                               const std::shared_ptr<OMScope>& scope,
                                               const NodeList& resolvedArgumentList, const std::string& attr,
                                               std::shared_ptr<IOMNode>& node) const override;
    // A read of an attribute already computed needs no task.
    using OMNode::accessOMNodeReadOnlyResolved;
    bool accessOMNodeReadOnlyResolved(const std::shared_ptr<OMScope>& scope,
                                      const NodeList& resolvedArgumentList, const std::string& attr,
                                      std::shared_ptr<IOMNode>& node) const override;

    OMType getType() const override { return OMType::Map; }
    uint64_t getSize() const override;
    std::vector<std::string> getMapKeys() const override;
    std::shared_ptr<IOMNodeIterator> getNodeIterator() const override;
    // A node of its own for the same path, which reads the disk afresh.
    std::shared_ptr<IOMNode> clone(uint64_t cloneNestLevel) const override;
    // The node is its own value: it holds nothing to evaluate.
    void eval_yielding(const std::shared_ptr<Task>& task, std::shared_ptr<IOMNode>& retVal,
                       const std::shared_ptr<OMScope>& scope, HandleReturnValue handleReturnValue) override;
    bool isResolved(ScriptPhase) const override { return true; }

    // The plain getters of a Map: neutral values.
    bool getBool() const override { return false; }
    int64_t getDate() const override { return 0; }
    double getFloat() const override { return 0.0; }
    int64_t getInt() const override { return 0; }
    const std::string& getString() const override;
    std::shared_ptr<OMExpression> getExpression() const override { return nullptr; }
    std::shared_ptr<FunctionSignature> getFunctionSignature() const override { return nullptr; }
    GUIDClass* getGUID() const override { return nullptr; }
    std::shared_ptr<OMStored> getOMStoredPtr() override { return nullptr; }
    bool atMapEnd(const OMMap::const_iterator&) const override { return true; }
    bool atArrayEnd(const OMArray::const_iterator&) const override { return true; }

    // Everything that would change the node fails with a log line.
    bool deleteOMNode(const std::string& attr) override;
    bool deleteOMNode(uint64_t idx) override;
    bool push(const std::shared_ptr<IOMNode>& node) override;
    std::shared_ptr<IOMNode> pop() override;
    bool set(const std::shared_ptr<FunctionSignature>& functionSignature,
             const std::shared_ptr<OMExpression>& expression) override;
    bool set(const std::shared_ptr<OMExpression>& expression) override;
    bool set(const std::shared_ptr<OMMap>& map) override;
    bool set(const std::shared_ptr<OMArray>& array) override;
    bool set(const char* value) override;
    bool set(const std::string& value) override;
    bool set(int64_t value) override;
    bool set(double value) override;
    bool set(bool value) override;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, uint64_t idx,
                               std::shared_ptr<IOMNode>& node) override;
    void setAndAccess_yielding(const std::shared_ptr<Task>& task, bool& success, const std::string& attr,
                               std::shared_ptr<IOMNode>& node) override;
    bool setDate(int64_t date) override;
    bool setEmptyArray() override;
    bool setEmptyMap() override;
    bool setError() override;
    bool setNaN() override;
    bool setNull() override;
    bool setTo(const IOMNode& from, uint64_t cloneNestLevel) override;
    bool setUndefined() override;

private:
    explicit OMFileSystem(std::string filePath);

    // The cache of an attribute by its name; null for a name that is none.
    std::shared_ptr<IOMNode>* attributeCache(const std::string& attr) const;
    // The attributes read without suspending: all but fileList.
    bool readAttribute(const std::string& attr, std::shared_ptr<IOMNode>& node) const;
    bool refuseWrite() const;

    std::string fFilePath;

    mutable std::shared_ptr<IOMNode> fAttrName;
    mutable std::shared_ptr<IOMNode> fAttrPath;
    mutable std::shared_ptr<IOMNode> fAttrIsDir;
    mutable std::shared_ptr<IOMNode> fAttrIsFile;
    mutable std::shared_ptr<IOMNode> fAttrIsPipe;
    mutable std::shared_ptr<IOMNode> fAttrFileSize;
    mutable std::shared_ptr<IOMNode> fAttrFileList;
    mutable std::shared_ptr<IOMNode> fAttrContents;
    mutable bool fIsDir = false;
    mutable bool fIsFile = false;
    mutable bool fIsPipe = false;
    mutable int64_t fFileSize = 0;

    static int64_t fOMFileSystemCount;
};

}  // namespace Qfn
