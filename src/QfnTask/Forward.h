#pragma once

namespace Qfn {
class Task;
class ITaskHost;
class MainTaskTimesliceTask;
struct OMFunctionState;
class InputStream;
class OutputStream;
class IOMNode;
}  // namespace Qfn
