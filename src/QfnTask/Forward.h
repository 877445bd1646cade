#pragma once

namespace Qfn {
class Task;
class MainTaskTimesliceTask;
struct OMFunctionState;
class InputStream;
class OutputStream;
class IOMNode;
}  // namespace Qfn
