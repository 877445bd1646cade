#pragma once

#include <memory>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace Qfn {

class IOMNode;
class IOMNodeIterator;
class OMNode;
class OMStored;
class OMScope;
class OMExpression;
class FunctionSignature;
class InputStream;
class OutputStream;
class IOStreamPrompted;

using OMArray = std::vector<std::shared_ptr<IOMNode>>;
using OMMap = std::unordered_map<std::string, std::shared_ptr<IOMNode>>;
using NodeList = std::shared_ptr<std::vector<std::shared_ptr<IOMNode>>>;
// Argument values, wherever they are held.
using NodeSpan = std::span<const std::shared_ptr<IOMNode>>;
using OMInt = int64_t;
using OMFloat = double;

// The clone level that copies containers all the way down.
inline constexpr uint64_t kCloneAllLevels = ~uint64_t(0);

// A member without an entry in the permission table may be read, written and deleted.
inline constexpr int PERMISSION_WRITE = 2;
inline constexpr int PERMISSION_ALL = 7;

}  // namespace Qfn
