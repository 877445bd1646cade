#pragma once

namespace Qfn {
class IIni;
class Ini;
class IniFile;
struct IniEntry;
}  // namespace Qfn
