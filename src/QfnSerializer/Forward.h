#pragma once

namespace Qfn {
class ISerializer;
class Serializer_abstract;
class SimpleSerializer;
enum class SerializeDeserialize;
}  // namespace Qfn
