#pragma once

namespace Qfn {
class Task;
class MainTaskTimesliceTask;
struct OMFunctionState;
class InputStream;
class IOMNode;
}  // namespace Qfn
