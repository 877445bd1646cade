#pragma once

namespace Qfn {
class IObject;
class Object;
class GUIDClass;
}  // namespace Qfn
